#pragma once

#include "base/Outcome.h"

#include <QByteArray>
#include <QList>
#include <QString>

/**
 * Checks a downloaded subtitle before it counts as found: it must read as a
 * text subtitle of the format it claims (SubRip, MicroDVD, SubViewer,
 * WebVTT, ASS/SSA) with cue times in order and text in its cues; the
 * service's advertisement and placeholder texts do not count as cues; at
 * least three cues must remain; and the last cue must end before the movie
 * does, plus a minute. Text that is not UTF-8 is converted from the charset
 * uchardet detects.
 */
namespace SubtitleCheck {

enum class Format { SubRip, MicroDVD, SubViewer, WebVTT, Ass };

struct Cue
{
    double start = 0;
    double end = 0;
    QString text;
};

struct Checked
{
    Format format = Format::SubRip;
    /** The subtitle as UTF-8 text (without a byte order mark). */
    QByteArray utf8;
    /** The charset the bytes were read in ("UTF-8", "WINDOWS-1252", ...). */
    QString charset;
    int cueCount = 0;
    /** When the last cue ends, in seconds. */
    double lastCueEnd = 0;
};

/** Cues have to end before the movie's duration plus this. */
inline constexpr double DurationTolerance = 60;
/** Fewer cues than this (advertisements and placeholders left out) is not a subtitle. */
inline constexpr int MinimumCues = 3;

/**
 * The checked subtitle, or why it is not one (ErrorKind::Invalid, with a
 * text a person can read). `claimedFormat` is the service's word ("srt",
 * "sub", "ass", "ssa", "vtt"); empty accepts any known format. A movie
 * duration of 0 or less is not checked against.
 */
Outcome<Checked> check(const QByteArray &bytes, const QString &claimedFormat, double movieDurationInSeconds);

/** The bytes as text: UTF-8 (or a UTF-16 with its byte order mark) as it is, anything else from the detected charset. */
Outcome<QString> decode(const QByteArray &bytes, QString *charset = nullptr);

/** The cues of a text in one format; an error when the text is not of that format or its times are out of order. */
Outcome<QList<Cue>> parse(const QString &text, Format format);

/** True for the service's advertisement and placeholder texts. */
bool isAdvertisement(const QString &text);

/** The file extension the checked subtitle is saved with ("srt", "sub", "sbv", "vtt", "ass"). */
QString extension(Format format);
QString formatName(Format format);

} // namespace SubtitleCheck
