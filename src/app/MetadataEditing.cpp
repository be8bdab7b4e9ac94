#include "app/MetadataEditing.h"


namespace MetadataEditing {


QString listForm(const QString &stored)
{
    return stored.split(QLatin1Char('\n')).mid(0, 5).join(QStringLiteral(", "));
}

QString storedListForm(const QString &field)
{
    return QString(field).replace(QStringLiteral(", "), QStringLiteral("\n"));
}

MovieItem batchEdited(MovieItem item, const QString &genre, const QString &language)
{
    if (!genre.isEmpty())
        item.insert(ItemKey::movieGenre, genre);
    if (!language.isEmpty())
        item.insert(ItemKey::movieLanguage, language);
    return item;
}

} // namespace MetadataEditing
