#include "creation/HeaderSnapshot.h"

#include "creation/FileMove.h"
#include "creation/Mp4Atoms.h"
#include "creation/Mp4TagSpace.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QFile>
#include <QJsonValue>
#include <QStorageInfo>
#include <QtEndian>

#include <sys/stat.h>

namespace {

using Atom = Mp4Atom::Header;

constexpr char Magic[] = "KVHS";
constexpr quint32 FormatVersion = 1;
constexpr qsizetype DigestBytes = 32;
constexpr qsizetype PreambleBytes = 4 + 4 + DigestBytes; // magic, version, SHA-256 of the rest
// A tagging rewrites headers of a few megabytes; atoms beyond this besides the media data are not a header.
constexpr qint64 MaxRecordedBytes = qint64(512) * 1024 * 1024;
// Room left on the disk beyond a header copy, for the file system's own needs.
constexpr qint64 FreeSpaceMargin = qint64(1024) * 1024;
constexpr qint64 ReadChunk = qint64(4) * 1024 * 1024;

/** One top-level atom as a snapshot holds it: whole, or only its header for the media data. */
struct Region
{
    Atom atom;
    QByteArray bytes;
};

struct Record
{
    qint64 fileSize = 0;
    QList<Region> regions; // every top-level atom, in file order
};

/** The file as it is now, read against a record. */
struct Current
{
    qint64 size = 0;
    QList<Atom> below;       // the atoms up to the recorded size, one for each recorded atom
    QList<Atom> beyond;      // what was appended after it
    QList<QByteArray> bytes; // what lies now where each recorded region lies
    qint64 freeBytes = -1;   // on the file's disk; negative: not known
};

/** One write of a restore: bytes at an offset, or the file cut to a size. */
struct Write
{
    enum class Kind { Bytes, Truncate };
    Kind kind = Kind::Bytes;
    qint64 offset = 0; ///< where the bytes go, or the size the file is cut to
    QByteArray bytes = {};
};

qint64 recordedLength(const Atom &atom)
{
    return atom.type == Mp4Atom::MediaData ? atom.headerSize : atom.size;
}

QByteArray bigEndian32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian<quint32>(value, reinterpret_cast<uchar *>(bytes.data()));
    return bytes;
}

QByteArray typeOf(const QByteArray &atomBytes)
{
    return atomBytes.mid(4, 4);
}

Error openError(const QFile &file)
{
    return failure(file.exists() ? ErrorKind::Io : ErrorKind::Missing,
                   QStringLiteral("the file cannot be opened (") + file.errorString() + QLatin1Char(')'));
}

Error fileError(const QFile &file, const QString &what)
{
    return failure(file.error() == QFileDevice::ResourceError ? ErrorKind::NoSpace : ErrorKind::Io,
                   what + QStringLiteral(" (") + file.errorString() + QLatin1Char(')'));
}

Error changed(const QString &why)
{
    return failure(ErrorKind::Invalid, QStringLiteral("the file was changed since the Save: ") + why);
}

Outcome<QByteArray> readAt(QFile &file, qint64 offset, qint64 length)
{
    QByteArray bytes;
    if (file.seek(offset))
        bytes = file.read(length);
    if (bytes.size() != length)
        return failure(ErrorKind::Io, QStringLiteral("the file could not be read at byte %1").arg(offset));
    return bytes;
}

QByteArray encode(const Record &record)
{
    QByteArray payload;
    QDataStream out(&payload, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_0);
    out << record.fileSize << quint32(record.regions.size());
    for (const Region &region : record.regions)
        out << region.atom.offset << region.bytes;
    return QByteArray(Magic, 4) + bigEndian32(FormatVersion) + QCryptographicHash::hash(payload, QCryptographicHash::Sha256)
        + payload;
}

