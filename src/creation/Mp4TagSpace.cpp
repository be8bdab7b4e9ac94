#include "creation/Mp4TagSpace.h"

#include "base/ItemImage.h"
#include "creation/FileMove.h"

#include <QFile>
#include <QStorageInfo>
#include <QtEndian>

#include <optional>


namespace {

// The header is read whole into memory to be copied; beyond this it is not a
// movie header this tool should be rewriting.
constexpr qint64 MaxHeaderBytes = qint64(512) * 1024 * 1024;
constexpr qint64 PaddingSlack = 4096;
// Padding beyond this is not written: larger tags still grow at the end of the file, only less cheaply.
constexpr qint64 MaxPadding = qint64(256) * 1024 * 1024;
// Room left on the disk beyond the header copy, for the file system's own needs.
constexpr qint64 FreeSpaceMargin = qint64(1024) * 1024;

struct Box
{
    QByteArray type;
    qint64 begin = 0; // offset of the size field inside the buffer
    qint64 size = 0;
    int headerSize = 8;
};

// Reads the boxes laid one after the other in data[begin, end). Every box must
// lie wholly inside the range and the range must be filled exactly.
std::optional<QList<Box>> childBoxes(const QByteArray &data, qint64 begin, qint64 end)
{
    QList<Box> boxes;
    qint64 at = begin;
    while (at < end) {
        if (end - at < 8)
            return std::nullopt;
        const auto *p = reinterpret_cast<const uchar *>(data.constData() + at);
        Box box;
        box.begin = at;
        box.type = data.mid(at + 4, 4);
        const quint32 size32 = qFromBigEndian<quint32>(p);
        if (size32 == 1) {
            if (end - at < 16)
                return std::nullopt;
            const quint64 size64 = qFromBigEndian<quint64>(p + 8);
            if (size64 > quint64(end - at))
                return std::nullopt;
            box.size = qint64(size64);
            box.headerSize = 16;
        } else if (size32 == 0) {
            box.size = end - at;
        } else {
            box.size = size32;
        }
        if (box.size < box.headerSize || box.size > end - at)
            return std::nullopt;
        boxes.append(box);
        at += box.size;
    }
    return boxes;
}

QByteArray boxBytes(const char *type, const QByteArray &body)
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

QByteArray bytesOf(const QByteArray &data, const Box &box)
{
    return data.mid(box.begin, box.size);
}

const Box *firstOf(const QList<Box> &boxes, const char *type)
{
    for (const Box &box : boxes)
        if (box.type == type)
            return &box;
    return nullptr;
}

// A "meta" atom is a full box (version and flags before its children) in
// iTunes-style files, and a plain container in QuickTime ones.
std::optional<QList<Box>> metaChildren(const QByteArray &data, const Box &meta, bool *fullBox)
{
    const qint64 bodyBegin = meta.begin + meta.headerSize;
    const qint64 end = meta.begin + meta.size;
    if (end - bodyBegin >= 4) {
        if (auto children = childBoxes(data, bodyBegin + 4, end)) {
            *fullBox = true;
            return children;
        }
    }
    *fullBox = false;
    return childBoxes(data, bodyBegin, end);
}

/** The atoms inside a movie header read whole into @p moov. */
std::optional<QList<Box>> headerChildren(const QByteArray &moov)
{
    const auto top = childBoxes(moov, 0, moov.size());
    if (!top || top->size() != 1)
        return std::nullopt;
    return childBoxes(moov, top->first().headerSize, top->first().size);
}

/** The movie header of a file whose layout was read, whole; nothing when it is too large or unreadable. */
std::optional<QByteArray> readHeader(QIODevice &file, const Mp4TagSpace::Layout &layout)
{
    const Mp4TagSpace::Atom &moovAtom = layout.atoms.at(layout.indexOf("moov"));
    if (moovAtom.size > MaxHeaderBytes || !file.seek(moovAtom.offset))
        return std::nullopt;
    QByteArray moov = file.read(moovAtom.size);
    if (moov.size() != moovAtom.size)
        return std::nullopt;
    return moov;
}

/** The sizes of the tag list and of the free padding right beside it; false when there is no tag list. */
bool tagListAndPadding(const QByteArray &moov, qint64 *tagList, qint64 *padding)
{
    const auto children = headerChildren(moov);
    const Box *udta = children ? firstOf(*children, "udta") : nullptr;
    if (!udta)
        return false;
    const auto udtaChildren = childBoxes(moov, udta->begin + udta->headerSize, udta->begin + udta->size);
    const Box *meta = udtaChildren ? firstOf(*udtaChildren, "meta") : nullptr;
    if (!meta)
        return false;
    bool fullBox = false;
    const auto metaBoxes = metaChildren(moov, *meta, &fullBox);
    if (!metaBoxes)
        return false;
    for (int i = 0; i < metaBoxes->size(); ++i) {
        if (metaBoxes->at(i).type != "ilst")
            continue;
        *tagList = metaBoxes->at(i).size;
        *padding = 0;
        if (i > 0 && metaBoxes->at(i - 1).type == "free")
            *padding += metaBoxes->at(i - 1).size;
        if (i + 1 < metaBoxes->size() && metaBoxes->at(i + 1).type == "free")
            *padding += metaBoxes->at(i + 1).size;
        return true;
    }
    return false;
}

QByteArray emptyHandler()
{
    // version/flags, pre-defined, handler type "mdir", reserved "appl" + 8 zero bytes, empty name
    return boxBytes("hdlr", QByteArray(8, '\0') + QByteArrayLiteral("mdirappl") + QByteArray(9, '\0'));
}

QByteArray freeBox(qint64 totalSize)
{
    return boxBytes("free", QByteArray(totalSize - 8, '\0'));
}

// The header copy: every child as it was, except that "udta" moves to the
// end and carries a "meta" with a handler, the tag list and free padding.
std::optional<QByteArray> headerCopyWithRoom(const QByteArray &moov, qint64 padding, QString *error)
{
    const auto children = headerChildren(moov);
    if (!children) {
        *error = QStringLiteral("the movie header is damaged");
        return std::nullopt;
    }

    QByteArray body;
    const Box *udta = firstOf(*children, "udta");
    for (const Box &child : *children)
        if (&child != udta)
            body += bytesOf(moov, child);

    QByteArray udtaBody;
    QByteArray metaChildrenBytes;
    QByteArray metaVersion(4, '\0');
    bool hasHandler = false;
    bool hasTagList = false;
    if (udta) {
        const auto udtaChildren = childBoxes(moov, udta->begin + udta->headerSize, udta->begin + udta->size);
        if (!udtaChildren) {
            *error = QStringLiteral("the user data atom is damaged");
            return std::nullopt;
        }
        const Box *meta = firstOf(*udtaChildren, "meta");
        for (const Box &child : *udtaChildren)
            if (&child != meta)
                udtaBody += bytesOf(moov, child);
        if (meta) {
            bool fullBox = false;
            const auto children = metaChildren(moov, *meta, &fullBox);
            if (!children) {
                *error = QStringLiteral("the tag atom is damaged");
                return std::nullopt;
            }
            if (fullBox)
                metaVersion = moov.mid(meta->begin + meta->headerSize, 4);
            for (const Box &child : *children) {
                if (child.type == "free" || child.type == "skip")
                    continue;
                hasHandler = hasHandler || child.type == "hdlr";
                if (child.type == "ilst") {
                    hasTagList = true;
                    metaChildrenBytes += bytesOf(moov, child) + freeBox(padding);
                } else {
                    metaChildrenBytes += bytesOf(moov, child);
                }
            }
        }
    }
    if (!hasHandler)
        metaChildrenBytes.prepend(emptyHandler());
    if (!hasTagList)
        metaChildrenBytes += boxBytes("ilst", QByteArray()) + freeBox(padding);
    udtaBody += boxBytes("meta", metaVersion + metaChildrenBytes);
    body += boxBytes("udta", udtaBody);
    return boxBytes("moov", body);
}

bool syncFile(QFile &file)
{
    return file.flush() && FileMove::syncHandle(file.handle());
}

bool writeAt(QFile &file, qint64 offset, const QByteArray &bytes, Mp4TagSpace::Durability durability)
{
    if (!file.seek(offset) || file.write(bytes) != bytes.size())
        return false;
    return durability == Mp4TagSpace::Durability::Synced ? syncFile(file) : file.flush();
}

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1) + QStringLiteral(" MB");
}

} // namespace

