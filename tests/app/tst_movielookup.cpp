#include "app/Corrections.h"
#include "app/MovieLookup.h"
#include "base/Diagnostics.h"
#include "base/ServiceConfig.h"
#include "metadata/TmdbAnswers.h"
#include "standin/StandinServer.h"
#include "standin/OpenSubtitlesStandin.h"
#include "standin/StandinServices.h"
#include "standin/TmdbStandin.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSettings>

// Identifying a movie from a file name, and the choices a person makes
// afterwards (another movie, another subtitle), without any window.
class TestMovieLookup : public QObject
{
    Q_OBJECT

private:
    StandinServer *m_server = nullptr;

    struct Answer
    {
        int calls = 0;
        MovieItem record;
    };

    Answer identify(const QString &name)
    {
        auto answer = std::make_shared<Answer>();
        MovieLookup::getMovieInfo(name, [answer](const MovieItem &record) {
            ++answer->calls;
            answer->record = record;
        });
        (void)QTest::qWaitFor([answer] { return answer->calls > 0; }, 20000);
        QTest::qWait(30);
        return *answer;
    }

    /** The candidate of a manual search with this title. */
    MovieItem candidate(const QString &search, const QString &title)
    {
        QList<MovieItem> candidates;
        bool done = false;
        MovieLookup::searchCandidates(search, [&](const QList<MovieItem> &records) {
            candidates = records;
            done = true;
        });
        if (!QTest::qWaitFor([&] { return done; }, 10000))
            return {};
        for (const MovieItem &record : std::as_const(candidates)) {
            if (record.value(ItemKey::movieTitle).toString() == title)
                return record;
        }
        return {};
    }

    /** An imported item of a file that the lookup got wrong. */
    MovieItem wronglyIdentified()
    {
        const QString path = QDir(QDir::homePath()).filePath(QStringLiteral("Heat.1995.mkv"));
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(QByteArray(200000, 'x'));
        MovieItem item = TmdbAnswers::notFoundRecord();
        item.insert(ItemKey::filePath, path);
        item.insert(ItemKey::serialNumber, 7);
        item.insert(ItemKey::duration, 10.0);
        item.insert(ItemKey::searchString, QStringLiteral("Heat.1995"));
        return item;
    }

    std::optional<MovieItem> apply(const MovieItem &item, const MovieItem &chosen, Preset preset)
    {
        std::optional<MovieItem> result;
        QObject context;
        MovieLookup::applyCandidate(item, chosen, preset, &context, [&](const MovieItem &updated) { result = updated; });
        (void)QTest::qWaitFor([&] { return result.has_value(); }, 20000);
        return result;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = new StandinServer(this);
        QVERIFY(m_server->start());
        StandinServices::installAll(*m_server);
        StandinServices::exportEnvironment(*m_server);
        qunsetenv("KINOVELA_OPENSUBTITLES_API_KEY");
    }

