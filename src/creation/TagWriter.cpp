#include "creation/TagWriter.h"

#include "base/ItemImage.h"
#include "creation/FileMove.h"
#include "creation/MetadataParsingHelper.h"
#include "creation/Mp4Header.h"
#include "creation/Mp4TagSpace.h"

#include <QFile>

#include <taglib/tbytevectorstream.h>
#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mp4item.h>
#include <taglib/mp4tag.h>
#include <taglib/tstring.h>

#include <limits>

namespace {

// MP4 item names: the "\251" byte is the copyright sign of the iTunes atom names.
const char *const TitleAtom = "\251nam";
const char *const GenreAtom = "\251gen";
const char *const TaglineAtom = "desc";
const char *const PlotAtom = "ldes";
const char *const ComposerAtom = "\251wrt";
const char *const DateAtom = "\251day";
const char *const MediaKindAtom = "stik";
const char *const HdAtom = "hdvd";
const char *const CoverAtom = "covr";
const char *const RatingAtom = "----:com.apple.iTunes:iTunEXTC";
const char *const ToolAtom = "\251too";
const char *const CommentAtom = "\251cmt";
const char *const ContentIdAtom = "cnID";
const char *const CastCrewAtom = "----:com.apple.iTunes:iTunMOVI";

TagLib::String text(const QString &value)
{
    return TagLib::String(value.toUtf8().constData(), TagLib::String::UTF8);
}

std::optional<qint64> integerOf(const MovieItem &item, const QString &key)
{
    if (!item.contains(key))
        return std::nullopt;
    bool ok = false;
    const qint64 value = item.value(key).toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    return value;
}

bool isOwnPicture(const ItemImage &image)
{
    return !image.resourceName().isEmpty()
        && QFile::exists(QStringLiteral(":/images/") + image.resourceName() + QStringLiteral(".png"));
}

void addText(QList<PlannedTag> &tags, const char *atom, const char *name, const MovieItem &item, const QString &key)
{
    if (item.contains(key))
        tags.append({QByteArray(atom), QString::fromLatin1(name), PlannedTag::Type::Text, item.value(key).toString()});
}

TagLib::MP4::Item itemOf(const PlannedTag &tag)
{
    switch (tag.type) {
    case PlannedTag::Type::Text:
        return TagLib::MP4::Item(TagLib::StringList(text(tag.value.toString())));
    case PlannedTag::Type::Byte:
        return TagLib::MP4::Item(static_cast<unsigned char>(tag.value.toLongLong()));
    case PlannedTag::Type::Flag:
        return TagLib::MP4::Item(tag.value.toBool());
    case PlannedTag::Type::Number:
        return TagLib::MP4::Item(static_cast<unsigned int>(tag.value.toLongLong()));
    case PlannedTag::Type::Jpeg:
    case PlannedTag::Type::Png: {
        const QByteArray bytes = tag.value.toByteArray();
        TagLib::MP4::CoverArtList covers;
        covers.append(TagLib::MP4::CoverArt(tag.type == PlannedTag::Type::Png ? TagLib::MP4::CoverArt::PNG
                                                                              : TagLib::MP4::CoverArt::JPEG,
                                            TagLib::ByteVector(bytes.constData(), uint(bytes.size()))));
        return TagLib::MP4::Item(covers);
    }
    }
    return {};
}

void setItems(TagLib::MP4::Tag *tag, const QList<PlannedTag> &tags)
{
    for (const PlannedTag &planned : tags)
        tag->setItem(planned.atom.constData(), itemOf(planned));
}

Status writeItems(const QString &path, const QList<PlannedTag> &tags)
{
    TagLib::MP4::File file(QFile::encodeName(path).constData(), false);
    if (!file.isValid() || !file.tag())
        return failure(ErrorKind::Invalid, QStringLiteral("not an MP4 file the tag library can open: ") + path);
    setItems(file.tag(), tags);
    if (!file.save())
        return failure(ErrorKind::Io, QStringLiteral("the tags could not be written to ") + path);
    return {};
}

/**
 * The tag library merges what it writes with every item the file already
 * holds: render that merge on a copy of the header in memory to learn the
 * final list's size and whether it fits where it is.
 */
Outcome<Mp4TagSpace::FinalTags> renderFinalTags(const QByteArray &moov, const QList<PlannedTag> &tags)
{
    static const QByteArray fileType("\0\0\0\x18" "ftyp" "mp42" "\0\0\0\0" "mp42" "isom", 24);
    const QByteArray bytes = fileType + moov;
    TagLib::ByteVectorStream stream(TagLib::ByteVector(bytes.constData(), uint(bytes.size())));
    TagLib::MP4::File file(&stream, false);
    if (!file.isValid() || !file.tag())
        return failure(ErrorKind::Invalid, QStringLiteral("the tag library cannot read the movie header"));
    setItems(file.tag(), tags);
    if (!file.save())
        return failure(ErrorKind::Invalid, QStringLiteral("the tag library cannot write the movie header"));
    const TagLib::ByteVector *after = stream.data();
    const QByteArray header = QByteArray(after->data(), qsizetype(after->size())).mid(24);
    const std::optional<Mp4Header::TagRoom> room = Mp4Header::tagRoom(header);
    if (!room)
        return failure(ErrorKind::Invalid, QStringLiteral("the tag library wrote no tag list"));
    return Mp4TagSpace::FinalTags{room->tagList, qsizetype(after->size()) == bytes.size()};
}

// The tag library does not report a short write: open the file afresh and look for the last item written.
bool readsBack(const QString &path, const QString &plist)
{
    QFile raw(path);
    if (!raw.open(QIODevice::ReadOnly) || !Mp4TagSpace::readLayout(raw))
        return false;
    TagLib::MP4::File file(QFile::encodeName(path).constData(), false);
    if (!file.isValid() || !file.tag() || !file.tag()->contains(CastCrewAtom))
        return false;
    const TagLib::StringList written = file.tag()->item(CastCrewAtom).toStringList();
    return written.size() == 1 && written.front() == text(plist);
}

} // namespace

