#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "creation/Mp4TagSpace.h"

/**
 * Writes a movie item's iTunes-style tags into an MP4 file: title, genre,
 * tagline, plot, composer, date, media kind, HD flag, cover art (the
 * poster's original bytes), rating, encoding tool, comment, content id and
 * the cast-and-crew property list. A field whose key is missing or whose
 * integer does not fit is skipped; the file stays readable.
 *
 * The tags are read back before success is reported: a write the disk
 * refused (a full disk) is a failure, never a silently damaged file.
 */
namespace TagWriter {

Status writeTagsWithFileAtPath(const QString &path, const MovieItem &item,
                               Mp4TagSpace::Durability durability = Mp4TagSpace::Durability::Synced);

} // namespace TagWriter
