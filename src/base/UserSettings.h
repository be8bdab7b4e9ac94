#pragma once

#include "base/Preset.h"

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
void storeConversionOption(Preset preset);
/** The preset in force: the run override, else the stored one when it is valid, else the default. */
Preset preset();

/** The stored search language, or an empty map when none is stored. The run override wins. */
QVariantMap selectedSearchLanguage();
void storeSelectedSearchLanguage(const QVariantMap &language);

/**
 * "reviewThreshold": a match whose confidence is below it needs review
 * (0.6 unless the person chose another value from 0 to 1).
 */
inline const QString reviewThresholdKey = QStringLiteral("reviewThreshold");
inline constexpr double defaultReviewThreshold = 0.6;
double reviewThreshold();
void storeReviewThreshold(double threshold);

void setRunLanguage(const QVariantMap &language);
void setRunPreset(Preset preset);
void clearRunOverrides();

} // namespace UserSettings
