#include "base/Diagnostics.h"
#include "base/ServiceConfig.h"
#include "standin/OpenSubtitlesStandin.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "subtitles/OpenSubtitlesRest.h"
#include "subtitles/Video.h"
#include "support/TestEnvironment.h"

#include <QDir>

/** The subtitle stage through both services: the same outcomes, whichever is configured. */
class TestProviders : public QObject
{
    Q_OBJECT

private:
    StandinServer *m_server = nullptr;
    QTemporaryDir m_files;

    void useProvider(const QString &provider)
    {
        if (provider == QLatin1String("rest"))
            qputenv("KINOVELA_OPENSUBTITLES_API_KEY", OpenSubtitlesStandin::restApiKey());
        else
            qunsetenv("KINOVELA_OPENSUBTITLES_API_KEY");
    }

    Video run(const Video &video)
    {
        std::optional<Video> result;
        QObject context;
        video.searchAndDownloadSubtitle(&context, [&result](const Video &updated) { result = updated; });
        (void)QTest::qWaitFor([&result] { return result.has_value(); }, 30000);
        return result.value_or(video);
    }

    QString movie(const QString &name, const QString &media = QStringLiteral("h264-aac.mp4"))
    {
        const QString path = m_files.filePath(name);
        QFile::remove(path);
        QFile::copy(TestEnvironment::media(media), path);
        return path;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = new StandinServer(this);
        QVERIFY(m_server->start());
        StandinServices::installAll(*m_server);
        StandinServices::exportEnvironment(*m_server);
    }

    void init()
    {
        m_server->clearFailures();
        m_server->clearRequests();
        OpenSubtitlesStandin::clearHashSubtitles();
        OpenSubtitlesStandin::setDownloadQuota(100);
        qunsetenv("KINOVELA_OPENSUBTITLES_USER");
        qunsetenv("KINOVELA_OPENSUBTITLES_PASSWORD");
        QDir(ServiceConfig::subtitlesFolder()).removeRecursively();
        QDir().mkdir(ServiceConfig::subtitlesFolder());
    }

    void sharedOutcomes_data()
    {
        QTest::addColumn<QString>("provider");
        QTest::newRow("xml-rpc") << QStringLiteral("xmlrpc");
        QTest::newRow("rest") << QStringLiteral("rest");
    }

