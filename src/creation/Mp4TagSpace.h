#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "creation/Mp4Atoms.h"

#include <QList>
#include <QString>
#include <QtGlobal>

#include <functional>
#include <optional>

class QIODevice;

/**
 * Makes room for iTunes-style tags in an MP4 file so that writing them costs
 * time in proportion to the tags, not to the movie, and the file plays at
 * every instant.
 *
 * When the new tags would not fit the existing tag list and the padding
 * beside it, a copy of the movie header ("moov"), with a "udta"/"meta"/"ilst"
 * structure and padding at its end, is appended to the file and synced; then
 * the old header is retired as a "free" atom by rewriting its 4-byte type,
 * and synced again. The media data never moves, so no chunk offset changes,
 * and the tag library then writes the tags inside the padding without
 * changing any atom's size.
 *
 * A file whose top-level atoms do not add up exactly is refused untouched.
 */
namespace Mp4TagSpace {

/**
 * How much a tagging must survive. A user's movie is tagged durably: every
 * step is synced to the disk before the next, and the header moves to the
 * end in either layout, so that a crash at any instant leaves a playable
 * file. A scratch file (a conversion's output, thrown away on failure) needs
 * neither: its header is moved only when it would shift the media data.
 */
enum class Durability { Synced, Scratch };

using Atom = Mp4Atom::Header;

struct Layout
{
    QList<Atom> atoms;   ///< top-level atoms in file order
    qint64 fileSize = 0;

    int indexOf(const char *type) const;
};

/** The steps that write to the file, in order. A run may stop after any. */
enum class Step { CloseOpenEndedAtom = 1, AppendHeaderCopy = 2, RetireOldHeader = 3 };

/** What a preparation did. */
struct TagSpaceReport
{
    bool relocated = false; ///< the header was moved to the end of the file
    int stepsDone = 0;      ///< writing steps carried out
};

/** What the plan is made from: the file's layout and header, the tags, the disk. */
struct TagSpaceFacts
{
    Layout layout;
    Durability durability = Durability::Synced;
    qint64 tagBytes = 0;
    /**
     * Whether the final tag list (what the file holds merged with what is
     * written) fits where the tag library would write it without changing
     * any size; when not known, the tags are taken to replace the old list.
     */
    std::optional<bool> fitsInPlace;
    /** The header's tag list plus the padding beside it; nothing when it has no tag list. */
    std::optional<qint64> roomForTags;
    /** The size of the header copy with room for the tags, or why none can be made. */
    Outcome<qint64> headerCopySize = qint64(0);
    qint64 freeBytes = -1; ///< on the file's disk; negative: not known
};

/**
 * A generous upper bound of the bytes an item's tags take in the file:
 * every text in UTF-8, the poster's bytes and @p extraText (the cast-and-crew
 * list), each with room for its atom headers.
 */
qint64 tagBytesFor(const MovieItem &item, const QString &extraText = QString());

/** The final tag list, rendered in memory from a copy of the movie header. */
struct FinalTags
{
    qint64 tagListBytes = 0; ///< the rendered tag list ("ilst") with its atom header
    bool fitsInPlace = false; ///< the tag library would write it without changing the header's size
};

/** Renders the final tag list on a copy of a movie header ("moov", whole). */
using TagRenderer = std::function<Outcome<FinalTags>(const QByteArray &movieHeader)>;

/** Reads and checks the top-level atoms; nothing is written. */
Outcome<Layout> readLayout(QIODevice &device);

/**
 * Bytes of free padding right beside the tag list (inside moov/udta/meta),
 * or -1 when the file has no tag list. Tags that grow by less than this,
 * less 8, are rewritten in place.
 */
qint64 paddingBesideTags(const QString &path);

/** Whether the header may stay where it is whatever the tags' size: a scratch file's header after the media. */
bool headerMayStay(const Layout &layout, Durability durability);

/** The padding a header copy gets for tags of @p tagBytes. */
qint64 paddingFor(qint64 tagBytes);

/**
 * Decides, writing nothing, the steps that make room for the tags: none
 * when they fit, or a refusal (a header too large or damaged, too little
 * free space, an open-ended atom too large to be given a size).
 */
Outcome<QList<Step>> plan(const TagSpaceFacts &facts);

/**
 * Prepares @p path for tags growing by at most @p metadataBytes. Does
 * nothing when the padding beside the tags is enough (or, for a scratch
 * file, when the header already follows the media data). Refuses, writing
 * nothing, when the disk has no room for the header copy. @p maxSteps stops
 * after that many writing steps (negative: all), which leaves a file as a
 * crash at that instant would.
 */
Outcome<TagSpaceReport> prepareForTags(const QString &path, qint64 metadataBytes, int maxSteps = -1,
                                       Durability durability = Durability::Synced);

/**
 * Like prepareForTags(), but the room is decided on the final tag list that
 * @p render gives for the file's header: whenever that list does not fit
 * where it is, the header moves to the end with room for it, so that the
 * tag library never shifts the media data (a scratch file whose header
 * already follows the media grows there, moving no media data either).
 */
Outcome<TagSpaceReport> prepareForFinalTags(const QString &path, const TagRenderer &render, int maxSteps = -1,
                                            Durability durability = Durability::Synced);

/**
 * The handler types ("vide", "soun", "text"...) of the tracks in a complete
 * MP4 file, in order; empty when the file's atoms do not add up or it has no
 * movie header or no media data.
 */
QList<QByteArray> trackKinds(const QString &path);

/** The duration its header gives a complete MP4 file, in seconds; nothing when it is not complete. */
std::optional<double> movieDuration(const QString &path);

} // namespace Mp4TagSpace
