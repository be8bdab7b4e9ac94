#include "base/ConversionProfile.h"

#include <QSettings>

namespace ConversionProfiles {
namespace {

std::optional<ConversionProfile> &runProfile()
{
    static std::optional<ConversionProfile> profile;
    return profile;
}

QSettings settings()
{
    return QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
}

} // namespace

QString name(ConversionProfile profile)
{
    return profile == ConversionProfile::Modern ? QStringLiteral("modern") : QStringLiteral("classic");
}

std::optional<ConversionProfile> fromName(const QString &name)
{
    const QString lower = name.trimmed().toLower();
    if (lower == QLatin1String("classic"))
        return ConversionProfile::Classic;
    if (lower == QLatin1String("modern"))
        return ConversionProfile::Modern;
    return std::nullopt;
}

ConversionProfile current()
{
    if (runProfile())
        return *runProfile();
    return fromName(settings().value(settingsKey).toString()).value_or(ConversionProfile::Classic);
}

void store(ConversionProfile profile)
{
    settings().setValue(settingsKey, name(profile));
}

void setRunProfile(std::optional<ConversionProfile> profile)
{
    runProfile() = profile;
}

} // namespace ConversionProfiles
