#pragma once

#include <QObject>
#include <QString>

#include <functional>

/**
 * The OpenSubtitles account for the REST service: an API key (which turns
 * the REST client on), an optional user name and password. The environment
 * (KINOVELA_OPENSUBTITLES_API_KEY, _USER, _PASSWORD) wins over the stored
 * values. The key and the user name are kept with the settings; the
 * password only in the system keychain, never in the settings file. The
 * key and the password are hidden from diagnostic lines.
 */
namespace SubtitleCredentials {

QString apiKey();
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
