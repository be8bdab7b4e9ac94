#pragma once

#include <optional>

/**
 * What Save does with the files: the four conversion presets, stored and
 * shown by their numbers (the settings' radio group ids, "--preset N").
 */
enum class Preset {
    TagInPlace = 1,           ///< tag identified MP4 files where they are, convert the others
    TagAndMove = 2,           ///< tag identified MP4 files and move them to the destination, convert the others
    Convert = 3,              ///< convert every file
    ConvertWithSubtitles = 4, ///< convert every file and add a downloaded subtitle
};

namespace Presets {

inline constexpr Preset Default = Preset::Convert;

/** The preset numbered @p number, or nothing for a number that is not one. */
inline std::optional<Preset> fromNumber(int number)
{
    if (number < int(Preset::TagInPlace) || number > int(Preset::ConvertWithSubtitles))
        return std::nullopt;
    return Preset(number);
}

inline int number(Preset preset)
{
    return int(preset);
}

/** The import fetches subtitles only for this preset. */
inline bool fetchesSubtitles(Preset preset)
{
    return preset == Preset::ConvertWithSubtitles;
}

} // namespace Presets
