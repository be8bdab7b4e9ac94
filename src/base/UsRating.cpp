#include "base/UsRating.h"

namespace UsRating {
namespace {

struct Entry
{
    const char *label;
    const char *rating;
    const char *badge;
};

constexpr Entry table[] = {
    {"NR", "mpaa|NR|000|", "NR"},
    {"G", "mpaa|G|100|", "G"},
    {"PG", "mpaa|PG|200|", "PG"},
    {"PG-13", "mpaa|PG-13|300|", "PG-13"},
    {"R", "mpaa|R|400|", "R"},
    {"NC-17", "mpaa|NC-17|500|", "NC-17"},
    {"Unrated", "mpaa|Unrated|???|", "Unrated"},
    {"None", "", "blank"},
};

Rating toRating(const Entry &entry)
{
    return {QString::fromLatin1(entry.label), QString::fromLatin1(entry.rating), QString::fromLatin1(entry.badge)};
}

} // namespace

QStringList labels()
{
    QStringList result;
    for (const Entry &entry : table)
        result.append(QString::fromLatin1(entry.label));
    return result;
}

std::optional<Rating> forLabel(const QString &label)
{
    for (const Entry &entry : table) {
        if (label == QLatin1String(entry.label))
            return toRating(entry);
    }
    return std::nullopt;
}

std::optional<QString> labelFor(const QString &rating)
{
    for (const Entry &entry : table) {
        if (rating == QLatin1String(entry.rating))
            return QString::fromLatin1(entry.label);
    }
    return std::nullopt;
}

std::pair<QString, QString> forCertification(const QString &certification)
{
    const std::optional<Rating> rating = forLabel(certification);
    if (!rating || rating->rating.isEmpty())
        return {QString(), QStringLiteral("blank")};
    return {rating->rating, rating->badge};
}

} // namespace UsRating
