#pragma once

#include <QVariantMap>

#include <optional>

/**
 * The two persistent user settings, kept with QSettings (organization and
 * application "Kinovela"; XDG_CONFIG_HOME moves the file):
 *  - "convertionOptions": the conversion preset tag, 1 to 4;
 *  - "selectedSearchLanguage": one entry of the language list, a map with
 *    "alpha3-b", "alpha2" and "English".
 *
 * A run of the command line tool can override either for itself only
 * (setRunLanguage / setRunPreset): the override is read instead of the
 * stored value and is never written.
 */
namespace UserSettings {

inline const QString conversionOptionsKey = QStringLiteral("convertionOptions");
inline const QString selectedSearchLanguageKey = QStringLiteral("selectedSearchLanguage");

/** The stored preset, or nothing when none is stored. The run override wins. */
std::optional<int> conversionOption();
void storeConversionOption(int preset);

/** The stored search language, or an empty map when none is stored. The run override wins. */
QVariantMap selectedSearchLanguage();
void storeSelectedSearchLanguage(const QVariantMap &language);

/** The English default language map: "eng", "en", "English". */
QVariantMap defaultLanguage();

void setRunLanguage(const QVariantMap &language);
void setRunPreset(int preset);
void clearRunOverrides();

} // namespace UserSettings
