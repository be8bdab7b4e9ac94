#include "creation/ForcedSubtitles.h"

#include "creation/Mp4Atoms.h"
#include "creation/Mp4TagSpace.h"

#include <QFile>
#include <QtEndian>

namespace ForcedSubtitles {

namespace {

constexpr quint32 SomeSamplesForced = 0x40000000;
constexpr quint32 AllSamplesForced = 0x80000000;
// The sample entry's header (8), reserved bytes (6) and data reference index (2) come before the flags.
constexpr qint64 FlagsInEntry = 16;
// The sample description's version and flags (4) and entry count (4) come before its first entry.
constexpr qint64 FirstEntryInDescription = 8;

Error notText(int track)
{
    return failure(ErrorKind::Invalid, QStringLiteral("track %1 is not a text subtitle").arg(track));
}

/** The child of @p parent whose type is @p path's first, and so on down. */
Outcome<Mp4Atom::Header> descend(const QByteArray &moov, Mp4Atom::Header parent, std::initializer_list<const char *> path)
{
    for (const char *type : path) {
        const Outcome<QList<Mp4Atom::Header>> children = Mp4Atom::childrenOf(moov, parent);
        if (!children)
            return children.error();
        const Mp4Atom::Header *child = Mp4Atom::find(*children, type);
        if (!child)
            return failure(ErrorKind::Invalid, QStringLiteral("no \"%1\" atom").arg(QLatin1String(type)));
        parent = *child;
    }
    return parent;
}

} // namespace

Outcome<QList<qint64>> displayFlagOffsets(const QByteArray &moov, const QList<int> &tracks)
{
    const Outcome<Mp4Atom::Header> movie = Mp4Atom::readHeader(moov, 0, moov.size());
    if (!movie)
        return movie.error();
    const Outcome<QList<Mp4Atom::Header>> children = Mp4Atom::childrenOf(moov, *movie);
    if (!children)
        return children.error();
    QList<Mp4Atom::Header> traks;
    for (const Mp4Atom::Header &child : *children)
        if (child.type == Mp4Atom::Track)
            traks.append(child);
    QList<qint64> offsets;
    for (const int track : tracks) {
        if (track < 0 || track >= traks.size())
            return notText(track);
        const Outcome<Mp4Atom::Header> description = descend(moov, traks.at(track), {"mdia", "minf", "stbl", "stsd"});
        if (!description)
            return description.error();
        const qint64 entry = description->bodyBegin() + FirstEntryInDescription;
        if (entry + FlagsInEntry + 4 > description->end() || moov.mid(entry + 4, 4) != "tx3g")
            return notText(track);
        offsets.append(entry + FlagsInEntry);
    }
    return offsets;
}

Status mark(const QString &path, const QList<int> &tracks)
{
    if (tracks.isEmpty())
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return failure(ErrorKind::Io, file.errorString());
    const Outcome<Mp4TagSpace::Layout> layout = Mp4TagSpace::readLayout(file);
    const int index = layout ? layout->indexOf(Mp4Atom::Movie) : -1;
    if (index < 0)
        return failure(ErrorKind::Invalid, QStringLiteral("the movie has no readable header"));
    const Mp4Atom::Header moovAtom = layout->atoms.at(index);
    if (!file.seek(moovAtom.offset))
        return failure(ErrorKind::Io, file.errorString());
    const QByteArray moov = file.read(moovAtom.size);
    const Outcome<QList<qint64>> offsets = displayFlagOffsets(moov, tracks);
    if (!offsets)
        return offsets.error();
    for (const qint64 offset : *offsets) {
        const quint32 flags = qFromBigEndian<quint32>(moov.constData() + offset) | SomeSamplesForced | AllSamplesForced;
        uchar bytes[4];
        qToBigEndian(flags, bytes);
        if (!file.seek(moovAtom.offset + offset) || file.write(reinterpret_cast<const char *>(bytes), 4) != 4)
            return failure(ErrorKind::Io, file.errorString());
    }
    return {};
}

} // namespace ForcedSubtitles
