#include "creation/Mp4TagSpace.h"

#include "base/ItemImage.h"
#include "creation/FileMove.h"
#include "creation/Mp4Header.h"

#include <QFile>
#include <QStorageInfo>
#include <QtEndian>

namespace {

using Mp4TagSpace::Atom;
using Mp4TagSpace::Durability;
using Mp4TagSpace::Layout;
using Mp4TagSpace::Step;

// The header is read whole into memory to be copied; beyond this it is not a
// movie header this tool should be rewriting.
constexpr qint64 MaxHeaderBytes = qint64(512) * 1024 * 1024;
constexpr qint64 PaddingSlack = 4096;
// Padding beyond this is not written: larger tags still grow at the end of the file, only less cheaply.
constexpr qint64 MaxPadding = qint64(256) * 1024 * 1024;
// Room left on the disk beyond the header copy, for the file system's own needs.
constexpr qint64 FreeSpaceMargin = qint64(1024) * 1024;

const Atom &movieAtom(const Layout &layout)
{
    return layout.atoms.at(layout.indexOf(Mp4Atom::Movie));
}

/** The movie header of a file whose layout was read, whole; nothing when it is too large or unreadable. */
std::optional<QByteArray> readMovieHeader(QIODevice &file, const Layout &layout)
{
    const Atom &moov = movieAtom(layout);
    if (moov.size > MaxHeaderBytes || !file.seek(moov.offset))
        return std::nullopt;
    QByteArray bytes = file.read(moov.size);
    if (bytes.size() != moov.size)
        return std::nullopt;
    return bytes;
}

// The new tags replace the old ones: they may use the old list's bytes and the padding beside it.
bool tagsFit(const Mp4TagSpace::TagSpaceFacts &facts)
{
    if (facts.fitsInPlace)
        return *facts.fitsInPlace;
    return facts.roomForTags && qBound<qint64>(0, facts.tagBytes, MaxPadding) + 8 <= *facts.roomForTags;
}

/** Reads the header and the disk's free space into @p facts; returns the header copy when one is needed. */
QByteArray gatherHeaderFacts(QFile &file, const QString &path, Mp4TagSpace::TagSpaceFacts &facts,
                             const Mp4TagSpace::TagRenderer &render)
{
    if (movieAtom(facts.layout).size > MaxHeaderBytes) {
        facts.headerCopySize = failure(ErrorKind::Failed, QStringLiteral("the movie header is too large to move"));
        return {};
    }
    const std::optional<QByteArray> moov = readMovieHeader(file, facts.layout);
    if (!moov) {
        facts.headerCopySize = failure(ErrorKind::Io, QStringLiteral("the file cannot be read"));
        return {};
    }
    if (const auto room = Mp4Header::tagRoom(*moov))
        facts.roomForTags = room->tagList + room->padding;
    if (render) {
        const Outcome<Mp4TagSpace::FinalTags> final = render(*moov);
        if (!final) {
            facts.headerCopySize = final.error();
            facts.fitsInPlace = false;
            return {};
        }
        facts.fitsInPlace = final->fitsInPlace;
        facts.tagBytes = qMax(facts.tagBytes, final->tagListBytes);
    }
    if (tagsFit(facts))
        return {};
    const Outcome<QByteArray> copy = Mp4Header::copyWithRoom(*moov, Mp4TagSpace::paddingFor(facts.tagBytes));
    if (!copy) {
        facts.headerCopySize = copy.error();
        return {};
    }
    facts.headerCopySize = qint64(copy->size());
    facts.freeBytes = QStorageInfo(path).bytesAvailable();
    return *copy;
}

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1) + QStringLiteral(" MB");
}

Error fileError(const QFile &file, const QString &what)
{
    return failure(file.error() == QFileDevice::ResourceError ? ErrorKind::NoSpace : ErrorKind::Io,
                   what + QStringLiteral(" (") + file.errorString() + QLatin1Char(')'));
}

bool writeAt(QFile &file, qint64 offset, const QByteArray &bytes, Durability durability)
{
    if (!file.seek(offset) || file.write(bytes) != bytes.size() || !file.flush())
        return false;
    return durability == Durability::Scratch || FileMove::syncHandle(file.handle()).ok();
}

