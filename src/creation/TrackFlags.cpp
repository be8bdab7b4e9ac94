#include "creation/TrackFlags.h"

#include "creation/Mp4Atoms.h"
#include "creation/Mp4TagSpace.h"

#include <QFile>
#include <QtEndian>

namespace TrackFlags {

namespace {

constexpr quint32 SomeSamplesForced = 0x40000000;
constexpr quint32 AllSamplesForced = 0x80000000;
constexpr char TrackEnabled = 0x01;
// The sample entry's header (8), reserved bytes (6) and data reference index (2) come before the flags.
constexpr qint64 FlagsInEntry = 16;
// The sample description's version and flags (4) and entry count (4) come before its first entry.
constexpr qint64 FirstEntryInDescription = 8;

Error noTrack(int track, const char *what)
{
    return failure(ErrorKind::Invalid, QStringLiteral("track %1 %2").arg(track).arg(QLatin1String(what)));
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

/** The header's tracks, in order. */
Outcome<QList<Mp4Atom::Header>> tracksOf(const QByteArray &moov)
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
    return traks;
}

Status writeAt(QFile &file, qint64 offset, const QByteArray &bytes)
{
    if (!file.seek(offset) || file.write(bytes) != bytes.size())
        return failure(ErrorKind::Io, file.errorString());
    return {};
}

} // namespace

Outcome<QList<qint64>> displayFlagOffsets(const QByteArray &moov, const QList<int> &tracks)
{
    const Outcome<QList<Mp4Atom::Header>> traks = tracksOf(moov);
    if (!traks)
        return traks.error();
    QList<qint64> offsets;
    for (const int track : tracks) {
        if (track < 0 || track >= traks->size())
            return noTrack(track, "is not in the movie");
        const Outcome<Mp4Atom::Header> description = descend(moov, traks->at(track), {"mdia", "minf", "stbl", "stsd"});
        if (!description)
            return description.error();
        const qint64 entry = description->bodyBegin() + FirstEntryInDescription;
        if (entry + FlagsInEntry + 4 > description->end() || moov.mid(entry + 4, 4) != "tx3g")
            return noTrack(track, "is not a text subtitle");
        offsets.append(entry + FlagsInEntry);
    }
    return offsets;
}

Outcome<QList<qint64>> enabledFlagOffsets(const QByteArray &moov, const QList<int> &tracks)
{
    const Outcome<QList<Mp4Atom::Header>> traks = tracksOf(moov);
    if (!traks)
        return traks.error();
    QList<qint64> offsets;
    for (const int track : tracks) {
        if (track < 0 || track >= traks->size())
            return noTrack(track, "is not in the movie");
        const Outcome<Mp4Atom::Header> header = descend(moov, traks->at(track), {"tkhd"});
        if (!header)
            return header.error();
        if (header->bodyBegin() + 4 > header->end())
            return noTrack(track, "has a damaged track header");
        offsets.append(header->bodyBegin() + 3); // version (1), then the flags (3)
    }
    return offsets;
}

Status apply(const QString &path, const QList<int> &forced, const QList<int> &disabled)
{
    if (forced.isEmpty() && disabled.isEmpty())
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
    const Outcome<QList<qint64>> display = displayFlagOffsets(moov, forced);
    const Outcome<QList<qint64>> enabled = enabledFlagOffsets(moov, disabled);
    if (!display || !enabled)
        return !display ? display.error() : enabled.error();
    for (const qint64 offset : *display) {
        QByteArray flags(4, '\0');
        qToBigEndian(qFromBigEndian<quint32>(moov.constData() + offset) | SomeSamplesForced | AllSamplesForced, flags.data());
        if (const Status written = writeAt(file, moovAtom.offset + offset, flags); !written)
            return written;
    }
    for (const qint64 offset : *enabled) {
        if (const Status written = writeAt(file, moovAtom.offset + offset, QByteArray(1, char(moov.at(offset) & ~TrackEnabled)));
            !written)
            return written;
    }
    return {};
}

} // namespace TrackFlags
