#include "creation/MetadataParsingHelper.h"

#include <plist/plist++.h>

#include <QStringDecoder>

#include <memory>

namespace {

std::string utf8(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    return std::string(bytes.constData(), size_t(bytes.size()));
}

} // namespace

QString MetadataParsingHelper::getPLISTWithDict(const MovieItem &item)
{
    static const std::pair<QString, const char *> lists[] = {
        {ItemKey::movieCast, "cast"},
        {ItemKey::movieDirectors, "directors"},
        {ItemKey::movieProducers, "producers"},
        {ItemKey::movieScreenwriters, "screenwriters"},
    };
    PList::Dictionary root;
    for (const auto &[key, name] : lists) {
        if (!item.contains(key))
            continue;
        PList::Array array;
        for (const QString &piece : item.value(key).toString().split(QLatin1Char('\n'))) {
            PList::Dictionary entry;
            entry.Set("name", PList::String(utf8(piece)));
            // Append keeps a copy of its own: handing it a clone would leak the clone.
            array.Append(&entry);
        }
        root.Set(name, array);
    }
    if (item.contains(ItemKey::movieStudios))
        root.Set("studio", PList::String(utf8(item.value(ItemKey::movieStudios).toString().split(QLatin1Char('\n')).join(
                               QStringLiteral(", ")))));

    const std::string xml = root.ToXml();
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(QByteArrayView(xml.data(), qsizetype(xml.size())));
    if (decoder.hasError())
        return QStringLiteral("Data could not be printed");
    return text;
}
