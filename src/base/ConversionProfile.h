#pragma once

#include <QString>

#include <optional>

/**
 * How a conversion treats the source's streams:
 *  - Classic: the first video (H.264 copied, anything else re-encoded with
 *    libx264) and the first audio (AAC/AC-3 copied, anything else stereo
 *    AAC), plus the downloaded subtitle; the default.
 *  - Modern: every audio and text subtitle, chapters, HEVC and E-AC-3
 *    copied; only what Apple players cannot play is re-encoded.
 *
 * Stored under "conversionProfile" ("classic" or "modern"); a command-line
 * run may override it for itself ("--profile"), never writing it.
 */
enum class ConversionProfile { Classic, Modern };

namespace ConversionProfiles {

inline const QString settingsKey = QStringLiteral("conversionProfile");

QString name(ConversionProfile profile);
/** The profile named @p name ("classic", "modern"; any case), or nothing. */
std::optional<ConversionProfile> fromName(const QString &name);

/** The profile in force: the run override, else the stored one, else Classic. */
ConversionProfile current();
void store(ConversionProfile profile);
void setRunProfile(std::optional<ConversionProfile> profile);

} // namespace ConversionProfiles
