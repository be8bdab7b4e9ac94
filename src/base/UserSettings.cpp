#include "base/UserSettings.h"

#include <QSettings>

namespace UserSettings {
namespace {

struct Overrides {
    QVariantMap language;
    std::optional<int> preset;
};

Overrides &overrides()
{
    static Overrides o;
    return o;
}

QSettings store()
{
    return QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
}

} // namespace

std::optional<int> conversionOption()
{
    if (overrides().preset)
        return overrides().preset;
    const QVariant value = store().value(conversionOptionsKey);
    bool ok = false;
    const int preset = value.toInt(&ok);
    if (!value.isValid() || !ok)
        return std::nullopt;
    return preset;
}

void storeConversionOption(int preset)
{
    store().setValue(conversionOptionsKey, preset);
}

QVariantMap selectedSearchLanguage()
{
    if (!overrides().language.isEmpty())
        return overrides().language;
    return store().value(selectedSearchLanguageKey).toMap();
}

void storeSelectedSearchLanguage(const QVariantMap &language)
{
    store().setValue(selectedSearchLanguageKey, language);
}

QVariantMap defaultLanguage()
{
    return QVariantMap{{QStringLiteral("alpha3-b"), QStringLiteral("eng")},
                       {QStringLiteral("alpha2"), QStringLiteral("en")},
                       {QStringLiteral("English"), QStringLiteral("English")}};
}

void setRunLanguage(const QVariantMap &language)
{
    overrides().language = language;
}

void setRunPreset(int preset)
{
    overrides().preset = preset;
}

void clearRunOverrides()
{
    overrides() = Overrides{};
}

} // namespace UserSettings
