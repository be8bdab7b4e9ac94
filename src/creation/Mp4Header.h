#pragma once

#include "base/Outcome.h"

#include <QByteArray>
#include <QList>

#include <optional>

/** Reading and rebuilding a movie header ("moov") held whole in memory. */
namespace Mp4Header {

/** The tag list's size and the free padding right beside it. */
struct TagRoom
{
    qint64 tagList = 0;
    qint64 padding = 0;
};

/** The tag list and its padding (inside moov/udta/meta); nothing when there is no tag list. */
std::optional<TagRoom> tagRoom(const QByteArray &moov);

/**
 * A copy of @p moov with every child as it was, except that "udta" moves to
 * the end and carries a "meta" with a handler, the tag list and @p padding
 * bytes of free space after it.
 */
Outcome<QByteArray> copyWithRoom(const QByteArray &moov, qint64 padding);

/** The handler types of the header's tracks, in order; empty when one cannot be read. */
QList<QByteArray> trackKinds(const QByteArray &moov);

/**
 * The movie's duration in seconds: its longest picture or sound track (a
 * subtitle may run on after them), else what its "mvhd" says; nothing when
 * it cannot be read.
 */
std::optional<double> duration(const QByteArray &moov);

} // namespace Mp4Header
