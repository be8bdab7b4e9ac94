#include "base/ReleaseDate.h"

#include <QLocale>

namespace ReleaseDate {

QDate fromStored(const QString &text)
{
    return QDate::fromString(text, QStringLiteral("yyyy-MM-dd"));
}

QString storedText(const QDate &date)
{
    return date.toString(QStringLiteral("yyyy-MM-dd"));
}

QString displayText(const QDate &date)
{
    if (!date.isValid())
        return {};
    return QLocale(QLocale::English, QLocale::UnitedStates).toString(date, QStringLiteral("MMM dd, yyyy"));
}

QString displayTextOf(const QString &stored)
{
    return stored.size() == 10 ? displayText(fromStored(stored)) : QString();
}

} // namespace ReleaseDate
