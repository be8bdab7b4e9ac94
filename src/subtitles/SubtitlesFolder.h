#pragma once

#include <QString>

/**
 * The subtitles folder ($HOME/Subtitles) and the record of the files
 * Kinovela saved in it ($XDG_DATA_HOME/Kinovela/saved-subtitles). An import
 * removes only the recorded files: the user's own files stay, a link is
 * never followed out of the folder, and without a HOME there is no folder.
 */
namespace SubtitlesFolder {

/** The folder, made when missing; empty when there is none (no HOME, or it is not a real folder). */
QString prepare();

/** A free path in the folder for @p path: itself when free or Kinovela's own, else "name (2).ext"... */
QString freePath(const QString &path);

/** Records @p path as saved by Kinovela. */
void recordSaved(const QString &path);

/** Removes the files Kinovela saved in the folder (regular files only, never through a link) and forgets them. */
void removeOwnFiles();

/** The record's path; empty when neither XDG_DATA_HOME nor HOME is set. */
QString recordPath();

/**
 * For a dry run: the folder and the record are only looked at. Nothing is
 * made, removed or recorded, and a subtitle is not written: it gets the path
 * it would have, and its file stays in the download cache for the real run.
 */
void setLookOnly(bool lookOnly);
bool lookOnly();

} // namespace SubtitlesFolder
