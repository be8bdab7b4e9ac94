#pragma once

#include "base/Outcome.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QtGlobal>

/**
 * Keeps what tagging an MP4 file in place may change, so that the file can
 * be put back byte for byte afterwards (Undo Last Save).
 *
 * Tagging never moves the media data ("mdat"). It rewrites the movie header
 * ("moov") where the tags fit, or appends a copy of the header at the end of
 * the file and retires the old one as a "free" atom, and gives an open-ended
 * last atom (size field 0) its size. So a snapshot holds the file's size,
 * every top-level atom but the media data whole, and the media data's atom
 * headers: a few megabytes for a feature film.
 *
 * Putting the file back is as careful as tagging it: every write is flushed
 * before the next, a movie header is never rewritten while it is live, and a
 * file stopped after any write still plays; running restore() again from
 * there finishes the job.
 */
namespace HeaderSnapshot {

/** The file as it is now, in brief: its size, modification time and a digest of what take() reads. */
struct Fingerprint
{
    qint64 size = 0;
    qint64 mtimeNs = 0;
    QByteArray digest; ///< SHA-256 of the size, every top-level atom but the media data, and the media data's headers

    bool operator==(const Fingerprint &other) const = default;

    QJsonObject toJson() const;
    static Outcome<Fingerprint> fromJson(const QJsonObject &json);
};

/**
 * Everything of the MP4 at @p path a tagging may change, in a versioned,
 * self-checking form. Refuses a file whose top-level atoms do not add up.
 */
Outcome<QByteArray> take(const QString &path);

/** A fingerprint of @p path as it is now; reads the atoms take() reads, never the media data. */
Outcome<Fingerprint> fingerprint(const QString &path);

/** Whether @p path is byte for byte what @p snapshot recorded; compares the recorded bytes and the size only. */
bool matches(const QString &path, const QByteArray &snapshot);

/**
 * Puts the recorded bytes back so that @p path is as it was when @p snapshot
 * was taken; writes nothing when it already is. Refuses, writing nothing, a
 * file that neither a tagging nor an interrupted restore could have left
 * (Invalid), or a disk without room for a copy of the header (NoSpace).
 * @p maxSteps stops after that many writes (negative: all), which leaves the
 * file as a crash at that instant would.
 */
Status restore(const QString &path, const QByteArray &snapshot, int maxSteps = -1);

} // namespace HeaderSnapshot
