#include "creation/Mp4Atoms.h"

#include <QIODevice>
#include <QtEndian>

namespace {

Error atError(const char *what, qint64 offset)
{
    return failure(ErrorKind::Invalid, QString::fromLatin1(what).arg(offset));
}

constexpr const char *EndsInsideHeader = "the file ends inside an atom header at byte %1";

// @p head holds the first 8 to 16 bytes of the atom; @p room is the length of the range from its offset.
Outcome<Mp4Atom::Header> parse(const QByteArray &head, qint64 offset, qint64 room, Mp4Atom::Names names)
{
    Mp4Atom::Header atom;
    atom.offset = offset;
    atom.type = head.mid(4, 4);
    if (names == Mp4Atom::Names::Printable) {
        for (const char c : std::as_const(atom.type))
            if (uchar(c) < 0x20 || uchar(c) == 0x7F)
                return atError("not an MP4 atom at byte %1", offset);
    }
    const auto *p = reinterpret_cast<const uchar *>(head.constData());
    const quint32 size32 = qFromBigEndian<quint32>(p);
    if (size32 == 1) {
        if (head.size() < 16)
            return atError(EndsInsideHeader, offset);
        const quint64 size64 = qFromBigEndian<quint64>(p + 8);
        if (size64 > quint64(room))
            return atError("the atom at byte %1 runs past the end of the file", offset);
        atom.size = qint64(size64);
        atom.headerSize = 16;
    } else if (size32 == 0) {
        atom.size = room;
        atom.toEndOfFile = true;
    } else {
        atom.size = size32;
    }
    if (atom.size < atom.headerSize)
        return atError("the atom at byte %1 is smaller than its header", offset);
    if (atom.size > room)
        return atError("the atom at byte %1 runs past the end of the file", offset);
    return atom;
}

template<typename Source>
Outcome<QList<Mp4Atom::Header>> readSequence(Source &source, qint64 begin, qint64 end, Mp4Atom::Names names)
{
    QList<Mp4Atom::Header> atoms;
    for (qint64 at = begin; at < end;) {
        Outcome<Mp4Atom::Header> atom = Mp4Atom::readHeader(source, at, end, names);
        if (!atom)
            return atom.error();
        atoms.append(*atom);
        at += atom->size;
    }
    return atoms;
}

} // namespace

namespace Mp4Atom {

Outcome<Header> readHeader(QIODevice &device, qint64 offset, qint64 end, Names names)
{
    const qint64 room = end - offset;
    if (room < 8 || !device.seek(offset))
        return atError(EndsInsideHeader, offset);
    const QByteArray head = device.read(qMin<qint64>(room, 16));
    if (head.size() < 8)
        return failure(ErrorKind::Io, QStringLiteral("the file could not be read at byte %1").arg(offset));
    return parse(head, offset, room, names);
}

Outcome<Header> readHeader(const QByteArray &bytes, qint64 offset, qint64 end, Names names)
{
    const qint64 room = end - offset;
    if (room < 8)
        return atError(EndsInsideHeader, offset);
    return parse(bytes.mid(offset, qMin<qint64>(room, 16)), offset, room, names);
}

Outcome<QList<Header>> readAll(QIODevice &device, qint64 begin, qint64 end, Names names)
{
    return readSequence(device, begin, end, names);
}

Outcome<QList<Header>> readAll(const QByteArray &bytes, qint64 begin, qint64 end)
{
    return readSequence(bytes, begin, end, Names::Any);
}

Outcome<QList<Header>> childrenOf(const QByteArray &bytes, const Header &parent)
{
    return readAll(bytes, parent.bodyBegin(), parent.end());
}

const Header *find(const QList<Header> &atoms, const char *type)
{
    for (const Header &atom : atoms)
        if (atom.type == type)
            return &atom;
    return nullptr;
}

QByteArray make(const char *type, const QByteArray &body)
{
    const qint64 total = body.size() + 8;
    QByteArray out;
    if (total <= qint64(0xFFFFFFFFu)) {
        out.resize(8);
        qToBigEndian<quint32>(quint32(total), reinterpret_cast<uchar *>(out.data()));
        out.replace(4, 4, QByteArray(type, 4));
    } else {
        out.resize(16);
        qToBigEndian<quint32>(1, reinterpret_cast<uchar *>(out.data()));
        out.replace(4, 4, QByteArray(type, 4));
        qToBigEndian<quint64>(quint64(total + 8), reinterpret_cast<uchar *>(out.data()) + 8);
    }
    return out + body;
}

} // namespace Mp4Atom
