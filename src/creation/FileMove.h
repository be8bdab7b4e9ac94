#pragma once

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

bool moveFile(const QString &from, const QString &to, QString *error);

/** Flushes a folder's entries (a rename or a removal in it) to the disk. */
bool syncFolder(const QString &folder);

/** Flushes a file's data to the disk. */
bool syncFile(const QString &path);

/** Flushes an open file's data to the disk. */
bool syncHandle(int fd);

} // namespace FileMove
