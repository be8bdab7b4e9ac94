#include "app/AppCore.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "base/Progress.h"
#include "base/ServiceConfig.h"
#include "base/UserSettings.h"
#include "subtitles/SubtitlesFolder.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSettings>
#include <QSignalSpy>

namespace {

// A movie database that knows no movie: every search answers with no
// results, after a delay chosen per query, so tests decide the order in
// which lookups complete.
class EmptyMovieDatabase
{
public:
    EmptyMovieDatabase()
    {
        m_server.start();
        m_server.addRoute(QStringLiteral("search"), "GET", QStringLiteral("/3/search/movie"),
                          [this](const StandinServer::Request &request) {
                              StandinServer::Reply reply;
                              reply.body = R"({"page":1,"results":[],"total_pages":0,"total_results":0})";
                              const QString query = request.query.queryItemValue(QStringLiteral("query"),
                                                                                  QUrl::FullyDecoded);
                              for (auto it = m_delays.cbegin(); it != m_delays.cend(); ++it) {
                                  if (query.startsWith(it.key()))
                                      reply.delayMs = it.value();
                              }
                              return reply;
                          });
        qputenv("KINOVELA_TMDB_API_URL", m_server.baseUrl().toUtf8());
        qputenv("KINOVELA_TMDB_API_KEY", "any-key");
        qputenv("KINOVELA_TMDB_IMAGE_URL", m_server.baseUrl().toUtf8());
        qputenv("KINOVELA_ITUNES_URL", m_server.baseUrl().toUtf8());
        qputenv("KINOVELA_ITUNES_GENRES_URL", m_server.baseUrl().toUtf8());
        qputenv("KINOVELA_OPENSUBTITLES_URL", (m_server.baseUrl() + QStringLiteral("/xml-rpc")).toUtf8());
    }

    void delayAnswersFor(const QString &namePrefix, int milliseconds) { m_delays.insert(namePrefix, milliseconds); }
    StandinServer &server() { return m_server; }

private:
    StandinServer m_server;
    QHash<QString, int> m_delays;
};

struct ProgressLog
{
    explicit ProgressLog(Progress *progress)
    {
        QObject::connect(progress, &Progress::titleChanged, progress, [this](const QString &t) { titles.append(t); });
        QObject::connect(progress, &Progress::valueChanged, progress, [this](double v) { values.append(v); });
        QObject::connect(progress, &Progress::began, progress, [this](bool c) {
            ++begun;
            cancellable = c;
        });
    }
    QStringList titles;
    QList<double> values;
    int begun = 0;
    bool cancellable = true;
};

QList<qint64> serialNumbers(const MovieListModel *list)
{
    QList<qint64> numbers;
    for (const MovieItem &item : list->items())
        numbers.append(item.value(ItemKey::serialNumber).toLongLong());
    return numbers;
}

} // namespace

class TestImport : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_files;

    /** A copy of a generated movie under a new name (the name drives the lookup). */
    QUrl movie(const QString &name, const QString &source = QStringLiteral("h264-aac.mp4"))
    {
        const QString path = m_files.filePath(name);
        QFile::remove(path);
        QFile::copy(TestEnvironment::media(source), path);
        return QUrl::fromLocalFile(path);
    }

    static bool runImport(AppCore &core, const QList<QUrl> &urls, double stagger = 0)
    {
        QSignalSpy finished(core.importer(), &ImportPipeline::finished);
        core.importer()->setStagger(stagger);
        core.importFiles(urls);
        // Generous: CI runs this next to conversions on two cores.
        return finished.wait(300000);
    }

