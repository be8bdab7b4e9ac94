#include "standin/StandinServices.h"

#include "standin/StandinServer.h"
#include "standin/OpenSubtitlesStandin.h"
#include "standin/TmdbStandin.h"

namespace StandinServices {

void installAll(StandinServer &server)
{
    TmdbStandin::install(server);
    OpenSubtitlesStandin::install(server);
}

QStringList environment(const StandinServer &server)
{
    const QString base = server.baseUrl();
    return {
        QStringLiteral("KINOVELA_TMDB_API_URL=") + base,
        QStringLiteral("KINOVELA_TMDB_IMAGE_URL=") + base,
        QStringLiteral("KINOVELA_ITUNES_URL=") + base,
        QStringLiteral("KINOVELA_ITUNES_GENRES_URL=") + base,
        QStringLiteral("KINOVELA_OPENSUBTITLES_URL=") + base + QStringLiteral("/xml-rpc"),
        QStringLiteral("KINOVELA_OPENSUBTITLES_REST_URL=") + base + QStringLiteral("/api/v1"),
    };
}

void exportEnvironment(const StandinServer &server)
{
    for (const QString &line : environment(server))
        qputenv(line.section(QLatin1Char('='), 0, 0).toUtf8().constData(), line.section(QLatin1Char('='), 1).toUtf8());
}

} // namespace StandinServices