namespace Mp4TagSpace {

qint64 tagBytesFor(const MovieItem &item, const QString &extraText)
{
    constexpr qint64 PerItem = 64; // item, "data" and name atom headers, flags, mean/name of free-form items
    qint64 bytes = 1024 + PerItem + extraText.toUtf8().size();
    for (auto it = item.cbegin(); it != item.cend(); ++it) {
        const QVariant &value = it.value();
        if (value.canConvert<ItemImage>() && value.userType() == qMetaTypeId<ItemImage>())
            bytes += PerItem + value.value<ItemImage>().encoded().size();
        else
            bytes += PerItem + value.toString().toUtf8().size();
    }
    return bytes;
}

int Layout::indexOf(const char *type) const
{
    for (int i = 0; i < atoms.size(); ++i)
        if (atoms.at(i).type == type)
            return i;
    return -1;
}

Layout readLayout(QIODevice &device)
{
    Layout layout;
    layout.fileSize = device.size();
    qint64 at = 0;
    auto fail = [&layout](const QString &why) {
        layout.ok = false;
        layout.error = why;
        layout.atoms.clear();
        return layout;
    };
    while (at < layout.fileSize) {
        if (layout.fileSize - at < 8 || !device.seek(at))
            return fail(QStringLiteral("the file ends inside an atom header at byte %1").arg(at));
        QByteArray header = device.read(8);
        if (header.size() != 8)
            return fail(QStringLiteral("the file could not be read at byte %1").arg(at));
        Atom atom;
        atom.offset = at;
        atom.type = header.mid(4, 4);
        for (const char c : std::as_const(atom.type))
            if (uchar(c) < 0x20 || uchar(c) == 0x7F)
                return fail(QStringLiteral("not an MP4 atom at byte %1").arg(at));
        const quint32 size32 = qFromBigEndian<quint32>(reinterpret_cast<const uchar *>(header.constData()));
        if (size32 == 1) {
            const QByteArray large = device.read(8);
            if (large.size() != 8)
                return fail(QStringLiteral("the file ends inside an atom header at byte %1").arg(at));
            const quint64 size64 = qFromBigEndian<quint64>(reinterpret_cast<const uchar *>(large.constData()));
            if (size64 > quint64(layout.fileSize - at))
                return fail(QStringLiteral("the atom at byte %1 runs past the end of the file").arg(at));
            atom.size = qint64(size64);
            atom.headerSize = 16;
        } else if (size32 == 0) {
            atom.size = layout.fileSize - at;
            atom.toEndOfFile = true;
        } else {
            atom.size = size32;
        }
        if (atom.size < atom.headerSize)
            return fail(QStringLiteral("the atom at byte %1 is smaller than its header").arg(at));
        if (atom.size > layout.fileSize - at)
            return fail(QStringLiteral("the atom at byte %1 runs past the end of the file").arg(at));
        layout.atoms.append(atom);
        at += atom.size;
    }
    if (layout.atoms.isEmpty() || layout.atoms.first().type != "ftyp")
        return fail(QStringLiteral("not an MP4 file (no \"ftyp\" atom first)"));
    if (layout.indexOf("moov") < 0)
        return fail(QStringLiteral("the file has no movie header (\"moov\")"));
    layout.ok = true;
    return layout;
}

qint64 paddingBesideTags(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const Layout layout = readLayout(file);
    const std::optional<QByteArray> moov = layout.ok ? readHeader(file, layout) : std::nullopt;
    qint64 tagList = 0;
    qint64 padding = 0;
    return moov && tagListAndPadding(*moov, &tagList, &padding) ? padding : -1;
}

QList<QByteArray> trackKinds(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const Layout layout = readLayout(file);
    if (!layout.ok || layout.indexOf("mdat") < 0)
        return {};
    const std::optional<QByteArray> moov = readHeader(file, layout);
    const auto children = moov ? headerChildren(*moov) : std::nullopt;
    if (!children)
        return {};
    QList<QByteArray> kinds;
    for (const Box &trak : *children) {
        if (trak.type != "trak")
            continue;
        const auto trakChildren = childBoxes(*moov, trak.begin + trak.headerSize, trak.begin + trak.size);
        const Box *mdia = trakChildren ? firstOf(*trakChildren, "mdia") : nullptr;
        const auto mdiaChildren = mdia ? childBoxes(*moov, mdia->begin + mdia->headerSize, mdia->begin + mdia->size)
                                       : std::nullopt;
        const Box *hdlr = mdiaChildren ? firstOf(*mdiaChildren, "hdlr") : nullptr;
        // version and flags, pre-defined, then the handler type
        if (!hdlr || hdlr->size < hdlr->headerSize + 12)
            return {};
        kinds.append(moov->mid(hdlr->begin + hdlr->headerSize + 8, 4));
    }
    return kinds;
}

Result prepareForTags(const QString &path, qint64 metadataBytes, int maxSteps, Durability durability)
{
    Result result;
    auto refuse = [&result, &path](const QString &why) {
        result.ok = false;
        result.error = why + QStringLiteral(": ") + path;
        return result;
    };
    auto stopHere = [&result, maxSteps]() { return maxSteps >= 0 && result.stepsDone >= maxSteps; };

    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return refuse(QStringLiteral("the file cannot be opened for writing (") + file.errorString() + QLatin1Char(')'));
    Layout layout = readLayout(file);
    if (!layout.ok)
        return refuse(layout.error);

    const int moovIndex = layout.indexOf("moov");
    bool mediaAfterHeader = false;
    for (int i = moovIndex + 1; i < layout.atoms.size(); ++i)
        mediaAfterHeader = mediaAfterHeader || layout.atoms.at(i).type == "mdat";
    result.ok = true;
    // A header after the media data grows at the end of the file without moving anything, but
    // rewriting it in place is not safe against a crash: only a scratch file may take that road.
    if (!mediaAfterHeader && durability == Durability::Scratch)
        return result;
    const Atom moovAtom = layout.atoms.at(moovIndex);
    if (moovAtom.size > MaxHeaderBytes)
        return refuse(QStringLiteral("the movie header is too large to move"));
    const std::optional<QByteArray> moov = readHeader(file, layout);
    if (!moov)
        return refuse(QStringLiteral("the file cannot be read"));
    // The new tags replace the old ones: they may use the old list's bytes and the padding beside it.
    qint64 tagList = 0;
    qint64 padding = 0;
    if (tagListAndPadding(*moov, &tagList, &padding) && qBound<qint64>(0, metadataBytes, MaxPadding) + 8 <= tagList + padding)
        return result;

    QString error;
    const std::optional<QByteArray> copy = headerCopyWithRoom(*moov, qBound<qint64>(0, metadataBytes, MaxPadding) + PaddingSlack, &error);
    if (!copy)
        return refuse(error);

    const qint64 available = QStorageInfo(path).bytesAvailable();
    const qint64 needed = copy->size() + FreeSpaceMargin;
    if (available >= 0 && available < needed)
        return refuse(QStringLiteral("there is not enough free space on the disk for the tags (%1 needed, %2 free)")
                          .arg(megabytes(needed), megabytes(available)));

    if (stopHere())
        return result;

    // An atom running "to the end of the file" would swallow the copy: give it its real size first.
    const Atom &last = layout.atoms.last();
    if (last.toEndOfFile) {
        if (last.size > qint64(0xFFFFFFFFu))
            return refuse(QStringLiteral("the last atom has no size and is too large to give one"));
        QByteArray size(4, '\0');
        qToBigEndian<quint32>(quint32(last.size), reinterpret_cast<uchar *>(size.data()));
        if (!writeAt(file, last.offset, size, durability))
            return refuse(QStringLiteral("the file could not be written (") + file.errorString() + QLatin1Char(')'));
        ++result.stepsDone;
        if (stopHere())
            return result;
    }

    if (!writeAt(file, layout.fileSize, *copy, durability)) {
        // Take back a partial copy so the file stays as it was.
        file.resize(layout.fileSize);
        return refuse(QStringLiteral("the movie header could not be copied (") + file.errorString() + QLatin1Char(')'));
    }
    ++result.stepsDone;
    if (stopHere())
        return result;

    if (!writeAt(file, moovAtom.offset + 4, QByteArrayLiteral("free"), durability))
        return refuse(QStringLiteral("the old movie header could not be retired (") + file.errorString() + QLatin1Char(')'));
    ++result.stepsDone;
    result.relocated = true;
    return result;
}

} // namespace Mp4TagSpace