namespace TagWriter {

QList<PlannedTag> tagsFor(const MovieItem &item)
{
    QList<PlannedTag> tags;
    addText(tags, TitleAtom, "title", item, ItemKey::movieTitle);
    addText(tags, GenreAtom, "genre", item, ItemKey::movieGenre);
    addText(tags, TaglineAtom, "tagline", item, ItemKey::movieTagline);
    addText(tags, PlotAtom, "plot", item, ItemKey::movieOverview);
    addText(tags, ComposerAtom, "composer", item, ItemKey::movieComposers);
    addText(tags, DateAtom, "date", item, ItemKey::movieReleaseDate_YYYYhMMhDD);

    const std::optional<qint64> mediaType = integerOf(item, ItemKey::mediaType);
    if (mediaType && *mediaType >= 0 && *mediaType <= 255)
        tags.append({MediaKindAtom, QStringLiteral("mediaKind"), PlannedTag::Type::Byte, *mediaType});
    if (item.contains(ItemKey::hdFlag))
        tags.append({HdAtom, QStringLiteral("hd"), PlannedTag::Type::Flag, item.value(ItemKey::hdFlag).toBool()});

    const QVariant poster = item.value(ItemKey::moviePoster);
    if (poster.canConvert<ItemImage>()) {
        const ItemImage image = poster.value<ItemImage>();
        const QByteArray format = image.format().toLower();
        // The application's own pictures ("movie not found"...) are shown, never stored as cover art.
        if (!image.isNull() && !isOwnPicture(image) && (format == "jpeg" || format == "jpg" || format == "png"))
            tags.append({CoverAtom, QStringLiteral("cover"), format == "png" ? PlannedTag::Type::Png : PlannedTag::Type::Jpeg,
                         image.encoded()});
    }

    addText(tags, RatingAtom, "rating", item, ItemKey::movieRating_US);
    addText(tags, ToolAtom, "encodingTool", item, ItemKey::encodingTool);
    if (item.contains(ItemKey::movieLanguage) || item.contains(ItemKey::movieCountry))
        tags.append({CommentAtom, QStringLiteral("comment"), PlannedTag::Type::Text,
                     QString(item.value(ItemKey::movieLanguage).toString() + QStringLiteral(", ")
                             + item.value(ItemKey::movieCountry).toString())});
    const std::optional<qint64> contentId = integerOf(item, ItemKey::movieTMDBID);
    if (contentId && *contentId >= 0 && *contentId <= std::numeric_limits<qint32>::max())
        tags.append({ContentIdAtom, QStringLiteral("contentID"), PlannedTag::Type::Number, *contentId});
    tags.append({CastCrewAtom, QStringLiteral("castAndCrew"), PlannedTag::Type::Text,
                 MetadataParsingHelper::getPLISTWithDict(item)});
    return tags;
}

Status writeTagsWithFileAtPath(const QString &path, const MovieItem &item, Mp4TagSpace::Durability durability)
{
    return writeTags(path, tagsFor(item), durability);
}

Status writeTags(const QString &path, const QList<PlannedTag> &tags, Mp4TagSpace::Durability durability)
{
    if (tags.isEmpty() || tags.constLast().atom != CastCrewAtom)
        return failure(ErrorKind::Invalid, QStringLiteral("the tags to write end without the cast-and-crew list"));
    const QString plist = tags.constLast().value.toString();
    if (!QFile::exists(path))
        return failure(ErrorKind::Missing, QStringLiteral("no file at ") + path);
    // Growing tags must not shift the movie: make room for the final list at the end of the file first.
    const auto render = [&tags](const QByteArray &moov) { return renderFinalTags(moov, tags); };
    const auto room = Mp4TagSpace::prepareForFinalTags(path, render, -1, durability);
    if (!room)
        return room.error();

    if (Status written = writeItems(path, tags); !written)
        return written;
    if (!readsBack(path, plist))
        return failure(ErrorKind::Io, QStringLiteral("the tags could not be written whole (is the disk full?): ") + path);
    if (durability == Mp4TagSpace::Durability::Synced && !FileMove::syncFile(path))
        return failure(ErrorKind::Io, QStringLiteral("the tagged file could not be flushed to the disk: ") + path);
    return {};
}

} // namespace TagWriter
