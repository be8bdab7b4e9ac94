#pragma once

#include "base/Json.h"
#include "base/Outcome.h"
#include "creation/StreamPlan.h"

#include <QString>
#include <QStringList>

/**
 * The check of a written movie, read from the file itself (ffprobe's
 * report of it and its top-level atoms): the streams the plan promised, in
 * order, with their codecs, languages and enabled flags; the media kind
 * ("stik") and HD flag ("hdvd") in range; where the header lies; and
 * whether Apple players play what is there.
 */
namespace OutputCheck {

struct Verdict
{
    /** A failure when the file is not what the plan promised: the source must then be kept. */
    Status status;
    /** What will not play on Apple TV, or not as planned, and why. */
    QStringList problems;
    /** The movie header comes before the media data (players can start before reading the whole file). */
    bool headerFirst = false;

    /** "plays on Apple TV", or what will not and why. */
    QString text() const;
};

/** Compares ffprobe's report of a written movie with @p promised (the plan's output streams); nothing is read. */
Verdict compare(const QList<PlannedStream> &promised, const Json &report);

/** What Apple players make of the streams and tags in @p report, without a plan to compare with. */
QStringList playbackProblems(const Json &report);

/** Probes @p path and checks it against @p plan (null: playback and tags only, for a tagged or moved MP4). */
Verdict check(const QString &path, const ConversionPlan *plan);

} // namespace OutputCheck
