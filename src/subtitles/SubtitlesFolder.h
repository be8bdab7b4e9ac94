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

} // namespace SubtitlesFolder
