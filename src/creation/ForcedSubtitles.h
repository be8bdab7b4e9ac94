#pragma once

#include "base/Outcome.h"

#include <QByteArray>
#include <QList>

/**
 * Marks text subtitle tracks of an MP4 as forced the way Apple players and
 * MediaInfo read it: the "tx3g" sample entry's display flags "some samples
 * are forced" and "all samples are forced". The converter only writes a
 * track "kind", which they ignore. Four bytes change per track; no size.
 */
namespace ForcedSubtitles {

/** Where, inside @p moov, the display flags of the tracks numbered @p tracks (0-based) lie; fails when one is not tx3g. */
Outcome<QList<qint64>> displayFlagOffsets(const QByteArray &moov, const QList<int> &tracks);

/** Marks the tracks numbered @p tracks of the MP4 at @p path as forced. Nothing to mark: nothing is read. */
Status mark(const QString &path, const QList<int> &tracks);

} // namespace ForcedSubtitles