    void init()
    {
        m_server->clearFailures();
        m_server->clearRequests();
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).clear();
        TestEnvironment::forgetLookups();
        qunsetenv("KINOVELA_HTTP_TIMEOUT_MS");
        QDir().mkpath(ServiceConfig::subtitlesFolder());
        QFile::remove(Corrections::storePath());
    }

    void exactTitleNeedsOneSearch()
    {
        const Answer answer = identify(QStringLiteral("Inception"));
        QCOMPARE(answer.calls, 1);
        QCOMPARE(m_server->requests(QStringLiteral("search")).size(), 1);
        const MovieItem &r = answer.record;
        QCOMPARE(r.value(ItemKey::movieTitle).toString(), QStringLiteral("Inception"));
        QCOMPARE(r.value(ItemKey::movieTMDBID).toLongLong(), 27205);
        QCOMPARE(r.value(ItemKey::movieReleaseDate_BEAUTIFIED).toString(), QStringLiteral("Jul 15, 2010"));
        QCOMPARE(r.value(ItemKey::movieReleaseYear).toString(), QStringLiteral("2010"));
        QCOMPARE(r.value(ItemKey::movieLanguage).toString(), QStringLiteral("English"));
        QCOMPARE(r.value(ItemKey::movieFoundStatus).toBool(), true);
        QCOMPARE(r.value(ItemKey::movieRating_US).toString(), QStringLiteral("mpaa|PG-13|300|"));
        QCOMPARE(r.value(ItemKey::movieRating_US_Icon).value<ItemImage>().resourceName(), QStringLiteral("PG-13"));
        QCOMPARE(r.value(ItemKey::imdbID).toString(), QStringLiteral("tt1375666"));
        QCOMPARE(r.value(ItemKey::movieGenre).toString(), QStringLiteral("Sci-Fi & Fantasy"));
        QCOMPARE(r.value(ItemKey::genreFound).toBool(), true);
        QCOMPARE(r.value(ItemKey::movieCast).toString().split(QLatin1Char('\n')).size(), 5);
        const ItemImage poster = r.value(ItemKey::moviePoster).value<ItemImage>();
        QVERIFY(poster.resourceName().isEmpty());
        QCOMPARE(poster.format(), QByteArray("jpeg"));
        // The request carries the key and the language, and the poster is the original size.
        const StandinServer::Request search = m_server->requests(QStringLiteral("search")).constFirst();
        QCOMPARE(search.query.queryItemValue(QStringLiteral("language")), QStringLiteral("en"));
        QCOMPARE(m_server->requests(QStringLiteral("image")).constFirst().path, QStringLiteral("/t/p/original/inception.jpg"));
    }

    void closestTitleWinsOnTheSecondPass()
    {
        const Answer answer = identify(QStringLiteral("The.Dark.Knight.2008"));
        QCOMPARE(answer.record.value(ItemKey::movieTitle).toString(), QStringLiteral("The Dark Knight"));
        const QList<StandinServer::Request> searches = m_server->requests(QStringLiteral("search"));
        QCOMPARE(searches.size(), 2);
        QCOMPARE(searches.at(1).query.queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded),
                 QStringLiteral("The Dark Knight 2008"));
        // No store result of the year: the TMDb genre is used.
        QCOMPARE(identify(QStringLiteral("Heat.1995")).record.value(ItemKey::movieGenre).toString(), QStringLiteral("Action"));
    }

    void notFoundGivesTheNineEntryRecord()
    {
        Diagnostics::startCapture();
        const Answer answer = identify(QStringLiteral("Nothing.At.All"));
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(answer.calls, 1);
        QCOMPARE(answer.record, TmdbAnswers::notFoundRecord());
        QCOMPARE(answer.record.size(), 9);
        QCOMPARE(answer.record.value(ItemKey::moviePoster).value<ItemImage>().resourceName(), QStringLiteral("mnf"));
        // The second search's address is logged, without the key.
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines.constFirst().contains(QStringLiteral("/3/search/movie?query=Nothing%20At%20All")));
        QVERIFY(!lines.constFirst().contains(QString::fromLatin1(TmdbStandin::apiKey())));
        QVERIFY(!lines.constFirst().contains(QStringLiteral("api_key")));
        QVERIFY(!answer.record.contains(ItemKey::lookupFailure));
    }

    void everyFailureAnswersOnce_data()
    {
        QTest::addColumn<QString>("route");
        QTest::addColumn<int>("failure");
        QTest::addColumn<bool>("found");
        // What the record says when the search could not be made; empty when the movie was found anyway.
        QTest::addColumn<QString>("reason");
        using F = StandinServer::Failure;
        QTest::newRow("search 401") << QStringLiteral("search") << int(F::Unauthorized) << false
                                    << QStringLiteral("TMDb refused the API key");
        QTest::newRow("search 500") << QStringLiteral("search") << int(F::ServerError) << false
                                    << QStringLiteral("TMDb has a problem of its own");
        QTest::newRow("search invalid json") << QStringLiteral("search") << int(F::InvalidJson) << false
                                             << QStringLiteral("TMDb gave an answer Kinovela can't read");
        QTest::newRow("search wrong type") << QStringLiteral("search") << int(F::WrongContentType) << false
                                           << QStringLiteral("TMDb gave an answer Kinovela can't read");
        QTest::newRow("search closed") << QStringLiteral("search") << int(F::CloseConnection) << false
                                       << QStringLiteral("Can't reach 127.0.0.1");
        QTest::newRow("search silent") << QStringLiteral("search") << int(F::NoAnswer) << false
                                       << QStringLiteral("127.0.0.1 did not answer in time");
        QTest::newRow("details 404") << QStringLiteral("details") << int(F::NotFound) << true << QString();
        QTest::newRow("details silent") << QStringLiteral("details") << int(F::NoAnswer) << true << QString();
        QTest::newRow("image 500") << QStringLiteral("image") << int(F::ServerError) << true << QString();
        QTest::newRow("store 500") << QStringLiteral("itunes") << int(F::ServerError) << true << QString();
    }

    void everyFailureAnswersOnce()
    {
        QFETCH(QString, route);
        QFETCH(int, failure);
        QFETCH(bool, found);
        QFETCH(QString, reason);
        qputenv("KINOVELA_HTTP_TIMEOUT_MS", "1000");
        m_server->setFailure(route, StandinServer::Failure(failure));
        Diagnostics::startCapture();
        const Answer answer = identify(QStringLiteral("Inception"));
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(answer.calls, 1);
        QCOMPARE(answer.record.value(ItemKey::movieFoundStatus).toBool(), found);
        const QString said = answer.record.value(ItemKey::lookupFailure).toString();
        QVERIFY2(reason.isEmpty() ? said.isEmpty() : said.startsWith(reason), qPrintable(said));
        if (route == QLatin1String("search"))
            QVERIFY(lines.constFirst().startsWith(QStringLiteral("Outer : Inception -> ")));
        if (route == QLatin1String("image"))
            QCOMPARE(answer.record.value(ItemKey::moviePoster).value<ItemImage>().resourceName(), QStringLiteral("pnf"));
        if (route == QLatin1String("itunes"))
            QCOMPARE(answer.record.value(ItemKey::movieGenre).toString(), QStringLiteral("Action"));
    }

    void withoutAKeyNothingIsAskedAndTheRecordSaysWhy()
    {
        const QByteArray key = qgetenv("KINOVELA_TMDB_API_KEY");
        qunsetenv("KINOVELA_TMDB_API_KEY");
        const Answer answer = identify(QStringLiteral("Inception"));
        qputenv("KINOVELA_TMDB_API_KEY", key);
        QCOMPARE(answer.calls, 1);
        QVERIFY(m_server->requests(QStringLiteral("search")).isEmpty());
        QVERIFY(answer.record.value(ItemKey::lookupFailure).toString().startsWith(QStringLiteral("no TMDb key")));
        QCOMPARE(answer.record.value(ItemKey::movieFoundStatus).toBool(), false);
    }

    void rateLimitIsRetriedOnce()
    {
        m_server->setFailure(QStringLiteral("search"), StandinServer::Failure::TooManyRequests, 1);
        const Answer answer = identify(QStringLiteral("Inception"));
        QCOMPARE(answer.record.value(ItemKey::movieTitle).toString(), QStringLiteral("Inception"));
        QCOMPARE(m_server->requests(QStringLiteral("search")).size(), 2);
    }

    void chosenMovieCompletesTheItem_data()
    {
        QTest::addColumn<int>("preset");
        QTest::newRow("convert") << int(Preset::Convert);
        QTest::newRow("convert with subtitles") << int(Preset::ConvertWithSubtitles);
    }

    void chosenMovieCompletesTheItem()
    {
        QFETCH(int, preset);
        const MovieItem item = wronglyIdentified();
        const MovieItem heat = candidate(QStringLiteral("heat"), QStringLiteral("Heat"));
        QVERIFY(!heat.isEmpty());
        m_server->clearRequests();

        const std::optional<MovieItem> chosen = apply(item, heat, Preset(preset));
        QVERIFY(chosen.has_value());
        // The item keeps what it knew of its file and takes the movie's metadata.
        QCOMPARE(chosen->value(ItemKey::filePath), item.value(ItemKey::filePath));
        QCOMPARE(chosen->value(ItemKey::serialNumber).toInt(), 7);
        QCOMPARE(chosen->value(ItemKey::movieTitle).toString(), QStringLiteral("Heat"));
        QCOMPARE(chosen->value(ItemKey::searchString).toString(), QStringLiteral("Heat"));
        QCOMPARE(chosen->value(ItemKey::movieTMDBID).toLongLong(), 949);
        QCOMPARE(chosen->value(ItemKey::movieFoundStatus).toBool(), true);
        QCOMPARE(chosen->value(ItemKey::imdbID).toString(), QStringLiteral("tt0113277"));
        QCOMPARE(chosen->value(ItemKey::movieRating_US).toString(), QStringLiteral("mpaa|R|400|"));
        QCOMPARE(chosen->value(ItemKey::movieRating_US_Icon).value<ItemImage>().resourceName(), QStringLiteral("R"));
        QCOMPARE(chosen->value(ItemKey::movieGenre).toString(), QStringLiteral("Action"));
        QCOMPARE(chosen->value(ItemKey::genreFound).toBool(), true);
        // The full-size poster replaces the search list's small one.
        QCOMPARE(chosen->value(ItemKey::moviePoster).value<ItemImage>().format(), QByteArray("jpeg"));
        QCOMPARE(m_server->requests(QStringLiteral("image")).constFirst().path, QStringLiteral("/t/p/original/heat.jpg"));
        // Only the subtitle preset fetches a subtitle.
        const bool withSubtitles = Preset(preset) == Preset::ConvertWithSubtitles;
        QCOMPARE(m_server->requests(QStringLiteral("xmlrpc")).isEmpty(), !withSubtitles);
        QCOMPARE(chosen->value(ItemKey::subtitleFound).toBool(), withSubtitles);
        if (withSubtitles)
            QVERIFY(QFile::exists(chosen->value(ItemKey::downloadedSubtitlePath).toString()));
        // The person's choice is sure, and remembered for the file.
        QCOMPARE(chosen->value(ItemKey::matchConfidence).toDouble(), 1.0);
        QCOMPARE(chosen->value(ItemKey::needsReview).toBool(), false);
        const auto memory = Corrections::recall(Corrections::keyOf(item.value(ItemKey::filePath).toString()));
        QVERIFY(memory.has_value());
        QCOMPARE(memory->tmdbID, 949);
        QCOMPARE(memory->title, QStringLiteral("Heat"));
    }

    void choiceIsDroppedWhenItsContextIsGone()
    {
        const MovieItem heat = candidate(QStringLiteral("heat"), QStringLiteral("Heat"));
        int calls = 0;
        {
            QObject context;
            MovieLookup::applyCandidate(wronglyIdentified(), heat, Preset::Convert, &context,
                                        [&](const MovieItem &) { ++calls; });
        }
        QTest::qWait(1000);
        QCOMPARE(calls, 0);
    }

    void subtitleListIsNewestFirstAndTheChoiceIsSaved()
    {
        MovieItem item = wronglyIdentified();
        item.insert(ItemKey::imdbID, QStringLiteral("tt1375666"));
        QList<SubtitleCandidate> list;
        bool listed = false;
        QObject context;
        MovieLookup::getSubtitleList(item, &context, [&](const QList<SubtitleCandidate> &candidates) {
            list = candidates;
            listed = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(listed, 10000);
        QCOMPARE(list.size(), 2); // the SubRip ones
        QCOMPARE(list.at(0).approximateTime, QStringLiteral("02:24:10"));
        QCOMPARE(list.at(1).approximateTime, QStringLiteral("02:21:30"));

        std::optional<Outcome<MovieItem>> applied;
        MovieLookup::applySubtitle(item, list.at(1), &context, [&](const Outcome<MovieItem> &updated) {
            applied = updated;
        });
        QTRY_VERIFY_WITH_TIMEOUT(applied.has_value(), 10000);
        QVERIFY(applied->ok());
        const MovieItem &withSubtitle = **applied;
        QCOMPARE(withSubtitle.value(ItemKey::subtitleFound).toBool(), true);
        QFile saved(withSubtitle.value(ItemKey::downloadedSubtitlePath).toString());
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), OpenSubtitlesStandin::subtitleText(QString::number(list.at(1).fileID)));

        // The import's subtitle stage takes the remembered choice again, without searching.
        saved.close();
        QVERIFY(QFile::remove(saved.fileName()));
        m_server->clearRequests();
        std::optional<MovieItem> fetched;
        MovieLookup::fetchSubtitle(item, &context, [&](const MovieItem &updated) { fetched = updated; });
        QTRY_VERIFY_WITH_TIMEOUT(fetched.has_value(), 10000);
        QFile again(fetched->value(ItemKey::downloadedSubtitlePath).toString());
        QVERIFY(again.open(QIODevice::ReadOnly));
        QCOMPARE(again.readAll(), OpenSubtitlesStandin::subtitleText(QString::number(list.at(1).fileID)));
        for (const StandinServer::Request &request : m_server->requests(QStringLiteral("xmlrpc")))
            QVERIFY(!request.body.contains("SearchSubtitles"));
    }

    void newestFirstKeepsTheServiceOrderAmongEquals()
    {
        const QList<SubtitleCandidate> sorted = MovieLookup::sortedNewestFirst(
            {{QStringLiteral("a"), {}, QStringLiteral("01:00:00"), 1, {}},
             {QStringLiteral("b"), {}, QStringLiteral("02:00:00"), 2, {}},
             {QStringLiteral("c"), {}, QStringLiteral("01:00:00"), 3, {}}});
        QCOMPARE(sorted.at(0).fileID, 2);
        QCOMPARE(sorted.at(1).fileID, 1);
        QCOMPARE(sorted.at(2).fileID, 3);
    }
};

KINOVELA_TEST_MAIN(TestMovieLookup)
#include "tst_movielookup.moc"
