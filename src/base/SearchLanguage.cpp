#include "base/SearchLanguage.h"

#include "base/UserSettings.h"

SearchLanguage SearchLanguage::defaultLanguage()
{
    return {QStringLiteral("eng"), QStringLiteral("en"), QStringLiteral("English")};
}

SearchLanguage SearchLanguage::fromMap(const QVariantMap &entry)
{
    return {entry.value(QStringLiteral("alpha3-b")).toString(), entry.value(QStringLiteral("alpha2")).toString(),
            entry.value(QStringLiteral("English")).toString()};
}

QVariantMap SearchLanguage::toMap() const
{
    return QVariantMap{{QStringLiteral("alpha3-b"), alpha3b},
                       {QStringLiteral("alpha2"), alpha2},
                       {QStringLiteral("English"), english}};
}

SearchLanguage SearchLanguage::current()
{
    const SearchLanguage stored = fromMap(UserSettings::selectedSearchLanguage());
    return stored.alpha2.isEmpty() ? defaultLanguage() : stored;
}

QString SearchLanguage::alpha3bOrEnglish() const
{
    return alpha3b.isEmpty() ? QStringLiteral("eng") : alpha3b;
}
