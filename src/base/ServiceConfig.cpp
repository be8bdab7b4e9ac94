#include "base/ServiceConfig.h"

#include "base/Diagnostics.h"

#include <QSettings>

#include <QDir>

namespace ServiceConfig {

QString fromEnvironment(const char *name, const QString &fallback)
{
    const QString value = qEnvironmentVariable(name);
    return value.isEmpty() ? fallback : value;
}

static QString withoutTrailingSlash(QString url)
{
    while (url.endsWith(QLatin1Char('/')))
        url.chop(1);
    return url;
}

QString tmdbApiUrl()
{
    return withoutTrailingSlash(fromEnvironment("KINOVELA_TMDB_API_URL", QStringLiteral("https://api.themoviedb.org")));
}

QString tmdbImageUrl()
{
    return withoutTrailingSlash(fromEnvironment("KINOVELA_TMDB_IMAGE_URL", QStringLiteral("https://image.tmdb.org")));
}

QString storedTmdbApiKey()
{
    return QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).value(QStringLiteral("tmdbApiKey")).toString().trimmed();
}

QString tmdbApiKey()
{
    const QString stored = storedTmdbApiKey();
    const QString key = fromEnvironment("KINOVELA_TMDB_API_KEY",
                                        stored.isEmpty() ? QStringLiteral(KINOVELA_TMDB_API_KEY) : stored);
    if (!key.isEmpty()) {
        // Masked in every form a line could carry it: as given and percent-encoded.
        Diagnostics::addSecret(key);
        Diagnostics::addSecret(QString::fromLatin1(key.toUtf8().toPercentEncoding()));
    }
    return key;
}

void storeTmdbApiKey(const QString &key)
{
    QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).setValue(QStringLiteral("tmdbApiKey"), key.trimmed());
}

QString itunesUrl()
{
    return withoutTrailingSlash(fromEnvironment("KINOVELA_ITUNES_URL", QStringLiteral("https://itunes.apple.com")));
}

QString itunesGenresUrl()
{
    return withoutTrailingSlash(fromEnvironment("KINOVELA_ITUNES_GENRES_URL", QStringLiteral("https://itunes.apple.com")));
}

QString openSubtitlesRestUrl()
{
    return withoutTrailingSlash(
        fromEnvironment("KINOVELA_OPENSUBTITLES_REST_URL", QStringLiteral("https://api.opensubtitles.com/api/v1")));
}

QString openSubtitlesUrl()
{
    return fromEnvironment("KINOVELA_OPENSUBTITLES_URL", QStringLiteral("https://api.opensubtitles.org:443/xml-rpc"));
}

int httpTimeoutMs()
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue("KINOVELA_HTTP_TIMEOUT_MS", &ok);
    return ok && value > 0 ? value : 30000;
}

QString subtitlesFolder()
{
    // Without a home there is no subtitles folder: never "/Subtitles".
    const QString home = qEnvironmentVariable("HOME");
    if (home.isEmpty() || !QDir::isAbsolutePath(home) || QDir::cleanPath(home) == QStringLiteral("/"))
        return {};
    return QDir::cleanPath(home) + QStringLiteral("/Subtitles");
}

} // namespace ServiceConfig
