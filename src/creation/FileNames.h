#pragma once

#include "base/MovieItemKeys.h"

#include <QString>

/**
 * Turning a movie's title into a file name that is visible, valid and
 * accepted by the destination's file system.
 *
 * Control characters are removed, leading dots and spaces dropped (a name
 * starting with "." would be hidden), "/" becomes ":" and the name is cut
 * at a character boundary so that, with ".mp4", it holds at most 255 bytes
 * of UTF-8. On file systems that refuse more characters (FAT, exFAT, NTFS)
 * those are replaced as well. An item without a title is named after its
 * source file (Holiday.2019.mkv gives Holiday.2019.mp4).
 */
namespace FileNames {

/** How strict the file system holding a folder is about names. */
enum class NameRules { Posix, Windows };

constexpr qsizetype MaxNameBytes = 255;

/** The rules of the file system that holds @p folder (statfs: FAT, exFAT, NTFS and FUSE block devices are Windows). */
NameRules rulesFor(const QString &folder);

/** @p title made safe under @p rules, without extension; empty when nothing usable is left. */
QString safeBaseName(const QString &title, NameRules rules);

/** The movie's file name: "<safe title>.mp4", or the source file's name when the title gives none. */
QString movieFileName(const MovieItem &item, NameRules rules);

/** @p fileName ("Title.mp4") with " (n)" before the extension, cut so that it still fits. */
QString numbered(const QString &fileName, int n);

/** @p name cut at a character boundary to at most @p bytes of UTF-8. */
QString cutToBytes(const QString &name, qsizetype bytes);

} // namespace FileNames
