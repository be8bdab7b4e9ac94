#include "subtitles/SubtitleCredentials.h"

#include "base/Diagnostics.h"
#include "base/ServiceConfig.h"

#include <QCoreApplication>
#include <QSettings>

#include <qt6keychain/keychain.h>

namespace {

const QString KeychainService = QStringLiteral("Kinovela OpenSubtitles");
const QString ApiKeySetting = QStringLiteral("openSubtitlesApiKey");
const QString UserSetting = QStringLiteral("openSubtitlesUser");
const QString ProviderSetting = QStringLiteral("openSubtitlesProvider");

QString g_password;

QSettings settings()
{
    return QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
}

QString secret(const QString &value)
{
    Diagnostics::addSecret(value);
    return value;
}

} // namespace

namespace SubtitleCredentials {

QString apiKey()
{
    return secret(ServiceConfig::fromEnvironment("KINOVELA_OPENSUBTITLES_API_KEY", settings().value(ApiKeySetting).toString()));
}

QString effectiveApiKey()
{
    const QString own = apiKey();
    return own.isEmpty() ? secret(QStringLiteral(KINOVELA_OPENSUBTITLES_APP_KEY)) : own;
}

bool hasApplicationKey()
{
    return !QStringLiteral(KINOVELA_OPENSUBTITLES_APP_KEY).isEmpty();
}

Provider provider()
{
    const QString chosen = ServiceConfig::fromEnvironment("KINOVELA_OPENSUBTITLES_PROVIDER", settings().value(ProviderSetting).toString());
    return chosen == QLatin1String("legacy") ? Provider::Legacy : Provider::Rest;
}

void storeProvider(Provider provider)
{
    if (provider == Provider::Legacy)
        settings().setValue(ProviderSetting, QStringLiteral("legacy"));
    else
        settings().remove(ProviderSetting);
}

QString providerName(Provider provider)
{
    return provider == Provider::Legacy ? QStringLiteral("legacy (members only)") : QStringLiteral("OpenSubtitles.com");
}

QString userName()
{
    return ServiceConfig::fromEnvironment("KINOVELA_OPENSUBTITLES_USER", settings().value(UserSetting).toString());
}

QString password()
{
    return secret(ServiceConfig::fromEnvironment("KINOVELA_OPENSUBTITLES_PASSWORD", g_password));
}

void storeApiKey(const QString &key)
{
    if (key.isEmpty())
        settings().remove(ApiKeySetting);
    else
        settings().setValue(ApiKeySetting, key);
}

void storeUserName(const QString &user)
{
    if (user.isEmpty())
        settings().remove(UserSetting);
    else
        settings().setValue(UserSetting, user);
}

void storePassword(const QString &password, std::function<void(const QString &)> done)
{
    g_password = password;
    QKeychain::Job *job = nullptr;
    if (password.isEmpty()) {
        job = new QKeychain::DeletePasswordJob(KeychainService);
    } else {
        auto *write = new QKeychain::WritePasswordJob(KeychainService);
        write->setTextData(password);
        job = write;
    }
    job->setAutoDelete(true);
    job->setKey(userName().isEmpty() ? QStringLiteral("default") : userName());
    QObject::connect(job, &QKeychain::Job::finished, QCoreApplication::instance(), [done](QKeychain::Job *finished) {
        const QString error = finished->error() == QKeychain::NoError || finished->error() == QKeychain::EntryNotFound
            ? QString()
            : finished->errorString();
        if (!error.isEmpty())
            Diagnostics::write(QStringLiteral("The password could not be kept in the keychain: ") + error);
        if (done)
            done(error);
    });
    job->start();
}

void loadPassword(std::function<void()> done)
{
    auto *job = new QKeychain::ReadPasswordJob(KeychainService);
    job->setAutoDelete(true);
    job->setKey(userName().isEmpty() ? QStringLiteral("default") : userName());
    QObject::connect(job, &QKeychain::Job::finished, QCoreApplication::instance(), [done](QKeychain::Job *finished) {
        if (finished->error() == QKeychain::NoError)
            g_password = static_cast<QKeychain::ReadPasswordJob *>(finished)->textData();
        if (done)
            done();
    });
    job->start();
}

} // namespace SubtitleCredentials
