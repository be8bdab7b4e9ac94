#pragma once

#include "base/Outcome.h"

#include <QString>

/**
 * The freedesktop.org Trash, both ways: a file goes into the Trash of its
 * disk, and a file the Trash holds goes back where it was.
 *
 * A trashed file lies in the "files" folder of a Trash folder; beside it, in
 * "info", an information file of the same name plus ".trashinfo" names its
 * original place (Path=, percent-encoded; relative to the folder holding the
 * Trash for a Trash at the top of a disk) and when it was trashed.
 */
namespace Trash {

/**
 * Moves @p path to the Trash of its disk, creating the home Trash when it is
 * missing, and flushes the folders; gives the file's path in the Trash. A
 * file with no Trash on its disk is kept where it is.
 */
Outcome<QString> moveToTrash(const QString &path);

/**
 * The file the Trash holds for @p originalPath: of those whose information
 * file names it, the one trashed last. Looks in the home Trash and in the
 * Trash folders at the top of the original's disk; Missing when none has it.
 */
Outcome<QString> find(const QString &originalPath);

/**
 * Puts @p trashedPath back at @p originalPath, never replacing a file there
 * (Exists), removes its information file and flushes the folders. When
 * @p trashedPath is gone, or now holds a file trashed from elsewhere, the
 * file find() gives is put back instead.
 */
Status restore(const QString &trashedPath, const QString &originalPath);

} // namespace Trash
