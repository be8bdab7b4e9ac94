#include "app/AppCore.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "app/MovieLookup.h"
#include "base/AnswerCache.h"
#include "base/Progress.h"
#include "metadata/StoreGenre.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "standin/TmdbStandin.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>

// What the lookups keep on disk and how they treat the store's limits:
// a second lookup asks nothing, the store is asked at its pace, a throttle
// is waited out once, and the list never waits for the store.
class TestLookupCache : public QObject
{
    Q_OBJECT

private:
    StandinServer *m_server = nullptr;
    QTemporaryDir m_files;

    MovieItem identify(const QString &name)
    {
        std::optional<MovieItem> record;
        MovieLookup::getMovieInfo(name, [&](const MovieItem &answer) { record = answer; });
        (void)QTest::qWaitFor([&] { return record.has_value(); }, 20000);
        return record.value_or(MovieItem());
    }

    /** Asks the store for each title and year (TMDb's genre "tmdb"); the genres in the order asked. */
    QStringList storeGenres(const QList<std::pair<QString, QString>> &titles)
    {
        QStringList genres(titles.size());
        int answered = 0;
        for (qsizetype i = 0; i < titles.size(); ++i) {
            StoreGenre::getGenreFromiTunesStoreWithMovieTitle(titles.at(i).first, titles.at(i).second, QStringLiteral("tmdb"),
                                                              [&genres, &answered, i](const MovieItem &genre) {
                                                                  genres[i] = genre.value(ItemKey::movieGenre).toString();
                                                                  ++answered;
                                                              });
        }
        (void)QTest::qWaitFor([&] { return answered == titles.size(); }, 30000);
        return genres;
    }

    int storeCalls() const { return int(m_server->requests(QStringLiteral("itunes")).size()); }

    QString movie(const QString &name)
    {
        const QString path = m_files.filePath(name);
        QFile::copy(TestEnvironment::media(QStringLiteral("h264-aac.mp4")), path);
        return path;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = new StandinServer(this);
        QVERIFY(m_server->start());
        StandinServices::installAll(*m_server);
        StandinServices::exportEnvironment(*m_server);
        TmdbStandin::setExtraFilms(4);
    }