    void sharedOutcomes()
    {
        QFETCH(QString, provider);
        useProvider(provider);
        // By IMDb number.
        const Video byImdb = run(Video(movie(QStringLiteral("Inception.2010.mkv")), QStringLiteral("tt1375666"), 8700));
        QCOMPARE(byImdb.subStatus, SubtitleStauts::found);
        QCOMPARE(byImdb.downloadedSubtitlePath, ServiceConfig::subtitlesFolder() + QStringLiteral("/Inception.2010.srt"));
        QVERIFY(QFile::exists(byImdb.downloadedSubtitlePath));
        // By movie hash, even without an IMDb number.
        const QString hashed = movie(QStringLiteral("Hashed.mp4"));
        OpenSubtitlesStandin::addHashSubtitle(Video(hashed, QString(), 0).getMovieHashString(), "1\n00:00:01,000 --> 00:00:02,000\nHashed\n");
        const Video byHash = run(Video(hashed, QString(), 3));
        QCOMPARE(byHash.subStatus, SubtitleStauts::found);
        QFile file(byHash.downloadedSubtitlePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("Hashed"));
        // Nothing anywhere.
        QCOMPARE(run(Video(movie(QStringLiteral("Unknown.mkv"), QStringLiteral("hevc.mkv")), QStringLiteral("tt0000001"), 10)).subStatus,
                 SubtitleStauts::notFound);
        // The window's list.
        QList<SubtitleCandidate> list;
        bool listed = false;
        QObject context;
        Video::getSubtitleList(QStringLiteral("tt1375666"), &context, [&](const QList<SubtitleCandidate> &records) {
            list = records;
            listed = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(listed, 10000);
        QCOMPARE(list.size(), 2);
        for (const SubtitleCandidate &record : std::as_const(list)) {
            QVERIFY(record.fileID > 0);
            QVERIFY(!record.fileName.isEmpty());
        }
        useProvider(QString());
    }

    void restRequestsAreCanonicalAndIdentified()
    {
        useProvider(QStringLiteral("rest"));
        qputenv("KINOVELA_OPENSUBTITLES_USER", "moviefan");
        qputenv("KINOVELA_OPENSUBTITLES_PASSWORD", "s3cret");
        Diagnostics::startCapture();
        const Video video = run(Video(movie(QStringLiteral("Heat.1995.avi")), QStringLiteral("tt0113277"), 10200));
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(video.subStatus, SubtitleStauts::found);
        QCOMPARE(m_server->requests(QStringLiteral("rest-login")).size(), 1);
        const QList<StandinServer::Request> searches = m_server->requests(QStringLiteral("rest-search"));
        QCOMPARE(searches.size(), 2); // by hash, then by IMDb number; neither redirected
        QCOMPARE(searches.at(1).query.toString(), QStringLiteral("imdb_id=113277&languages=en"));
        QCOMPARE(searches.at(1).header("User-Agent"), QByteArray("Kinovela v") + KINOVELA_VERSION);
        QCOMPARE(m_server->requests(QStringLiteral("rest-download")).constFirst().header("Authorization"),
                 QByteArray("Bearer rest-token-b7e1"));
        for (const QString &line : lines)
            QVERIFY(!line.contains(QString::fromLatin1(OpenSubtitlesStandin::restApiKey())) && !line.contains(QStringLiteral("s3cret")));
        useProvider(QString());
    }

    void restPureParts()
    {
        QCOMPARE(OpenSubtitlesRest::imdbNumber(QStringLiteral("tt0068646")), QStringLiteral("68646"));
        QCOMPARE(OpenSubtitlesRest::imdbNumber(QStringLiteral("tt")), QString());
        QCOMPARE(OpenSubtitlesRest::imdbNumber(QStringLiteral("ttx12")), QString());
        QCOMPARE(OpenSubtitlesRest::canonicalQuery({{QStringLiteral("moviehash"), QStringLiteral("ABCD")},
                                                    {QStringLiteral("Languages"), QStringLiteral("en")}}),
                 QStringLiteral("languages=en&moviehash=abcd"));
    }

    void restFailuresAreNamed_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<int>("status");
        QTest::newRow("refused key") << QStringLiteral("key") << QStringLiteral("refused the API key") << int(SubtitleStauts::notFound);
        QTest::newRow("quota") << QStringLiteral("quota") << QStringLiteral("download quota reached (406)")
                               << int(SubtitleStauts::notSearched);
        QTest::newRow("rate limit") << QStringLiteral("ratelimit") << QStringLiteral("rate limit reached (429)")
                                    << int(SubtitleStauts::notFound);
        QTest::newRow("server error") << QStringLiteral("server") << QStringLiteral("server error (500)")
                                      << int(SubtitleStauts::notFound);
        QTest::newRow("wrong password") << QStringLiteral("password") << QStringLiteral("(401)")
                                        << int(SubtitleStauts::notSearched);
    }

    void restFailuresAreNamed()
    {
        QFETCH(QString, failure);
        QFETCH(QString, expected);
        QFETCH(int, status);
        useProvider(QStringLiteral("rest"));
        if (failure == QLatin1String("key"))
            qputenv("KINOVELA_OPENSUBTITLES_API_KEY", "wrong-key");
        else if (failure == QLatin1String("quota"))
            OpenSubtitlesStandin::setDownloadQuota(0);
        else if (failure == QLatin1String("ratelimit"))
            m_server->setFailure(QStringLiteral("rest-search"), StandinServer::Failure::TooManyRequests);
        else if (failure == QLatin1String("server"))
            m_server->setFailure(QStringLiteral("rest-search"), StandinServer::Failure::ServerError);
        else {
            qputenv("KINOVELA_OPENSUBTITLES_USER", "moviefan");
            qputenv("KINOVELA_OPENSUBTITLES_PASSWORD", "wrong");
        }
        Diagnostics::startCapture();
        const Video video = run(Video(movie(QStringLiteral("Inception.mkv")), QStringLiteral("tt1375666"), 8700));
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(int(video.subStatus.value_or(SubtitleStauts::found)), status);
        QVERIFY(video.downloadedSubtitlePath.isEmpty());
        bool named = false;
        for (const QString &line : lines)
            named = named || line.contains(expected);
        QVERIFY2(named, qPrintable(lines.join(QLatin1Char('\n'))));
        if (failure == QLatin1String("ratelimit"))
            QCOMPARE(m_server->requests(QStringLiteral("rest-search")).size(), 4); // each search retried once, then given up
        useProvider(QString());
    }
};

KINOVELA_TEST_MAIN(TestProviders)
#include "tst_providers.moc"
