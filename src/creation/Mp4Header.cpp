#include "creation/Mp4Header.h"

#include "creation/Mp4Atoms.h"

#include <QtEndian>

using Mp4Atom::Header;

namespace {

// A "meta" atom is a full box (version and flags before its children) in
// iTunes-style files, and a plain container in QuickTime ones.
Outcome<QList<Header>> metaChildren(const QByteArray &moov, const Header &meta, bool *fullBox)
{
    if (meta.end() - meta.bodyBegin() >= 4) {
        if (auto children = Mp4Atom::readAll(moov, meta.bodyBegin() + 4, meta.end())) {
            *fullBox = true;
            return children;
        }
    }
    *fullBox = false;
    return Mp4Atom::childrenOf(moov, meta);
}

/** The atoms inside a movie header read whole into @p moov. */
Outcome<QList<Header>> headerChildren(const QByteArray &moov)
{
    const auto top = Mp4Atom::readAll(moov, 0, moov.size());
    if (!top)
        return top.error();
    if (top->size() != 1)
        return failure(ErrorKind::Invalid, QStringLiteral("the movie header is damaged"));
    return Mp4Atom::childrenOf(moov, top->first());
}

QByteArray bytesOf(const QByteArray &moov, const Header &atom)
{
    return moov.mid(atom.offset, atom.size);
}

QByteArray freeAtom(qint64 totalSize)
{
    return Mp4Atom::make(Mp4Atom::Free, QByteArray(totalSize - 8, '\0'));
}

QByteArray emptyHandler()
{
    // version/flags, pre-defined, handler type "mdir", reserved "appl" + 8 zero bytes, empty name
    return Mp4Atom::make(Mp4Atom::Handler, QByteArray(8, '\0') + QByteArrayLiteral("mdirappl") + QByteArray(9, '\0'));
}

Error damaged(const char *what)
{
    return failure(ErrorKind::Invalid, QString::fromLatin1(what));
}

// The new "meta": its version, a handler, the tag list (an empty one when there was none) and the padding.
Outcome<QByteArray> metaWithRoom(const QByteArray &moov, const Header *meta, qint64 padding)
{
    QByteArray version(4, '\0');
    QByteArray children;
    bool hasHandler = false;
    bool hasTagList = false;
    if (meta) {
        bool fullBox = false;
        const auto atoms = metaChildren(moov, *meta, &fullBox);
        if (!atoms)
            return damaged("the tag atom is damaged");
        if (fullBox)
            version = moov.mid(meta->bodyBegin(), 4);
        for (const Header &child : *atoms) {
            if (child.type == Mp4Atom::Free || child.type == Mp4Atom::Skip)
                continue;
            hasHandler = hasHandler || child.type == Mp4Atom::Handler;
            children += bytesOf(moov, child);
            if (child.type == Mp4Atom::ItemList) {
                hasTagList = true;
                children += freeAtom(padding);
            }
        }
    }
    if (!hasHandler)
        children.prepend(emptyHandler());
    if (!hasTagList)
        children += Mp4Atom::make(Mp4Atom::ItemList, QByteArray()) + freeAtom(padding);
    return Mp4Atom::make(Mp4Atom::Metadata, version + children);
}

} // namespace