    void init()
    {
        m_server->clearFailures();
        m_server->clearRequests();
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).clear();
        TestEnvironment::forgetLookups();
        AnswerCache::refresh(false);
        TmdbStandin::setStoreLimit(0);
        qputenv("KINOVELA_STORE_INTERVAL_MS", "0");
        qputenv("KINOVELA_STORE_RETRY_MS", "0");
    }

    void secondLookupAsksNothing()
    {
        const MovieItem first = identify(QStringLiteral("Inception"));
        QCOMPARE(first.value(ItemKey::movieGenre).toString(), QStringLiteral("Sci-Fi & Fantasy"));
        const qsizetype asked = m_server->requests().size();
        QVERIFY(asked >= 4); // search, poster, details, store

        const MovieItem again = identify(QStringLiteral("Inception"));
        QCOMPARE(m_server->requests().size(), asked);
        for (const QString &key : {ItemKey::movieTitle, ItemKey::movieTMDBID, ItemKey::movieCast, ItemKey::movieGenre,
                                   ItemKey::movieRating_US, ItemKey::imdbID})
            QCOMPARE(again.value(key), first.value(key));
        QVERIFY(!again.value(ItemKey::moviePoster).value<ItemImage>().isNull());

        // --refresh, and the setting, ask again.
        AnswerCache::refresh(true);
        identify(QStringLiteral("Inception"));
        QVERIFY(m_server->requests(QStringLiteral("search")).size() == 2);
        AnswerCache::refresh(false);
        AnswerCache::storeIgnored(true);
        identify(QStringLiteral("Inception"));
        QVERIFY(m_server->requests(QStringLiteral("search")).size() == 3);
        AnswerCache::storeIgnored(false);

        // An answer older than its lifetime is asked again.
        AnswerCache::storeLifetimeDays(2);
        QDirIterator files(AnswerCache::root(), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(QDateTime::currentDateTime().addDays(-3), QFileDevice::FileModificationTime));
        }
        identify(QStringLiteral("Inception"));
        QCOMPARE(m_server->requests(QStringLiteral("search")).size(), 4);
    }

    void storeIsAskedAtItsPace()
    {
        qputenv("KINOVELA_STORE_INTERVAL_MS", "300");
        const QStringList genres = storeGenres({{QStringLiteral("Inception"), QStringLiteral("2010")},
                                                {QStringLiteral("Alien"), QStringLiteral("1979")},
                                                {QStringLiteral("Inception"), QStringLiteral("2010")},
                                                {QStringLiteral("Heat"), QStringLiteral("1995")}});
        QCOMPARE(genres, QStringList({QStringLiteral("Sci-Fi & Fantasy"), QStringLiteral("Horror"),
                                      QStringLiteral("Sci-Fi & Fantasy"), QStringLiteral("tmdb")}));
        // The same title and year asked twice is one call; the calls are spaced.
        const QList<StandinServer::Request> calls = m_server->requests(QStringLiteral("itunes"));
        QCOMPARE(calls.size(), 3);
        // (Unpaced, they would arrive a millisecond apart; what the server sees of the spacing varies with the load.)
        for (qsizetype i = 1; i < calls.size(); ++i)
            QVERIFY2(calls.at(i).receivedMs - calls.at(i - 1).receivedMs >= 150, "store calls closer than the interval");
        QCOMPARE(StoreGenre::pending(), 0);

        // What the store said is kept per title and year, "no genre of that year" too.
        QCOMPARE(storeGenres({{QStringLiteral("Alien"), QStringLiteral("1979")}, {QStringLiteral("Heat"), QStringLiteral("1995")}}),
                 QStringList({QStringLiteral("Horror"), QStringLiteral("tmdb")}));
        QCOMPARE(storeCalls(), 3);
        QVERIFY(!StoreGenre::cachedGenre(QStringLiteral("Alien"), QStringLiteral("1986"), {}).has_value());

        // A person's choice of movie goes before the import's lookups still waiting.
        int answered = 0;
        for (const char *title : {"The Dark Knight", "Film 001"})
            StoreGenre::getGenreFromiTunesStoreWithMovieTitle(QString::fromLatin1(title), QStringLiteral("2008"), {},
                                                              [&](const MovieItem &) { ++answered; });
        StoreGenre::getGenreFromiTunesStoreWithMovieTitle(QStringLiteral("The Dark Knight Rises"), QStringLiteral("2012"), {},
                                                          [&](const MovieItem &) { ++answered; }, StoreGenre::Turn::First);
        QTRY_COMPARE_WITH_TIMEOUT(answered, 3, 10000);
        const QList<StandinServer::Request> order = m_server->requests(QStringLiteral("itunes")).mid(3);
        QCOMPARE(order.size(), 3);
        QCOMPARE(order.at(0).query.queryItemValue(QStringLiteral("term"), QUrl::FullyDecoded), QStringLiteral("The Dark Knight Rises"));
    }

    void throttledStoreIsWaitedOutOnce()
    {
        qputenv("KINOVELA_STORE_RETRY_MS", "300");
        TmdbStandin::setStoreLimit(1);
        QCOMPARE(storeGenres({{QStringLiteral("Inception"), QStringLiteral("2010")}}), QStringList{QStringLiteral("Sci-Fi & Fantasy")});
        // Refused twice: TMDb's genre, a warning that says why, and nothing is kept, so a later import asks again.
        QStringList told;
        StoreGenre::setProblemListener([&told](const QString &message) { told.append(message); });
        QCOMPARE(storeGenres({{QStringLiteral("Alien"), QStringLiteral("1979")}}), QStringList{QStringLiteral("tmdb")});
        StoreGenre::setProblemListener({});
        QCOMPARE(told.size(), 1);
        QVERIFY(told.constFirst().contains(QStringLiteral("refusing genre lookups as too many (403)")));
        QCOMPARE(storeCalls(), 3);
        QVERIFY(!StoreGenre::cachedGenre(QStringLiteral("Alien"), QStringLiteral("1979"), {}).has_value());

        // Refused once, then answered: the store's genre.
        QTimer::singleShot(100, this, [] { TmdbStandin::setStoreLimit(0); });
        QCOMPARE(storeGenres({{QStringLiteral("The Dark Knight"), QStringLiteral("2008")}}),
                 QStringList{QStringLiteral("Action & Adventure")});
        QCOMPARE(storeCalls(), 5);
    }

    void listDoesNotWaitForTheStoreButSaveDoes()
    {
        qputenv("KINOVELA_STORE_INTERVAL_MS", "700");
        AppCore core;
        core.applicationDidFinishLaunching();
        core.importer()->setStagger(0);
        QSignalSpy imported(&core, &AppCore::importFinished);
        QList<QUrl> urls;
        for (const char *name : {"Film 001.mp4", "Film 002.mp4", "Film 003.mp4"})
            urls.append(QUrl::fromLocalFile(movie(QString::fromLatin1(name))));
        core.importFiles(urls);
        QVERIFY(imported.wait(20000));
        QCOMPARE(core.list()->count(), 3);
        // Listed at once with TMDb's genre; the store's answers are still coming.
        QVERIFY(ImportPipeline::storeAnswersPending() > 0);
        QCOMPARE(core.list()->itemAt(2).value(ItemKey::movieGenre).toString(), QStringLiteral("Drama"));
        core.list()->selectRow(0);
        // Meanwhile a person says the last file is another movie: the late genre is not for it.
        MovieItem other = core.list()->itemAt(2);
        other.insert(ItemKey::movieTMDBID, qint64(348));
        core.list()->updateItem(other);

        QStringList progressTitles;
        connect(core.progress(), &Progress::titleChanged, this, [&](const QString &title) { progressTitles.append(title); });
        std::optional<QList<CreationResult>> results;
        connect(&core, &AppCore::saveFinished, this, [&](const QList<CreationResult> &r) { results = r; });
        QTemporaryDir destination;
        // A Save cancelled while it waits writes nothing and says so of every movie.
        core.save(destination.path());
        QVERIFY(core.isSaving());
        core.cancelSave();
        QVERIFY(QTest::qWaitFor([&] { return results.has_value(); }, 10000));
        QCOMPARE(results->size(), 3);
        for (const CreationResult &result : *results)
            QCOMPARE(result.status.errorKind(), ErrorKind::Cancelled);
        QVERIFY(QDir(destination.path()).isEmpty());
        QVERIFY(ImportPipeline::storeAnswersPending() > 0);
        results.reset();
        progressTitles.clear();

        core.save(destination.path());
        QVERIFY(QTest::qWaitFor([&] { return results.has_value(); }, 60000));
        QVERIFY(progressTitles.constFirst().startsWith(QStringLiteral("Waiting for the store genres")));
        QCOMPARE(ImportPipeline::storeAnswersPending(), 0);
        // Each item took the store's genre as it came, the selection stayed, and the files carry the final genre.
        QCOMPARE(core.list()->selectedRow(), 0);
        const QStringList finalGenres{QStringLiteral("Independent"), QStringLiteral("Independent"), QStringLiteral("Drama")};
        for (int row = 0; row < 3; ++row)
            QCOMPARE(core.list()->itemAt(row).value(ItemKey::movieGenre).toString(), finalGenres.at(row));
        QCOMPARE(results->size(), 3);
        for (int row = 0; row < 3; ++row) { // the results come in list order
            const CreationResult &result = results->at(row);
            QVERIFY2(result.succeeded(), qPrintable(result.reason()));
            QProcess probe;
            probe.start(QStringLiteral("ffprobe"), {QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-show_entries"),
                                                    QStringLiteral("format_tags=genre"), QStringLiteral("-of"),
                                                    QStringLiteral("default=nw=1:nk=1"), result.outputPath});
            QVERIFY(probe.waitForFinished(20000));
            QCOMPARE(QString::fromUtf8(probe.readAllStandardOutput().trimmed()), finalGenres.at(row));
        }
    }
};

KINOVELA_TEST_MAIN(TestLookupCache)
#include "tst_lookupcache.moc"
