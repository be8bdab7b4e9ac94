#pragma once

#include <QObject>
#include <QString>

#include <functional>

/**
 * The OpenSubtitles account and service choice: an API key, an optional
 * user name and password, and which service to use (REST by default, the
 * XML-RPC service as "legacy (members only)"). The environment
 * (KINOVELA_OPENSUBTITLES_API_KEY, _USER, _PASSWORD) wins over the stored
 * values. The key and the user name are kept with the settings; the
 * password only in the system keychain, never in the settings file. The
 * key and the password are hidden from diagnostic lines.
 */
namespace SubtitleCredentials {

/** The subtitle services a person can choose in the settings. */
enum class Provider { Rest, Legacy };

/** The user's own key (environment, else settings); empty when none. */
QString apiKey();
/** The key requests use: the user's own, else the application's (-DKINOVELA_OPENSUBTITLES_APP_KEY); may be empty. */
QString effectiveApiKey();
/** True when the build carries an application key. */
bool hasApplicationKey();
/** The chosen service (KINOVELA_OPENSUBTITLES_PROVIDER "rest"/"legacy", else the setting); REST by default. */
Provider provider();
void storeProvider(Provider provider);
/** "OpenSubtitles.com" or "legacy (members only)", as the settings sheet shows them. */
QString providerName(Provider provider);

QString userName();
/** The password of this run: the environment's, else the one loaded from the keychain. */
QString password();

void storeApiKey(const QString &key);
void storeUserName(const QString &user);
/** Writes the password to the keychain (an empty one deletes it); `done` gets an error text or "". */
void storePassword(const QString &password, std::function<void(const QString &error)> done = {});
/** Reads the password from the keychain for this run; `done` is called in any case. */
void loadPassword(std::function<void()> done = {});

} // namespace SubtitleCredentials