private Q_SLOTS:
    void init()
    {
        UserSettings::clearRunOverrides();
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).clear();
    }

    void rejectedFilesAreSkippedButCounted()
    {
        EmptyMovieDatabase database;
        AppCore core;
        core.applicationDidFinishLaunching();
        const QUrl text = QUrl::fromLocalFile(TestEnvironment::media(QStringLiteral("text.txt")));
        const QUrl empty = QUrl::fromLocalFile(TestEnvironment::media(QStringLiteral("empty.mkv")));
        const QUrl missing = QUrl::fromLocalFile(m_files.filePath(QStringLiteral("no such file.mkv")));
        QVERIFY(runImport(core, {text, movie(QStringLiteral("Some.Movie.2001.mp4")), empty, missing}));

        QCOMPARE(core.list()->count(), 1);
        const MovieItem item = core.list()->itemAt(0);
        QCOMPARE(item.value(ItemKey::serialNumber).toLongLong(), 1);
        QCOMPARE(item.value(ItemKey::fileName).toString(), QStringLiteral("Some.Movie.2001.mp4"));
        QCOMPARE(item.value(ItemKey::fileString).toString(), QStringLiteral("Some.Movie.2001"));
        QCOMPARE(item.value(ItemKey::searchString).toString(), QStringLiteral("Some Movie 2001"));
        // Not found: the lookup's not-found values are merged in.
        QCOMPARE(item.value(ItemKey::movieTitle).toString(), QString());
        QCOMPARE(item.value(ItemKey::movieFoundStatus).toBool(), false);
        QVERIFY(item.contains(ItemKey::moviePoster));
        QVERIFY(!core.progress()->isRunning());
    }

    void lookupsFinishingOutOfOrderAreListedInChosenOrder()
    {
        EmptyMovieDatabase database;
        database.delayAnswersFor(QStringLiteral("First"), 900);
        database.delayAnswersFor(QStringLiteral("Second"), 1500);
        database.delayAnswersFor(QStringLiteral("Third"), 0);
        AppCore core;
        core.applicationDidFinishLaunching();
        ProgressLog log(core.progress());
        int listedWhenProgressEnded = -1;
        connect(core.progress(), &Progress::ended, this, [&] { listedWhenProgressEnded = core.list()->count(); });

        QVERIFY(runImport(core, {movie(QStringLiteral("First.mp4")), movie(QStringLiteral("Second.mp4")),
                                 movie(QStringLiteral("Third.mp4"))}));
        // The progress phase ends when every file is done, whatever the order they finish in.
        QCOMPARE(listedWhenProgressEnded, 3);
        QCOMPARE(serialNumbers(core.list()), (QList<qint64>{0, 1, 2}));
        QCOMPARE(log.begun, 1);
        QCOMPARE(log.cancellable, false);
        QCOMPARE(log.titles.constFirst(), QStringLiteral("Gathering Info..."));
        QVERIFY(log.titles.contains(QStringLiteral("Gathering Info : Third.mp4")));
        QVERIFY(log.titles.contains(QStringLiteral("Gathering Info : First.mp4")));
        // i / n * 100, never 100.
        QCOMPARE(log.values.constFirst(), 0.0);
        QVERIFY(log.values.contains(2.0 / 3.0 * 100.0));
        QVERIFY(!log.values.contains(100.0));
    }

    void theProgressEndsWhenEveryFileIsDone()
    {
        EmptyMovieDatabase database;
        database.delayAnswersFor(QStringLiteral("Slow"), 2000);
        AppCore core;
        core.applicationDidFinishLaunching();
        QSignalSpy ended(core.progress(), &Progress::ended);
        QSignalSpy finished(core.importer(), &ImportPipeline::finished);
        core.importer()->setStagger(0);
        // The last file is rejected at once; the progress still waits for the slow first one.
        core.importFiles({movie(QStringLiteral("Slow.mp4")),
                          QUrl::fromLocalFile(TestEnvironment::media(QStringLiteral("text.txt")))});
        QVERIFY(ended.wait(20000));
        QCOMPARE(core.list()->count(), 1);
        QCOMPARE(finished.size(), 1);
    }

    void lateCompletionsNeverMoveTheUsersSelection()
    {
        EmptyMovieDatabase database;
        database.delayAnswersFor(QStringLiteral("Slow"), 2000);
        AppCore core;
        core.applicationDidFinishLaunching();
        QSignalSpy finished(core.importer(), &ImportPipeline::finished);
        core.importer()->setStagger(0);
        core.importFiles({movie(QStringLiteral("Slow.mp4")), movie(QStringLiteral("Fast.mp4")), movie(QStringLiteral("Quick.mp4"))});
        QTRY_COMPARE_WITH_TIMEOUT(core.list()->count(), 2, 20000);
        const QString chosen = core.list()->itemAt(1).value(ItemKey::fileName).toString();
        core.list()->selectRow(1);
        QVERIFY(finished.wait(20000));
        QCOMPARE(core.list()->count(), 3);
        QCOMPARE(core.list()->selectedItem()->value(ItemKey::fileName).toString(), chosen);
    }

    void subtitlePresetSearchesEvenWhenTheMovieIsNotFound()
    {
        EmptyMovieDatabase database;
        // No subtitle service answers: the search still runs, finds nothing, and says so.
        AppCore core;
        core.applicationDidFinishLaunching();
        core.setConversionOption(Preset::ConvertWithSubtitles);
        ProgressLog log(core.progress());
        QVERIFY(runImport(core, {movie(QStringLiteral("Unknown.Film.mp4"))}));
        QCOMPARE(core.list()->count(), 1);
        const MovieItem item = core.list()->itemAt(0);
        QCOMPARE(item.value(ItemKey::displaySubtitleBanner), QVariant(true));
        QCOMPARE(item.value(ItemKey::subtitleFound), QVariant(false));
        QCOMPARE(item.value(ItemKey::downloadedSubtitlePath).toString(), QString());
        QVERIFY(log.titles.contains(QStringLiteral("Gathering Info : Unknown.Film.mp4")));
    }

    void theLivePresetIsReadWhenEachLookupCompletes()
    {
        EmptyMovieDatabase database;
        database.delayAnswersFor(QStringLiteral("Late"), 1500);
        AppCore core;
        core.applicationDidFinishLaunching();
        core.setConversionOption(Preset::Convert);
        QSignalSpy finished(core.importer(), &ImportPipeline::finished);
        core.importer()->setStagger(0);
        core.importFiles({movie(QStringLiteral("Early.mp4")), movie(QStringLiteral("Late.mp4"))});
        QTRY_COMPARE_WITH_TIMEOUT(core.list()->count(), 1, 10000);
        core.setConversionOption(Preset::ConvertWithSubtitles);
        QVERIFY(finished.wait(30000));
        // Without the subtitle preset no subtitle is searched for.
        const MovieItem early = core.list()->itemAt(0);
        QCOMPARE(early.value(ItemKey::displaySubtitleBanner), QVariant(false));
        QCOMPARE(early.value(ItemKey::subtitleFound), QVariant(false));
        QVERIFY(!early.contains(ItemKey::downloadedSubtitlePath));
        QCOMPARE(core.list()->itemAt(1).value(ItemKey::displaySubtitleBanner), QVariant(true));
    }

    void aSecondImportEmptiesTheListAndRemovesOnlyKinovelasSubtitles()
    {
        EmptyMovieDatabase database;
        AppCore core;
        core.applicationDidFinishLaunching();
        QVERIFY(runImport(core, {movie(QStringLiteral("One.mp4")), movie(QStringLiteral("Two.mp4"))}));
        QCOMPARE(core.list()->count(), 2);

        const QString folder = ServiceConfig::subtitlesFolder();
        QVERIFY(QDir(folder).exists());
        // One file the user put there, one Kinovela saved.
        QFile users(folder + QStringLiteral("/One.srt"));
        QVERIFY(users.open(QIODevice::WriteOnly));
        users.close();
        QFile own(folder + QStringLiteral("/Own.srt"));
        QVERIFY(own.open(QIODevice::WriteOnly));
        own.close();
        SubtitlesFolder::recordSaved(own.fileName());

        QSignalSpy finished(core.importer(), &ImportPipeline::finished);
        core.importer()->setStagger(0);
        core.importFiles({movie(QStringLiteral("Three.mp4"))});
        // Both happen before anything else.
        QCOMPARE(core.list()->count(), 0);
        QVERIFY(QFile::exists(folder + QStringLiteral("/One.srt")));
        QVERIFY(!QFile::exists(folder + QStringLiteral("/Own.srt")));
        QVERIFY(QDir(folder).exists());
        QVERIFY(finished.wait(30000));
        QCOMPARE(core.list()->count(), 1);
        QCOMPARE(core.list()->itemAt(0).value(ItemKey::fileName).toString(), QStringLiteral("Three.mp4"));
    }

    void anEmptyChoiceDoesNothing()
    {
        AppCore core;
        core.applicationDidFinishLaunching();
        QSignalSpy began(core.progress(), &Progress::began);
        core.importFiles({});
        QCOMPARE(began.size(), 0);
        QVERIFY(!core.importer()->isRunning());
    }

    void everyRequestOfAnImportMayFail_data()
    {
        QTest::addColumn<QString>("route");
        QTest::addColumn<int>("failure");
        for (const char *route : {"search", "details", "image", "itunes", "xmlrpc"}) {
            // A 500 of each request is covered where each request is made; here every file must still be listed.
            for (const auto &[name, failure] : {std::pair{"silent", StandinServer::Failure::NoAnswer},
                                                std::pair{"closed", StandinServer::Failure::CloseConnection},
                                                std::pair{"not json", StandinServer::Failure::InvalidJson}})
                QTest::addRow("%s %s", route, name) << QString::fromLatin1(route) << int(failure);
        }
    }

    void everyRequestOfAnImportMayFail()
    {
        QFETCH(QString, route);
        QFETCH(int, failure);
        qputenv("KINOVELA_HTTP_TIMEOUT_MS", "1500");
        StandinServer server;
        QVERIFY(server.start());
        StandinServices::installAll(server);
        StandinServices::exportEnvironment(server);
        server.setFailure(route, StandinServer::Failure(failure));
        AppCore core;
        core.applicationDidFinishLaunching();
        core.setConversionOption(Preset::ConvertWithSubtitles);
        QVERIFY(runImport(core, {movie(QStringLiteral("Inception.mp4")), movie(QStringLiteral("Heat.1995.mp4")),
                                 movie(QStringLiteral("The.Dark.Knight.2008.mp4"))}));
        qunsetenv("KINOVELA_HTTP_TIMEOUT_MS");
        QCOMPARE(serialNumbers(core.list()), (QList<qint64>{0, 1, 2}));
        for (const MovieItem &item : core.list()->items()) {
            QCOMPARE(item.value(ItemKey::displaySubtitleBanner), QVariant(true));
            // A failed subtitle service leaves no subtitle; a failed movie service no identification.
            if (route == QLatin1String("xmlrpc"))
                QCOMPARE(item.value(ItemKey::subtitleFound), QVariant(false));
            if (route == QLatin1String("search"))
                QCOMPARE(item.value(ItemKey::movieFoundStatus), QVariant(false));
            else
                QCOMPARE(item.value(ItemKey::movieFoundStatus), QVariant(true));
        }
    }

    void manyFilesWithoutStaggerAreNeitherLostNorDuplicated()
    {
        EmptyMovieDatabase database;
        AppCore core;
        core.applicationDidFinishLaunching();
        const QUrl original = movie(QStringLiteral("Original.mp4"));
        QList<QUrl> urls;
        QList<qint64> expected;
        for (int i = 0; i < 200; ++i) {
            const QString link = m_files.filePath(QStringLiteral("Copy.%1.mp4").arg(i));
            QFile::remove(link);
            QVERIFY(QFile::link(original.toLocalFile(), link));
            urls.append(QUrl::fromLocalFile(link));
            expected.append(i);
        }
        QVERIFY(runImport(core, urls));
        QCOMPARE(serialNumbers(core.list()), expected);
    }
};

KINOVELA_TEST_MAIN(TestImport)
#include "tst_import.moc"