Outcome<Record> decode(const QByteArray &snapshot)
{
    const Error damaged = failure(ErrorKind::Invalid, QStringLiteral("the record of the file as it was before the Save is damaged"));
    if (snapshot.size() < PreambleBytes || !snapshot.startsWith(QByteArray(Magic, 4)))
        return damaged;
    if (qFromBigEndian<quint32>(snapshot.constData() + 4) != FormatVersion)
        return failure(ErrorKind::Invalid,
                       QStringLiteral("the record of the file as it was before the Save was made by another version of Kinovela"));
    const QByteArray payload = snapshot.mid(PreambleBytes);
    if (QCryptographicHash::hash(payload, QCryptographicHash::Sha256) != snapshot.mid(8, DigestBytes))
        return damaged;

    Record record;
    QDataStream in(payload);
    in.setVersion(QDataStream::Qt_6_0);
    quint32 count = 0;
    in >> record.fileSize >> count;
    for (quint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        Region region;
        in >> region.atom.offset >> region.bytes;
        record.regions.append(region);
    }
    if (in.status() != QDataStream::Ok || !in.atEnd() || record.regions.isEmpty())
        return damaged;
    // Each atom's own header must end it where the next begins.
    for (qsizetype i = 0; i < record.regions.size(); ++i) {
        Region &region = record.regions[i];
        const qint64 offset = region.atom.offset;
        const qint64 expected = i == 0 ? 0 : record.regions.at(i - 1).atom.end();
        const qint64 end = i + 1 < record.regions.size() ? record.regions.at(i + 1).atom.offset : record.fileSize;
        const Outcome<Atom> atom = offset == expected ? Mp4Atom::readHeader(region.bytes, 0, end - offset)
                                                      : Outcome<Atom>(damaged);
        if (!atom || atom->size != end - offset || region.bytes.size() != recordedLength(*atom))
            return damaged;
        region.atom = *atom;
        region.atom.offset = offset;
    }
    if (record.regions.first().atom.type != Mp4Atom::FileType)
        return damaged;
    return record;
}

bool matchesRecord(QFile &file, const Record &record)
{
    if (file.size() != record.fileSize)
        return false;
    for (const Region &region : record.regions) {
        const Outcome<QByteArray> now = readAt(file, region.atom.offset, region.bytes.size());
        if (!now || *now != region.bytes)
            return false;
    }
    return true;
}

/**
 * Reads the file against @p record, refusing what neither a tagging nor an
 * interrupted restore leaves: the atoms up to the recorded size must end
 * where they did, with the types they had (a movie header may have been
 * retired as "free"), and what follows must be whole headers, live or retired.
 */
Outcome<Current> readCurrent(QFile &file, const Record &record)
{
    Current current;
    current.size = file.size();
    if (current.size < record.fileSize)
        return changed(QStringLiteral("it is shorter than it was (%1 bytes, it was %2)").arg(current.size).arg(record.fileSize));
    const auto below = Mp4Atom::readAll(file, 0, record.fileSize, Mp4Atom::Names::Printable);
    if (!below)
        return changed(QStringLiteral("its atoms no longer end where they did (") + below.errorText() + QLatin1Char(')'));
    if (below->size() != record.regions.size())
        return changed(QStringLiteral("it holds %1 atoms where it held %2").arg(below->size()).arg(record.regions.size()));
    for (qsizetype i = 0; i < below->size(); ++i) {
        const Atom &now = below->at(i);
        const Atom &then = record.regions.at(i).atom;
        if (now.offset != then.offset || now.size != then.size || now.headerSize != then.headerSize)
            return changed(QStringLiteral("its atoms no longer end where they did (byte %1)").arg(now.offset));
        const bool retired = then.type == Mp4Atom::Movie && now.type == Mp4Atom::Free;
        if (now.type != then.type && !retired)
            return changed(QStringLiteral("a \"%1\" atom lies where a \"%2\" atom was (byte %3)")
                               .arg(QString::fromLatin1(now.type), QString::fromLatin1(then.type))
                               .arg(now.offset));
    }
    current.below = *below;
    if (current.size > record.fileSize) {
        if (below->last().toEndOfFile)
            return changed(QStringLiteral("its last atom has no size and runs over what follows it"));
        const auto beyond = Mp4Atom::readAll(file, record.fileSize, current.size, Mp4Atom::Names::Printable);
        if (!beyond)
            return changed(QStringLiteral("what follows its old end is not whole atoms (") + beyond.errorText() + QLatin1Char(')'));
        for (const Atom &atom : *beyond)
            if (atom.type != Mp4Atom::Movie && atom.type != Mp4Atom::Free)
                return changed(QStringLiteral("a \"%1\" atom follows its old end (byte %2)")
                                   .arg(QString::fromLatin1(atom.type))
                                   .arg(atom.offset));
        current.beyond = *beyond;
    }
    for (const Region &region : record.regions) {
        const Outcome<QByteArray> now = readAt(file, region.atom.offset, region.bytes.size());
        if (!now)
            return now.error();
        current.bytes.append(*now);
    }
    current.freeBytes = QStorageInfo(file.fileName()).bytesAvailable();
    return current;
}

