#include "base/UserSettings.h"

#include <QSettings>

#include <algorithm>

namespace UserSettings {
namespace {

struct Overrides {
    QVariantMap language;
    std::optional<Preset> preset;
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
        return Presets::number(*overrides().preset);
    const QVariant value = store().value(conversionOptionsKey);
    bool ok = false;
    const int preset = value.toInt(&ok);
    if (!value.isValid() || !ok)
        return std::nullopt;
    return preset;
}

void storeConversionOption(Preset preset)
{
    store().setValue(conversionOptionsKey, Presets::number(preset));
}

Preset preset()
{
    const std::optional<int> number = conversionOption();
    return Presets::fromNumber(number.value_or(0)).value_or(Presets::Default);
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

double reviewThreshold()
{
    bool ok = false;
    const double value = store().value(reviewThresholdKey).toDouble(&ok);
    return ok && value >= 0 && value <= 1 ? value : defaultReviewThreshold;
}

void storeReviewThreshold(double threshold)
{
    store().setValue(reviewThresholdKey, std::clamp(threshold, 0.0, 1.0));
}

void setRunLanguage(const QVariantMap &language)
{
    overrides().language = language;
}

void setRunPreset(Preset preset)
{
    overrides().preset = preset;
}

void clearRunOverrides()
{
    overrides() = Overrides{};
}

} // namespace UserSettings
