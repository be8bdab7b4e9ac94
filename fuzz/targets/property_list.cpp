// The cast-and-crew property list, built from item values that came from outside.
#include "creation/MetadataParsingHelper.h"

#include <QJsonDocument>
#include <QJsonObject>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    MovieItem item = document.object().toVariantMap();
    // Plain text too, in every field the list reads.
    if (!document.isObject()) {
        const QString text = QString::fromUtf8(bytes);
        for (const QString &key : {ItemKey::movieCast, ItemKey::movieDirectors, ItemKey::movieProducers,
                                   ItemKey::movieScreenwriters, ItemKey::movieStudios})
            item.insert(key, text);
    }
    (void)MetadataParsingHelper::getPLISTWithDict(item);
    return 0;
}
