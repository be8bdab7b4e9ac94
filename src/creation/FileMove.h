#pragma once

#include "base/Outcome.h"

#include <QString>

/**
 * Moving a movie without ever holding it in no place at all, and flushing
 * files and folders to the disk.
 *
 * A move within one file system is a rename that never replaces an existing
 * file. Across file systems the movie is copied beside its new name, the
 * copy is flushed to the disk and only then given its name and the original
 * removed; any failure (a full disk, a name taken meanwhile) removes the
 * partial copy and leaves the original where it was. When the original
 * cannot be removed after a move across file systems, both copies stay, the
 * move counts as done and a diagnostic line says so.
 */
namespace FileMove {

/** Moves @p from to @p to; Exists when @p to is taken, NoSpace when the destination is full. */
Status moveFile(const QString &from, const QString &to);

/** Flushes a folder's entries (a rename or a removal in it) to the disk. */
Status syncFolder(const QString &folder);

/** Flushes a file's data to the disk. */
Status syncFile(const QString &path);

/** Flushes an open file's data to the disk. */
Status syncHandle(int fd);

} // namespace FileMove
