#pragma once

#include "base/MovieItemKeys.h"

/**
 * Writes a movie item's iTunes-style tags into an MP4 file: title, genre,
 * tagline, plot, composer, date, media kind, HD flag, cover art (the
 * poster's original bytes), rating, encoding tool, comment, content id and
 * the cast-and-crew property list. A field whose key is missing or whose
 * integer does not fit is skipped; the file stays readable.
 */
namespace TagWriter {

struct Result
{
    bool ok = false;
    QString error;
};

Result writeTagsWithFileAtPath(const QString &path, const MovieItem &item);

} // namespace TagWriter