/**
 * The writes that put the recorded bytes back, in an order that keeps a live
 * movie header that fits the media data at every instant:
 * a header whose bytes differ is retired ("free") before it is rewritten,
 * while another live header carries the movie (a copy of the original is
 * appended when none follows the old end, an open-ended last atom given its
 * size first); then the recorded headers are made live again, the file is cut
 * to its old size, and the remaining bytes (a size field, other atoms) go back.
 * Decided afresh from the file on every run, so that a run stopped after any
 * write is finished by the next.
 */
Outcome<QList<Write>> plan(const Record &record, const Current &current)
{
    QList<qsizetype> headers; // the recorded movie headers
    QList<qsizetype> stale;   // ... whose bytes after the type differ now
    for (qsizetype i = 0; i < record.regions.size(); ++i) {
        if (record.regions.at(i).atom.type != Mp4Atom::Movie)
            continue;
        headers.append(i);
        if (current.bytes.at(i).mid(8) != record.regions.at(i).bytes.mid(8))
            stale.append(i);
    }
    bool liveBeyond = false;
    for (const Atom &atom : current.beyond)
        liveBeyond = liveBeyond || atom.type == Mp4Atom::Movie;

    QList<Write> writes;
    QList<QByteArray> after = current.bytes; // what each recorded region will hold before the last phase
    const bool setAside = !stale.isEmpty() && !liveBeyond;
    if (setAside) {
        QByteArray copy = record.regions.at(stale.first()).bytes;
        if (current.freeBytes >= 0 && current.freeBytes < copy.size() + FreeSpaceMargin)
            return failure(ErrorKind::NoSpace,
                           QStringLiteral("there is not enough free space on the disk to set the movie header aside"));
        // The original header may have had no size (it was the last atom): the copy gets one, so nothing runs over it.
        if (copy.left(4) == bigEndian32(0))
            copy.replace(0, 4, bigEndian32(quint32(copy.size())));
        const Atom &last = current.beyond.isEmpty() ? current.below.last() : current.beyond.last();
        if (last.toEndOfFile) {
            if (last.size > qint64(0xFFFFFFFFu))
                return failure(ErrorKind::Failed,
                               QStringLiteral("the last atom has no size and is too large to give one, so the movie header "
                                              "cannot be set aside"));
            writes.append({Write::Kind::Bytes, last.offset, bigEndian32(quint32(last.size))});
            if (current.beyond.isEmpty())
                after.last().replace(0, 4, writes.last().bytes);
        }
        writes.append({Write::Kind::Bytes, current.size, copy});
    }
    for (const qsizetype i : stale) {
        const Region &region = record.regions.at(i);
        if (typeOf(current.bytes.at(i)) == Mp4Atom::Movie)
            writes.append({Write::Kind::Bytes, region.atom.offset + 4, QByteArray(Mp4Atom::Free)});
        writes.append({Write::Kind::Bytes, region.atom.offset + 8, region.bytes.mid(8)});
    }
    for (const qsizetype i : headers)
        if (stale.contains(i) || typeOf(current.bytes.at(i)) != Mp4Atom::Movie)
            writes.append({Write::Kind::Bytes, record.regions.at(i).atom.offset + 4, QByteArray(Mp4Atom::Movie)});
    if (current.size > record.fileSize || setAside)
        writes.append({Write::Kind::Truncate, record.fileSize});
    // Only now may a size field go back to 0 ("to the end of the file"): nothing follows any more.
    for (qsizetype i = 0; i < record.regions.size(); ++i) {
        const Region &region = record.regions.at(i);
        const QByteArray &now = after.at(i);
        if (headers.contains(i)) {
            if (now.left(4) != region.bytes.left(4))
                writes.append({Write::Kind::Bytes, region.atom.offset, region.bytes.left(4)});
        } else if (now != region.bytes) {
            writes.append({Write::Kind::Bytes, region.atom.offset, region.bytes});
        }
    }
    return writes;
}

Status carryOut(QFile &file, const Write &write)
{
    if (write.kind == Write::Kind::Truncate) {
        if (!file.resize(write.offset))
            return fileError(file, QStringLiteral("the file could not be cut to its old size"));
        return FileMove::syncHandle(file.handle());
    }
    const qint64 sizeBefore = file.size();
    if (!file.seek(write.offset) || file.write(write.bytes) != write.bytes.size() || !file.flush()) {
        const Error error = fileError(file, QStringLiteral("the file could not be written"));
        // Take back a partial copy at the end so that only whole atoms follow.
        if (write.offset >= sizeBefore)
            file.resize(sizeBefore);
        return error;
    }
    return FileMove::syncHandle(file.handle());
}

} // namespace

