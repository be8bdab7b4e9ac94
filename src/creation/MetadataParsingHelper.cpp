#include "creation/MetadataParsingHelper.h"

#include <plist/plist.h>

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
    // libplist's own nodes: each is owned by the container it is added to, and the root frees them all.
    // (The C++ wrapper's copies of nested containers are not all freed.)
    const std::unique_ptr<void, void (*)(plist_t)> root(plist_new_dict(), plist_free);
    for (const auto &[key, name] : lists) {
        if (!item.contains(key))
            continue;
        plist_t array = plist_new_array();
        for (const QString &piece : item.value(key).toString().split(QLatin1Char('\n'))) {
            plist_t entry = plist_new_dict();
            plist_dict_set_item(entry, "name", plist_new_string(utf8(piece).c_str()));
            plist_array_append_item(array, entry);
        }
        plist_dict_set_item(root.get(), name, array);
    }
    if (item.contains(ItemKey::movieStudios)) {
        const QString studios = item.value(ItemKey::movieStudios).toString().split(QLatin1Char('\n')).join(QStringLiteral(", "));
        plist_dict_set_item(root.get(), "studio", plist_new_string(utf8(studios).c_str()));
    }

    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    const std::unique_ptr<char, void (*)(char *)> owned(xml, plist_to_xml_free);
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(QByteArrayView(xml, qsizetype(length)));
    if (!xml || decoder.hasError())
        return QStringLiteral("Data could not be printed");
    return text;
}
