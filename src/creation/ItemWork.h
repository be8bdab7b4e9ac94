#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "creation/SavePlan.h"
#include "creation/StreamPlan.h"

#include <QString>
#include <QStringList>

/** What happened to one item of a creation batch. */
struct CreationResult
{
    QString source;
    QString action; // "tag", "move", "convert"
    QString outputPath;
    QString movieTitle;
    Status status;
    /** Where the source is now, in words a person can act on ("moved to the Trash: ...", "kept", "deleted"). */
    QString sourceFate;
    /** What the check of the written movie found: "plays on Apple TV", or what will not and why. */
    QString verdict;
    /** What the conversion left out that a person would miss (image subtitles, Dolby Vision...). */
    QStringList notes;

    bool succeeded() const { return status.ok(); }
    /** Why the item was not created; empty when it was. */
    QString reason() const { return status.errorText(); }
};

/**
 * The file work of one item, run on a worker thread: tagging, flushing,
 * moving, checking a converted file and disposing of its source. Each
 * function blocks and touches nothing but files.
 */
namespace ItemWork {

/** Tags a movie in place, or tags it and moves it to @p planned's final path. */
CreationResult tagAndMove(const MovieItem &item, const PlannedItem &planned, CreationResult result);

/**
 * Finishes a conversion the converter ended cleanly: tags and flushes the
 * temporary file, checks it against the source (the mapped kinds of tracks
 * and the duration) and the plan (OutputCheck), gives it its final name and only then lets the source
 * go (to the Trash, or deleted outright when @p deleteSource).
 */
CreationResult finishConversion(const MovieItem &item, CreationResult result, const QString &temporaryPath,
                                const ConversionPlan &plan, bool deleteSource);

/**
 * Whether the converted file holds every mapped kind of track and lasts
 * as long as the source (@p sourceSeconds) within one second or 1 %.
 */
Status checkOutput(const QString &path, const QStringList &arguments, double sourceSeconds);

/** Moves @p path to the Trash (or deletes it when @p deleteOutright); says where it went. Keeps it where no Trash is possible. */
QString disposeOf(const QString &path, bool deleteOutright);

} // namespace ItemWork