Status carryOut(Step step, QFile &file, const Layout &layout, const QByteArray &copy, Durability durability)
{
    switch (step) {
    case Step::CloseOpenEndedAtom: {
        // An atom running "to the end of the file" would swallow the copy: give it its real size first.
        const Atom &last = layout.atoms.last();
        QByteArray size(4, '\0');
        qToBigEndian<quint32>(quint32(last.size), reinterpret_cast<uchar *>(size.data()));
        if (!writeAt(file, last.offset, size, durability))
            return fileError(file, QStringLiteral("the file could not be written"));
        return {};
    }
    case Step::AppendHeaderCopy:
        if (!writeAt(file, layout.fileSize, copy, durability)) {
            const Error error = fileError(file, QStringLiteral("the movie header could not be copied"));
            // Take back a partial copy so the file stays as it was.
            file.resize(layout.fileSize);
            return error;
        }
        return {};
    case Step::RetireOldHeader:
        if (!writeAt(file, movieAtom(layout).offset + 4, QByteArray(Mp4Atom::Free), durability))
            return fileError(file, QStringLiteral("the old movie header could not be retired"));
        return {};
    }
    return {};
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

Outcome<Layout> readLayout(QIODevice &device)
{
    Layout layout;
    layout.fileSize = device.size();
    const auto atoms = Mp4Atom::readAll(device, 0, layout.fileSize, Mp4Atom::Names::Printable);
    if (!atoms)
        return atoms.error();
    layout.atoms = *atoms;
    if (layout.atoms.isEmpty() || layout.atoms.first().type != Mp4Atom::FileType)
        return failure(ErrorKind::Invalid, QStringLiteral("not an MP4 file (no \"ftyp\" atom first)"));
    if (layout.indexOf(Mp4Atom::Movie) < 0)
        return failure(ErrorKind::Invalid, QStringLiteral("the file has no movie header (\"moov\")"));
    return layout;
}

qint64 paddingBesideTags(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const Outcome<Layout> layout = readLayout(file);
    const std::optional<QByteArray> moov = layout ? readMovieHeader(file, *layout) : std::nullopt;
    const auto room = moov ? Mp4Header::tagRoom(*moov) : std::nullopt;
    return room ? room->padding : -1;
}

QList<QByteArray> trackKinds(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const Outcome<Layout> layout = readLayout(file);
    if (!layout || layout->indexOf(Mp4Atom::MediaData) < 0)
        return {};
    const std::optional<QByteArray> moov = readMovieHeader(file, *layout);
    return moov ? Mp4Header::trackKinds(*moov) : QList<QByteArray>();
}

std::optional<double> movieDuration(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const Outcome<Layout> layout = readLayout(file);
    if (!layout || layout->indexOf(Mp4Atom::MediaData) < 0)
        return std::nullopt;
    const std::optional<QByteArray> moov = readMovieHeader(file, *layout);
    return moov ? Mp4Header::duration(*moov) : std::nullopt;
}

bool headerMayStay(const Layout &layout, Durability durability)
{
    // A header after the media data grows at the end of the file without moving anything, but
    // rewriting it in place is not safe against a crash: only a scratch file may take that road.
    if (durability != Durability::Scratch)
        return false;
    for (int i = layout.indexOf(Mp4Atom::Movie) + 1; i < layout.atoms.size(); ++i)
        if (layout.atoms.at(i).type == Mp4Atom::MediaData)
            return false;
    return true;
}

qint64 paddingFor(qint64 tagBytes)
{
    return qBound<qint64>(0, tagBytes, MaxPadding) + PaddingSlack;
}

Outcome<QList<Step>> plan(const TagSpaceFacts &facts)
{
    if (headerMayStay(facts.layout, facts.durability) || tagsFit(facts))
        return QList<Step>();
    if (!facts.headerCopySize)
        return facts.headerCopySize.error();
    const qint64 needed = *facts.headerCopySize + FreeSpaceMargin;
    if (facts.freeBytes >= 0 && facts.freeBytes < needed)
        return failure(ErrorKind::NoSpace,
                       QStringLiteral("there is not enough free space on the disk for the tags (%1 needed, %2 free)")
                           .arg(megabytes(needed), megabytes(facts.freeBytes)));
    QList<Step> steps;
    const Atom &last = facts.layout.atoms.last();
    if (last.toEndOfFile) {
        if (last.size > qint64(0xFFFFFFFFu))
            return failure(ErrorKind::Failed, QStringLiteral("the last atom has no size and is too large to give one"));
        steps.append(Step::CloseOpenEndedAtom);
    }
    steps.append(Step::AppendHeaderCopy);
    steps.append(Step::RetireOldHeader);
    return steps;
}

namespace {

Outcome<TagSpaceReport> prepare(const QString &path, qint64 metadataBytes, const TagRenderer &render, int maxSteps,
                                Durability durability)
{
    auto refuse = [&path](const Error &error) { return failure(error.kind, error.text + QStringLiteral(": ") + path); };
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return refuse(failure(QFile::exists(path) ? ErrorKind::Io : ErrorKind::Missing,
                              QStringLiteral("the file cannot be opened for writing (") + file.errorString() + QLatin1Char(')')));
    const Outcome<Layout> layout = readLayout(file);
    if (!layout)
        return refuse(layout.error());

    TagSpaceFacts facts;
    facts.layout = *layout;
    facts.durability = durability;
    facts.tagBytes = metadataBytes;
    const QByteArray copy = headerMayStay(*layout, durability) ? QByteArray() : gatherHeaderFacts(file, path, facts, render);
    const Outcome<QList<Step>> steps = plan(facts);
    if (!steps)
        return refuse(steps.error());

    TagSpaceReport report;
    for (const Step step : *steps) {
        if (maxSteps >= 0 && report.stepsDone >= maxSteps)
            break;
        if (const Status done = carryOut(step, file, *layout, copy, durability); !done)
            return refuse(done.error());
        ++report.stepsDone;
        report.relocated = step == Step::RetireOldHeader;
    }
    return report;
}

} // namespace

Outcome<TagSpaceReport> prepareForTags(const QString &path, qint64 metadataBytes, int maxSteps, Durability durability)
{
    return prepare(path, metadataBytes, {}, maxSteps, durability);
}

Outcome<TagSpaceReport> prepareForFinalTags(const QString &path, const TagRenderer &render, int maxSteps,
                                            Durability durability)
{
    return prepare(path, 0, render, maxSteps, durability);
}

} // namespace Mp4TagSpace