namespace Mp4Header {

std::optional<TagRoom> tagRoom(const QByteArray &moov)
{
    const auto children = headerChildren(moov);
    const Header *udta = children ? Mp4Atom::find(*children, Mp4Atom::UserData) : nullptr;
    const auto udtaChildren = udta ? Mp4Atom::childrenOf(moov, *udta) : Outcome<QList<Header>>(Error{});
    const Header *meta = udtaChildren ? Mp4Atom::find(*udtaChildren, Mp4Atom::Metadata) : nullptr;
    bool fullBox = false;
    const auto atoms = meta ? metaChildren(moov, *meta, &fullBox) : Outcome<QList<Header>>(Error{});
    if (!atoms)
        return std::nullopt;
    for (qsizetype i = 0; i < atoms->size(); ++i) {
        if (atoms->at(i).type != Mp4Atom::ItemList)
            continue;
        TagRoom room{atoms->at(i).size, 0};
        if (i > 0 && atoms->at(i - 1).type == Mp4Atom::Free)
            room.padding += atoms->at(i - 1).size;
        if (i + 1 < atoms->size() && atoms->at(i + 1).type == Mp4Atom::Free)
            room.padding += atoms->at(i + 1).size;
        return room;
    }
    return std::nullopt;
}

Outcome<QByteArray> copyWithRoom(const QByteArray &moov, qint64 padding)
{
    const auto children = headerChildren(moov);
    if (!children)
        return damaged("the movie header is damaged");
    QByteArray body;
    const Header *udta = Mp4Atom::find(*children, Mp4Atom::UserData);
    for (const Header &child : *children)
        if (&child != udta)
            body += bytesOf(moov, child);

    QByteArray udtaBody;
    const Header *meta = nullptr;
    Outcome<QList<Header>> udtaChildren = QList<Header>();
    if (udta) {
        udtaChildren = Mp4Atom::childrenOf(moov, *udta);
        if (!udtaChildren)
            return damaged("the user data atom is damaged");
        meta = Mp4Atom::find(*udtaChildren, Mp4Atom::Metadata);
        for (const Header &child : *udtaChildren)
            if (&child != meta)
                udtaBody += bytesOf(moov, child);
    }
    const Outcome<QByteArray> newMeta = metaWithRoom(moov, meta, padding);
    if (!newMeta)
        return newMeta;
    body += Mp4Atom::make(Mp4Atom::UserData, udtaBody + *newMeta);
    return Mp4Atom::make(Mp4Atom::Movie, body);
}

namespace {

/** The handler type ("vide", "soun", "text"...) of a track; empty when it cannot be read. */
QByteArray handlerOf(const QByteArray &moov, const Header &trak)
{
    const auto trakChildren = Mp4Atom::childrenOf(moov, trak);
    const Header *mdia = trakChildren ? Mp4Atom::find(*trakChildren, Mp4Atom::Media) : nullptr;
    const auto mdiaChildren = mdia ? Mp4Atom::childrenOf(moov, *mdia) : Outcome<QList<Header>>(Error{});
    const Header *hdlr = mdiaChildren ? Mp4Atom::find(*mdiaChildren, Mp4Atom::Handler) : nullptr;
    // version and flags, pre-defined, then the handler type
    if (!hdlr || hdlr->size < hdlr->headerSize + 12)
        return {};
    return moov.mid(hdlr->bodyBegin() + 8, 4);
}

/** A track's duration in the movie's time scale, from its "tkhd". */
std::optional<quint64> trackUnits(const QByteArray &moov, const Header &trak)
{
    const auto trakChildren = Mp4Atom::childrenOf(moov, trak);
    const Header *tkhd = trakChildren ? Mp4Atom::find(*trakChildren, "tkhd") : nullptr;
    if (!tkhd)
        return std::nullopt;
    const auto *body = reinterpret_cast<const uchar *>(moov.constData() + tkhd->bodyBegin());
    const qint64 length = tkhd->size - tkhd->headerSize;
    // version 0: four 32-bit fields before the duration; version 1: two 64-bit times, then two 32-bit fields
    if (length >= 24 && body[0] == 0)
        return qFromBigEndian<quint32>(body + 20);
    if (length >= 36 && body[0] == 1)
        return qFromBigEndian<quint64>(body + 28);
    return std::nullopt;
}

} // namespace

QList<QByteArray> trackKinds(const QByteArray &moov)
{
    const auto children = headerChildren(moov);
    if (!children)
        return {};
    QList<QByteArray> kinds;
    for (const Header &trak : *children) {
        if (trak.type != Mp4Atom::Track)
            continue;
        const QByteArray kind = handlerOf(moov, trak);
        if (kind.isEmpty())
            return {};
        kinds.append(kind);
    }
    return kinds;
}

std::optional<double> duration(const QByteArray &moov)
{
    const auto children = headerChildren(moov);
    const Header *mvhd = children ? Mp4Atom::find(*children, "mvhd") : nullptr;
    if (!mvhd || mvhd->size < mvhd->headerSize + 4)
        return std::nullopt;
    const auto *body = reinterpret_cast<const uchar *>(moov.constData() + mvhd->bodyBegin());
    const qint64 length = mvhd->size - mvhd->headerSize;
    // version 0: times and time scale in 32 bits; version 1: times in 64 bits
    quint32 timeScale = 0;
    quint64 units = 0;
    if (body[0] == 0 && length >= 20) {
        timeScale = qFromBigEndian<quint32>(body + 12);
        units = qFromBigEndian<quint32>(body + 16);
    } else if (body[0] == 1 && length >= 32) {
        timeScale = qFromBigEndian<quint32>(body + 20);
        units = qFromBigEndian<quint64>(body + 24);
    }
    if (timeScale == 0)
        return std::nullopt;
    // The pictures and the sound decide: a subtitle may run on after them.
    std::optional<quint64> longest;
    for (const Header &trak : *children) {
        if (trak.type != Mp4Atom::Track)
            continue;
        const QByteArray kind = handlerOf(moov, trak);
        const std::optional<quint64> trackDuration = trackUnits(moov, trak);
        if ((kind == "vide" || kind == "soun") && trackDuration)
            longest = std::max(longest.value_or(0), *trackDuration);
    }
    return double(longest.value_or(units)) / double(timeScale);
}

} // namespace Mp4Header
