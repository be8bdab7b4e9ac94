// The time to list films whose store genre comes from a store that allows
// 20 calls a minute (and answers 403 beyond), against the stand-in services
// in this process, with Kinovela's own pacing of the store.
//
//   bench_storelist MEDIA [FILMS] [--wait-store] [--store-at-once]
//
// MEDIA is a small movie file, copied as "Film 001.mp4"...; FILMS defaults
// to 200. Prints "name=value" lines: list_s (every file listed), and with
// --wait-store settle_s (every store genre in), store_calls (retries
// after a 403 included) and store_genres (items that got the store's genre).
// --store-at-once is the reference: a store without a limit, asked unpaced.
#include "app/AppCore.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "standin/TmdbStandin.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdio>

int main(int argc, char *argv[])
{
    // Nothing cached from an earlier run: every film is looked up and every genre asked.
    QTemporaryDir cache;
    qputenv("XDG_CACHE_HOME", cache.path().toUtf8());
    QGuiApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        std::fprintf(stderr, "usage: bench_storelist MEDIA [FILMS] [--wait-store]\n");
        return 2;
    }
    const int films = arguments.size() > 2 && !arguments.at(2).startsWith(QLatin1String("--")) ? arguments.at(2).toInt() : 200;
    const bool waitStore = arguments.contains(QStringLiteral("--wait-store"));
    const bool atOnce = arguments.contains(QStringLiteral("--store-at-once"));

    StandinServer server;
    if (!server.start())
        return 1;
    StandinServices::installAll(server);
    StandinServices::exportEnvironment(server);
    TmdbStandin::setExtraFilms(films);
    TmdbStandin::setStoreLimit(atOnce ? 0 : 20);
    if (!atOnce)
        qunsetenv("KINOVELA_STORE_INTERVAL_MS"); // the program's own pacing

    QTemporaryDir folder;
    QList<QUrl> urls;
    for (int i = 1; i <= films; ++i) {
        const QString path = folder.filePath(QStringLiteral("Film %1.mp4").arg(i, 3, 10, QLatin1Char('0')));
        if (!QFile::copy(arguments.at(1), path))
            return 1;
        urls.append(QUrl::fromLocalFile(path));
    }

    AppCore core;
    core.applicationDidFinishLaunching();
    core.importer()->setStagger(0);
    QElapsedTimer clock;
    double listed = 0;
    QObject::connect(&core, &AppCore::importFinished, &app, [&] {
        listed = clock.elapsed() / 1000.0;
        std::printf("list_s=%.2f\nlisted=%d\npending_store=%d\n", listed, core.list()->count(),
                    ImportPipeline::storeAnswersPending());
        std::fflush(stdout);
        if (!waitStore) {
            app.quit();
            return;
        }
        ImportPipeline::whenStoreAnswered(&app, [&] {
            std::printf("settle_s=%.2f\nstore_calls=%lld\n", clock.elapsed() / 1000.0,
                        qint64(server.requests(QStringLiteral("itunes")).size()));
            int stored = 0;
            for (const MovieItem &item : core.list()->items())
                stored += item.value(ItemKey::movieGenre).toString() == QLatin1String("Independent") ? 1 : 0;
            std::printf("store_genres=%d\n", stored);
            app.quit();
        });
    });
    clock.start();
    core.importFiles(urls);
    return app.exec();
}
