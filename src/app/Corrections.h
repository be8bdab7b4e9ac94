#pragma once

#include "base/Outcome.h"

#include <QString>

#include <optional>

/**
 * The corrections a person made, remembered per file: the movie chosen in
 * Find Movie (or with `kinovela-cli choose`) and the subtitle chosen in the
 * subtitle window. A file is known by its movie hash, so a renamed or moved
 * copy of the same file is still recognised.
 *
 * The memories live in one small JSON file under the XDG data folder
 * ($XDG_DATA_HOME/Kinovela/Kinovela/corrections.json), rewritten whole
 * with QSaveFile under a lock file so that the window and the command line
 * never lose each other's changes. A file the hash cannot read (shorter than
 * 64 KiB, unreadable) cannot be remembered.
 */
namespace Corrections {

struct Memory
{
    qint64 tmdbID = 0;
    QString title;
    QString year;
    /** The subtitle chosen for the movie, 0 when none, and the language it was chosen in ("eng"). */
    qint64 subtitleFileID = 0;
    QString subtitleLanguage;
    /** Where the file was when it was last remembered. */
    QString path;
};

/** The store's file. */
QString storePath();

/** The key of the file at @p path: its movie hash, empty when it cannot be hashed. */
QString keyOf(const QString &path);

/** What is remembered under @p key, nothing when nothing is (or the key is empty). */
std::optional<Memory> recall(const QString &key);

/** Remembers the movie chosen for the file; a subtitle remembered for another movie is forgotten. */
Outcome<void> rememberMovie(const QString &path, qint64 tmdbID, const QString &title, const QString &year);

/** Remembers the subtitle chosen for the file (with the movie remembered for it, if any). */
Outcome<void> rememberSubtitle(const QString &path, qint64 fileID, const QString &language);

/**
 * Forgets what is remembered for the file: found by its hash, or, when it
 * cannot be read any more, by the path it was remembered at. True when
 * there was something to forget.
 */
Outcome<bool> forget(const QString &path);

} // namespace Corrections
