#pragma once

#include "base/Outcome.h"
#include "creation/SaveJournal.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

/** What an undo did for one movie, and what it had to leave. */
struct UndoneMovie
{
    QString source;
    QString movieTitle;
    QStringList undone; ///< "put back from the Trash: /films/Heat.1995.avi", "removed /dest/Heat.mp4"...
    QStringList left;   ///< "kept /dest/Heat.mp4: it was changed after the Save"...
};

/** What Undo Last Save did. */
struct UndoReport
{
    /** Failure when there was nothing to undo (no Save, or it was undone already). */
    Status status;
    QDateTime saveStarted;
    QString destination;
    QList<UndoneMovie> movies;

    /** Everything the Save did was taken back. */
    bool complete() const;
    /** "Undid the Save of 24/11/2026 10:31 into /dest: 3 movies" */
    QString summary() const;
    QJsonObject toJson() const;
};

/**
 * Takes a Save back from its journal, movie by movie, last change first:
 * sources come back from the Trash to their places, movies moved are moved
 * back, tags written in place are put back byte for byte, and the files the
 * Save created are removed when they are still as the Save left them (a
 * file changed since is kept and named). Nothing is ever replaced, and when
 * a change cannot be taken back the earlier changes of that movie are kept
 * too, so that no movie is left without a copy. Each step is written to the
 * journal as it is taken back: an undo stopped at any instant can be run
 * again. Blocking: run it on a worker thread.
 */
namespace SaveUndo {

/** Undoes the last Save (SaveJournal::last()). */
UndoReport undoLast();

/** Undoes the Save @p journal records. */
UndoReport undo(SaveJournal &journal);

} // namespace SaveUndo
