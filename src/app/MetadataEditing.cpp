#include "app/MetadataEditing.h"

#include <QLocale>

namespace MetadataEditing {

namespace {

struct Rating
{
    const char *label;
    const char *rating;
    const char *badge;
};

constexpr Rating ratings[] = {
    {"NR", "mpaa|NR|000|", "NR"},
    {"G", "mpaa|G|100|", "G"},
    {"PG", "mpaa|PG|200|", "PG"},
    {"PG-13", "mpaa|PG-13|300|", "PG-13"},
    {"R", "mpaa|R|400|", "R"},
    {"NC-17", "mpaa|NC-17|500|", "NC-17"},
    {"Unrated", "mpaa|Unrated|???|", "Unrated"},
    {"None", "", "blank"},
};

} // namespace

QString listForm(const QString &stored)
{
    return stored.split(QLatin1Char('\n')).mid(0, 5).join(QStringLiteral(", "));
}

QString storedListForm(const QString &field)
{
    return QString(field).replace(QStringLiteral(", "), QStringLiteral("\n"));
}

QStringList ratingLabels()
{
    QStringList labels;
    for (const Rating &rating : ratings)
        labels.append(QString::fromLatin1(rating.label));
    return labels;
}

std::optional<std::pair<QString, QString>> ratingForLabel(const QString &label)
{
    for (const Rating &rating : ratings) {
        if (label == QLatin1String(rating.label))
            return std::make_pair(QString::fromLatin1(rating.rating), QString::fromLatin1(rating.badge));
    }
    return std::nullopt;
}

std::optional<QString> labelForRating(const QString &value)
{
    for (const Rating &rating : ratings) {
        if (value == QLatin1String(rating.rating))
            return QString::fromLatin1(rating.label);
    }
    return std::nullopt;
}

QDate storedDate(const QString &text)
{
    return QDate::fromString(text, QStringLiteral("yyyy-MM-dd"));
}

std::pair<QString, QString> dateTexts(const QDate &date)
{
    const QString stored = date.toString(QStringLiteral("yyyy-MM-dd"));
    const QDate parsed = storedDate(stored);
    return {stored, QLocale(QLocale::English, QLocale::UnitedStates).toString(parsed, QStringLiteral("MMM dd, yyyy"))};
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