namespace HeaderSnapshot {

QJsonObject Fingerprint::toJson() const
{
    // Nanoseconds since 1970 need more than the 53 bits a JSON number keeps exactly.
    return QJsonObject{{QStringLiteral("size"), QJsonValue(size)},
                       {QStringLiteral("mtimeNs"), QString::number(mtimeNs)},
                       {QStringLiteral("digest"), QString::fromLatin1(digest.toHex())}};
}

Outcome<Fingerprint> Fingerprint::fromJson(const QJsonObject &json)
{
    Fingerprint print;
    bool mtimeOk = false;
    print.size = json.value(QStringLiteral("size")).toInteger(-1);
    print.mtimeNs = json.value(QStringLiteral("mtimeNs")).toString().toLongLong(&mtimeOk);
    const QString hex = json.value(QStringLiteral("digest")).toString();
    print.digest = QByteArray::fromHex(hex.toLatin1());
    if (print.size < 0 || !mtimeOk || print.digest.size() != DigestBytes || hex.size() != 2 * DigestBytes)
        return failure(ErrorKind::Invalid, QStringLiteral("the fingerprint of the file is damaged"));
    return print;
}

Outcome<QByteArray> take(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return openError(file);
    const Outcome<Mp4TagSpace::Layout> layout = Mp4TagSpace::readLayout(file);
    if (!layout)
        return layout.error();
    Record record;
    record.fileSize = layout->fileSize;
    qint64 total = 0;
    for (const Atom &atom : layout->atoms) {
        total += recordedLength(atom);
        if (total > MaxRecordedBytes)
            return failure(ErrorKind::Failed, QStringLiteral("the file's atoms besides the media data are too large to keep"));
        const Outcome<QByteArray> bytes = readAt(file, atom.offset, recordedLength(atom));
        if (!bytes)
            return bytes.error();
        record.regions.append({atom, *bytes});
    }
    return encode(record);
}

Outcome<Fingerprint> fingerprint(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return openError(file);
    struct stat status = {};
    if (::fstat(file.handle(), &status) != 0)
        return failure(ErrorKind::Io, QStringLiteral("the file's size and time cannot be read"));
    Fingerprint print;
    print.size = status.st_size;
    print.mtimeNs = qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    const Outcome<Mp4TagSpace::Layout> layout = Mp4TagSpace::readLayout(file);
    if (!layout)
        return layout.error();
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QByteArray size(8, '\0');
    qToBigEndian<qint64>(layout->fileSize, reinterpret_cast<uchar *>(size.data()));
    hash.addData(size);
    for (const Atom &atom : layout->atoms) {
        for (qint64 done = 0, length = recordedLength(atom); done < length;) {
            const Outcome<QByteArray> chunk = readAt(file, atom.offset + done, qMin(ReadChunk, length - done));
            if (!chunk)
                return chunk.error();
            hash.addData(*chunk);
            done += chunk->size();
        }
    }
    print.digest = hash.result();
    return print;
}

bool matches(const QString &path, const QByteArray &snapshot)
{
    const Outcome<Record> record = decode(snapshot);
    QFile file(path);
    return record && file.open(QIODevice::ReadOnly) && matchesRecord(file, *record);
}

Status restore(const QString &path, const QByteArray &snapshot, int maxSteps)
{
    const Outcome<Record> record = decode(snapshot);
    if (!record)
        return record.error();
    // A file that is already as it was needs no writing, so it may be read-only. Unbuffered: it is read back after the writes.
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Unbuffered) && !file.open(QIODevice::ReadOnly))
        return openError(file);
    const Outcome<Current> current = readCurrent(file, *record);
    if (!current)
        return current.error();
    const Outcome<QList<Write>> writes = plan(*record, *current);
    if (!writes)
        return writes.error();
    if (writes->isEmpty())
        return {};
    if (!file.isWritable())
        return failure(ErrorKind::Io, QStringLiteral("the file cannot be opened for writing"));

    int done = 0;
    for (const Write &write : *writes) {
        if (maxSteps >= 0 && done >= maxSteps)
            return {};
        if (const Status written = carryOut(file, write); !written)
            return written;
        ++done;
    }
    if (!matchesRecord(file, *record))
        return failure(ErrorKind::Failed, QStringLiteral("the file could not be put back as it was"));
    return {};
}

} // namespace HeaderSnapshot
