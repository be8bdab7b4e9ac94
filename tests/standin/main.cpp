// kinovela-standin: every stand-in web service in one program, on a free
// port of 127.0.0.1. Prints the environment lines that point Kinovela at it,
// then an empty line, and serves until it is stopped.
//
//   kinovela-standin [--poster-size WxH] [--runtime MINUTES] [--films N] [--store-limit N]
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "standin/TmdbStandin.h"

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype sizeOption = arguments.indexOf(QStringLiteral("--poster-size"));
    if (sizeOption > 0 && sizeOption + 1 < arguments.size()) {
        const QStringList parts = arguments.at(sizeOption + 1).split(QLatin1Char('x'));
        if (parts.size() == 2)
            TmdbStandin::setOriginalPosterSize(QSize(parts.at(0).toInt(), parts.at(1).toInt()));
    }

    const qsizetype runtimeOption = arguments.indexOf(QStringLiteral("--runtime"));
    if (runtimeOption > 0 && runtimeOption + 1 < arguments.size())
        TmdbStandin::setRuntimeMinutes(arguments.at(runtimeOption + 1).toInt());
    const qsizetype films = arguments.indexOf(QStringLiteral("--films"));
    if (films > 0 && films + 1 < arguments.size())
        TmdbStandin::setExtraFilms(arguments.at(films + 1).toInt());
    const qsizetype limit = arguments.indexOf(QStringLiteral("--store-limit"));
    if (limit > 0 && limit + 1 < arguments.size())
        TmdbStandin::setStoreLimit(arguments.at(limit + 1).toInt());

    StandinServer server;
    if (!server.start()) {
        std::fprintf(stderr, "kinovela-standin: could not listen on 127.0.0.1\n");
        return 1;
    }
    StandinServices::installAll(server);
    for (const QString &line : StandinServices::environment(server))
        std::printf("%s\n", qPrintable(line));
    std::printf("\n");
    std::fflush(stdout);
    return app.exec();
}
