#pragma once

#include "base/ConversionProfile.h"
#include "base/MovieItemKeys.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

/** One stream of a conversion and what becomes of it. */
struct PlannedStream
{
    int index = -1;       ///< the stream's index in the source; -1 for the downloaded subtitle
    QString kind;         ///< "video", "audio", "subtitle", "attachment", "data"
    QString codec;        ///< the source's codec, as ffprobe names it
    QString language;     ///< as the source tags it; empty when untagged
    QString title;
    QString action;       ///< "copy", "encode" or "drop"
    QString reason;       ///< why, in words a person understands
    QString outputCodec;  ///< the codec in the output, as ffprobe names it; empty when dropped
    int outputIndex = -1; ///< the stream's place in the output; -1 when dropped
    bool enabled = false; ///< the output track plays unless the viewer chooses another
    bool forced = false;

    bool kept() const { return outputIndex >= 0; }
};

/** A conversion decided from the probe: the converter's arguments and the fate of every stream. */
struct ConversionPlan
{
    QStringList arguments;        ///< the converter's arguments, without the program
    QList<PlannedStream> streams; ///< the source's streams in order (one that becomes two appears twice), then the added subtitle
    QStringList notes;            ///< what the result says: streams a person would miss, Dolby Vision left behind...

    /** The kept streams in the output's order. */
    QList<PlannedStream> outputStreams() const;
};

/**
 * Pure planning of a conversion's streams, per profile. The classic plan is
 * ConverterArguments' list, described stream by stream; the modern plan
 * keeps every audio and text subtitle and the chapters, copies what Apple
 * players play (H.264 8-bit, HEVC as "hvc1", AAC, AC-3, E-AC-3) and
 * re-encodes only the rest: SDR video to H.264, HDR video to 10-bit HEVC
 * with its colour signalling, other audio to stereo AAC plus AC-3 when it
 * has more than two channels.
 */
namespace StreamPlan {

/** What the plan needs besides the source's streams. */
struct Inputs
{
    QString source;
    QString temporaryPath;
    QString subtitlePath;     ///< the downloaded subtitle; empty when there is none
    QString subtitleLanguage; ///< its ISO 639-2/B code
};

/** The plan of @p profile for @p item (its "tracksInfo" carry the probe's streams). */
ConversionPlan forItem(const MovieItem &item, ConversionProfile profile, const QString &temporaryPath,
                       const QString &subtitleLanguage);

/** The modern plan for ffprobe's stream objects (each a map as ffprobe's JSON has it). */
ConversionPlan modern(const QVariantList &streams, const Inputs &inputs);

/** The classic plan for @p item: ConverterArguments' list, described. */
ConversionPlan classic(const MovieItem &item, const QString &temporaryPath, const QString &subtitleLanguage);

} // namespace StreamPlan
