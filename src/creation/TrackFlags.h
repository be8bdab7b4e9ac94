#pragma once

#include "base/Outcome.h"

#include <QByteArray>
#include <QList>

/**
 * Sets two things in a converted MP4 that the converter cannot: a text
 * subtitle forced the way Apple players and MediaInfo read it (the "tx3g"
 * sample entry's display flags "some samples are forced" and "all samples
 * are forced"; the converter only writes a track "kind", which they ignore),
 * and a subtitle track disabled (the converter enables the first subtitle
 * when none is marked default, and QuickTime players show an enabled one).
 * A few bytes change per track; no size.
 */
namespace TrackFlags {

/** Where, inside @p moov, the display flags of the tracks numbered @p tracks (0-based) lie; fails when one is not tx3g. */
Outcome<QList<qint64>> displayFlagOffsets(const QByteArray &moov, const QList<int> &tracks);

/** Where, inside @p moov, the last byte of the "tkhd" flags (the enabled bit) of the tracks numbered @p tracks lies. */
Outcome<QList<qint64>> enabledFlagOffsets(const QByteArray &moov, const QList<int> &tracks);

/** Marks the tracks numbered @p forced as forced text and clears the enabled flag of those numbered @p disabled. */
Status apply(const QString &path, const QList<int> &forced, const QList<int> &disabled);

} // namespace TrackFlags
