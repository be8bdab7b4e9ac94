#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "creation/SaveJournal.h"
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

/**
 * Where an item's changes are written down for Undo Last Save: the Save's
 * journal and the item's entry in it (no journal: nothing is written down).
 * Each change is recorded before it is made; one that cannot be recorded is
 * not made.
 */
struct JournalPlace
{
    SaveJournal *journal = nullptr;
    int entry = -1;
    /** The converter's unfinished output, recorded before the converter started. */
    int unfinishedStep = -1;
};

/** Tags a movie in place, or tags it and moves it to @p planned's final path. */
CreationResult tagAndMove(const PlannedItem &planned, CreationResult result, const JournalPlace &place = {});

/**
 * Finishes a conversion the converter ended cleanly: tags and flushes the
 * temporary file, checks it against the source (the mapped kinds of tracks
 * and its duration, @p sourceSeconds) and the plan (OutputCheck), gives it
 * its final name and only then lets the source go (to the Trash, or deleted
 * outright when @p deleteSource).
 */
CreationResult finishConversion(const PlannedItem &planned, double sourceSeconds, CreationResult result, bool deleteSource,
                                const JournalPlace &place = {});

/**
 * Whether the converted file holds every mapped kind of track and lasts
 * as long as the source (@p sourceSeconds) within one second or 1 %.
 */
Status checkOutput(const QString &path, const QStringList &arguments, double sourceSeconds);

/** Moves @p path to the Trash (or deletes it when @p deleteOutright); says where it went. Keeps it where no Trash is possible. */
QString disposeOf(const QString &path, bool deleteOutright, const JournalPlace &place = {});

/** Writes @p step down before a change is made; its index, -1 without a journal. */
Outcome<int> recordBefore(const JournalPlace &place, const JournalStep &step);
/** After the change: marks the step done (@p update fills in what is known now) or, when it was not @p made, forgets it. */
void recordAfter(const JournalPlace &place, int step, bool made, const std::function<void(JournalStep &)> &update = {});

} // namespace ItemWork
