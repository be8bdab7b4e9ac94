#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "creation/Mp4TagSpace.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>

/** One tag Save writes: its MP4 item name, a name a person reads, and its value. */
struct PlannedTag
{
    enum class Type { Text, Byte, Flag, Number, Jpeg, Png };

    QByteArray atom; ///< the MP4 item name ("\251nam", "----:com.apple.iTunes:iTunMOVI"...)
    QString name;    ///< "title", "genre", "cover"...
    Type type = Type::Text;
    QVariant value;  ///< QString for text, qint64 for numbers, bool for flags, QByteArray for a cover
};

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

/** The tags written for @p item, in the order they are written; what the item lacks or cannot hold is left out. */
QList<PlannedTag> tagsFor(const MovieItem &item);

Status writeTagsWithFileAtPath(const QString &path, const MovieItem &item,
                               Mp4TagSpace::Durability durability = Mp4TagSpace::Durability::Synced);

/** Writes @p tags, as tagsFor() gives them, into the MP4 at @p path. */
Status writeTags(const QString &path, const QList<PlannedTag> &tags,
                 Mp4TagSpace::Durability durability = Mp4TagSpace::Durability::Synced);

} // namespace TagWriter
