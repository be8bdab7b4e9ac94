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
    return TmdbStandin::environment(server) + OpenSubtitlesStandin::environment(server);
}

void exportEnvironment(const StandinServer &server)
{
    StandinServer::exportEnvironment(environment(server));
}

} // namespace StandinServices
