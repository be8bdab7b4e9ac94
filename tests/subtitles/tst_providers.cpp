#include "base/Diagnostics.h"
#include "base/ServiceConfig.h"
#include "standin/OpenSubtitlesStandin.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "subtitles/OpenSubtitlesRest.h"
#include "subtitles/SubtitleCache.h"
#include "subtitles/SubtitleCredentials.h"
#include "subtitles/SubtitleQuota.h"
#include "subtitles/Video.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QProcess>

/** The subtitle stage through both services: the same outcomes, whichever is configured. */
class TestProviders : public QObject
{
    Q_OBJECT

private:
    StandinServer *m_server = nullptr;
    QTemporaryDir m_files;

    void useProvider(const QString &provider)
    {
        qputenv("KINOVELA_OPENSUBTITLES_PROVIDER", provider == QLatin1String("rest") ? "rest" : "legacy");
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

    QList<SubtitleCandidate> subtitleList(const QString &imdbID)
    {
        std::optional<QList<SubtitleCandidate>> list;
        QObject context;
        Video::getSubtitleList(imdbID, &context, [&list](const QList<SubtitleCandidate> &records) { list = records; });
        (void)QTest::qWaitFor([&list] { return list.has_value(); }, 10000);
        return list.value_or(QList<SubtitleCandidate>());
    }

    Video download(const Video &video, const QString &fileID)
    {
        std::optional<Video> result;
        QObject context;
        video.downloadSubtitleWithFileID(fileID, QStringLiteral("srt"), &context, [&result](const Video &updated) { result = updated; });
        (void)QTest::qWaitFor([&result] { return result.has_value(); }, 10000);
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
        OpenSubtitlesStandin::setLoginRefused(false);
        OpenSubtitlesStandin::setAdvertisement(false);
        OpenSubtitlesRest::forgetSession();
        SubtitleCache::clear();
        SubtitleQuota::forget();
        qunsetenv("KINOVELA_OPENSUBTITLES_USER");
        qunsetenv("KINOVELA_OPENSUBTITLES_PASSWORD");
        QFile::remove(ServiceConfig::subtitlesFolder());
        QDir(ServiceConfig::subtitlesFolder()).removeRecursively();
        QDir().mkdir(ServiceConfig::subtitlesFolder());
    }

    void sharedOutcomes_data()
    {
        QTest::addColumn<QString>("provider");
        QTest::addColumn<QByteArray>("chosen");
        QTest::addColumn<QByteArray>("userAgent");
        // XML-RPC takes the srt ending closest before the end (2 h 25 min), REST the first result.
        QTest::newRow("xml-rpc") << QStringLiteral("xmlrpc") << QByteArray("Subtitle 1003") << QByteArray("Titlewright v1.0");
        QTest::newRow("rest") << QStringLiteral("rest") << QByteArray("Subtitle 1002") << QByteArray("Kinovela v" KINOVELA_VERSION);
    }

    void sharedOutcomes()
    {
        QFETCH(QString, provider);
        QFETCH(QByteArray, chosen);
        QFETCH(QByteArray, userAgent);
        useProvider(provider);
        // By IMDb number, the hash being unknown: search by hash, search by IMDb number, download, in that order.
        const Video byImdb = run(Video(movie(QStringLiteral("Inception.2010.mkv")), QStringLiteral("tt1375666"), 8700));
        QCOMPARE(byImdb.subStatus, SubtitleStauts::found);
        QCOMPARE(byImdb.downloadedSubtitlePath, ServiceConfig::subtitlesFolder() + QStringLiteral("/Inception.2010.srt"));
        QFile chosenFile(byImdb.downloadedSubtitlePath);
        QVERIFY(chosenFile.open(QIODevice::ReadOnly));
        QVERIFY(chosenFile.readAll().contains(chosen));
        QCOMPARE(m_server->requests().size(), 4); // XML-RPC logs in first; REST needs a second request for the file
        QCOMPARE(m_server->requests().constFirst().header("User-Agent"), userAgent);
        // By movie hash, even without an IMDb number.
        const QString hashed = movie(QStringLiteral("Hashed.mp4"));
        OpenSubtitlesStandin::addHashSubtitle(Video(hashed, QString(), 0).getMovieHashString(),
                                              "1\n00:00:01,000 --> 00:00:02,000\nHashed\n\n2\n00:00:02,000 --> 00:00:03,000\nTwo\n\n"
                                              "3\n00:00:03,000 --> 00:00:03,500\nThree\n");
        SubtitleCache::clear(); // the same file was searched by hash above, when the service knew nothing for it
        const Video byHash = run(Video(hashed, QString(), 3));
        QCOMPARE(byHash.subStatus, SubtitleStauts::found);
        QFile file(byHash.downloadedSubtitlePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("Hashed"));
        // Nothing anywhere, with or without an IMDb number.
        const QString unknown = movie(QStringLiteral("Unknown.mkv"), QStringLiteral("hevc.mkv"));
        QCOMPARE(run(Video(unknown, QStringLiteral("tt0000001"), 10)).subStatus, SubtitleStauts::notFound);
        QCOMPARE(run(Video(unknown, QString(), 10)).subStatus, SubtitleStauts::notFound);
        // The window's list, and a download of the subtitle chosen there.
        QCOMPARE(subtitleList(QStringLiteral("tt1375666")).size(), 2);
        const QList<SubtitleCandidate> list = subtitleList(QStringLiteral("tt0113277"));
        QCOMPARE(list.size(), 1);
        for (const SubtitleCandidate &record : list) {
            QVERIFY(!record.fileName.isEmpty());
            QVERIFY(record.fileID > 0);
        }
        const QString heat = movie(QStringLiteral("Heat.1995.avi"), QStringLiteral("mpeg4-mp3.avi"));
        const Video chosenByUser = download(Video(heat, QString(), 3), QString::number(list.at(0).fileID));
        QCOMPARE(chosenByUser.subStatus, SubtitleStauts::found);
        QVERIFY(QFile::exists(ServiceConfig::subtitlesFolder() + QStringLiteral("/Heat.1995.srt")));
        QCOMPARE(download(Video(heat, QString(), 3), QStringLiteral("not a number")).subStatus, SubtitleStauts::notSearched);
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
        // After the log-in, calls go to the host its base_url names.
        QCOMPARE(searches.at(0).header("Host"), QByteArray("localhost:") + QByteArray::number(m_server->port()));
        for (const QString &line : lines)
            QVERIFY(!line.contains(QString::fromLatin1(OpenSubtitlesStandin::restApiKey())) && !line.contains(QStringLiteral("s3cret")));
        useProvider(QString());
    }

    void restPureParts()
    {
        QCOMPARE(OpenSubtitlesRest::imdbNumber(QStringLiteral("tt0068646")), QStringLiteral("68646"));
        QCOMPARE(OpenSubtitlesRest::imdbNumber(QStringLiteral("tt")), QString());
        QCOMPARE(OpenSubtitlesRest::moviehash(QStringLiteral("1c000")), QStringLiteral("000000000001c000"));
        QCOMPARE(OpenSubtitlesRest::moviehash(QStringLiteral("5b8f8f4e41ccb21e")), QStringLiteral("5b8f8f4e41ccb21e"));
        QCOMPARE(OpenSubtitlesRest::moviehash(QStringLiteral("0")), QString());
        QCOMPARE(OpenSubtitlesRest::apiUrl(QStringLiteral("vip-api.opensubtitles.com")),
                 QStringLiteral("http://vip-api.opensubtitles.com:%1/api/v1").arg(m_server->port()));
        QCOMPARE(OpenSubtitlesRest::imdbNumber(QStringLiteral("ttx12")), QString());
        QCOMPARE(OpenSubtitlesRest::canonicalQuery({{QStringLiteral("moviehash"), QStringLiteral("ABCD")},
                                                    {QStringLiteral("Languages"), QStringLiteral("en")}}),
                 QStringLiteral("languages=en&moviehash=abcd"));

        // Download links: the service's own https hosts and the configured API origin, nothing else.
        const QString port = QString::number(m_server->port());
        QVERIFY(OpenSubtitlesRest::isServiceLink(QUrl(QStringLiteral("https://www.opensubtitles.com/download/A1/subfile/x.srt"))));
        QVERIFY(OpenSubtitlesRest::isServiceLink(QUrl(QStringLiteral("https://dl.opensubtitles.org/x.srt"))));
        QVERIFY(OpenSubtitlesRest::isServiceLink(QUrl(QStringLiteral("http://127.0.0.1:%1/download/files/1.srt").arg(port))));
        for (const QString &refused : {QStringLiteral("http://www.opensubtitles.com/x.srt"),
                                       QStringLiteral("https://opensubtitles.com.evil.example/x.srt"),
                                       QStringLiteral("https://evilopensubtitles.com/x.srt"),
                                       QStringLiteral("file:///etc/passwd"),
                                       QStringLiteral("ftp://dl.opensubtitles.org/x.srt"),
                                       QStringLiteral("http://127.0.0.1:1/x.srt"),
                                       QStringLiteral("http://user:pw@127.0.0.1:%1/x.srt").arg(port)})
            QVERIFY2(!OpenSubtitlesRest::isServiceLink(QUrl(refused)), qPrintable(refused));
    }

    void failuresAreNamed_data()
    {
        QTest::addColumn<QString>("provider");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("expected"); // in the diagnostics; empty: not checked
        QTest::addColumn<int>("status");
        const auto row = [](const char *name, const char *provider, const char *failure, const char *expected, SubtitleStauts status) {
            QTest::newRow(name) << QString::fromLatin1(provider) << QString::fromLatin1(failure) << QString::fromLatin1(expected)
                                << int(status);
        };
        // A LogIn answered "401 Unauthorized" is a failed log-in, whatever token came with it.
        row("xml-rpc login 401", "xmlrpc", "login", "refused the log-in", SubtitleStauts::notSearched);
        row("xml-rpc advertisement", "xmlrpc", "advert", "advertisement", SubtitleStauts::notFound);
        row("xml-rpc server error", "xmlrpc", "server", "", SubtitleStauts::notSearched);
        // The search succeeds but nothing can be saved: the status stays as it was.
        row("xml-rpc folder not writable", "xmlrpc", "folder", "could not be written", SubtitleStauts::notSearched);
        row("rest no key", "rest", "nokey", "No OpenSubtitles API key", SubtitleStauts::notSearched);
        row("rest refused key", "rest", "key", "refused the API key", SubtitleStauts::notFound);
        row("rest quota", "rest", "quota", "download limit reached until 2099-11-24 14:00 UTC", SubtitleStauts::notSearched);
        row("rest rate limit", "rest", "ratelimit", "rate limit reached (429)", SubtitleStauts::notFound);
        row("rest server error", "rest", "server", "server error (500)", SubtitleStauts::notFound);
        row("rest wrong password", "rest", "password", "(401)", SubtitleStauts::notSearched);
        row("rest advertisement", "rest", "advert", "advertisement", SubtitleStauts::notFound);
    }

    void failuresAreNamed()
    {
        QFETCH(QString, provider);
        QFETCH(QString, failure);
        QFETCH(QString, expected);
        QFETCH(int, status);
        useProvider(provider);
        const QString route = provider == QLatin1String("rest") ? QStringLiteral("rest-search") : QStringLiteral("xmlrpc");
        if (failure == QLatin1String("nokey")) {
            if (SubtitleCredentials::hasApplicationKey())
                QSKIP("this build carries an application key");
            qunsetenv("KINOVELA_OPENSUBTITLES_API_KEY");
        } else if (failure == QLatin1String("advert")) {
            OpenSubtitlesStandin::setAdvertisement(true);
        } else if (failure == QLatin1String("key")) {
            qputenv("KINOVELA_OPENSUBTITLES_API_KEY", "wrong-key");
        } else if (failure == QLatin1String("quota")) {
            OpenSubtitlesStandin::setDownloadQuota(0);
        } else if (failure == QLatin1String("ratelimit")) {
            m_server->setFailure(route, StandinServer::Failure::TooManyRequests);
        } else if (failure == QLatin1String("server")) {
            m_server->setFailure(route, StandinServer::Failure::ServerError);
        } else if (failure == QLatin1String("login")) {
            OpenSubtitlesStandin::setLoginRefused(true);
        } else if (failure == QLatin1String("folder")) {
            QDir(ServiceConfig::subtitlesFolder()).removeRecursively();
            QFile blocker(ServiceConfig::subtitlesFolder());
            QVERIFY(blocker.open(QIODevice::WriteOnly));
        } else {
            qputenv("KINOVELA_OPENSUBTITLES_USER", "moviefan");
            qputenv("KINOVELA_OPENSUBTITLES_PASSWORD", "wrong");
        }
        Diagnostics::startCapture();
        const Video video = run(Video(movie(QStringLiteral("Inception.mkv")), QStringLiteral("tt1375666"), 8700));
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(int(video.subStatus.value_or(SubtitleStauts::found)), status);
        QVERIFY(video.downloadedSubtitlePath.isEmpty());
        QVERIFY(video.statusText.contains(expected)); // what the person is told
        if (failure == QLatin1String("login"))
            QCOMPARE(m_server->requests(route).size(), 1); // no search after the refused log-in
        if (failure == QLatin1String("quota")) {
            QCOMPARE(SubtitleQuota::current()->remainingText(), QStringLiteral("download limit reached until 2099-11-24 14:00 UTC"));
            const int asked = int(m_server->requests(QStringLiteral("rest-download")).size());
            run(Video(movie(QStringLiteral("Heat.avi")), QStringLiteral("tt0113277"), 10200));
            QCOMPARE(m_server->requests(QStringLiteral("rest-download")).size(), asked); // a spent allowance is not asked again
        }
        bool named = false;
        for (const QString &line : lines)
            named = named || line.contains(expected);
        QVERIFY2(named || expected.isEmpty(), qPrintable(lines.join(QLatin1Char('\n'))));
        if (failure == QLatin1String("ratelimit"))
            QCOMPARE(m_server->requests(route).size(), 4); // each search retried once, then given up
        useProvider(QString());
    }

    void candidatesAreCheckedInTurn()
    {
        useProvider(QStringLiteral("rest"));
        // Three hours long, then a video posing as a subtitle, then a good Windows-1252 file.
        const Video video = run(Video(movie(QStringLiteral("Checked.mkv")), QStringLiteral("tt4000001"), 10));
        QCOMPARE(video.subStatus, SubtitleStauts::found);
        QCOMPARE(m_server->requests(QStringLiteral("rest-download")).size(), 3);
        QFile file(video.downloadedSubtitlePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray saved = file.readAll();
        QVERIFY(saved.contains("Caf\xc3\xa9 cr\xc3\xa8me"));
        QVERIFY(saved.contains("\xe2\x80\x9cNa\xc3\xafve\xe2\x80\x9d"));
        // The window's choice of a file that fails the check leaves nothing behind.
        const QString other = movie(QStringLiteral("Other.mkv"));
        const Video posing = download(Video(other, QString(), 10), QStringLiteral("4004"));
        QCOMPARE(posing.subStatus, SubtitleStauts::notSearched);
        QVERIFY(posing.statusText.contains(QStringLiteral("binary data")));
        QVERIFY(!QFile::exists(Subtitle::pathFor(other, QStringLiteral("srt"))));
    }

    void hashWithLeadingZerosIsFound_data()
    {
        QTest::addColumn<QString>("provider");
        QTest::newRow("xml-rpc") << QStringLiteral("xmlrpc");
        QTest::newRow("rest") << QStringLiteral("rest");
    }

    void hashWithLeadingZerosIsFound()
    {
        QFETCH(QString, provider);
        useProvider(provider);
        // 128 KiB of zero bytes: the hash is the size alone, 0x20000, eleven leading zeros.
        const QString path = m_files.filePath(QStringLiteral("Zeros.mkv"));
        QFile zeros(path);
        QVERIFY(zeros.open(QIODevice::WriteOnly));
        zeros.write(QByteArray(131072, '\0'));
        zeros.close();
        QCOMPARE(Video(path, QString(), 0).getMovieHashString(), QStringLiteral("20000"));
        OpenSubtitlesStandin::addHashSubtitle(QStringLiteral("20000"), OpenSubtitlesStandin::subtitleText(QStringLiteral("3001")));
        QCOMPARE(run(Video(path, QString(), 10)).subStatus, SubtitleStauts::found);
    }

    void repeatedImportSpendsEachDownloadOnce()
    {
        useProvider(QStringLiteral("rest"));
        qputenv("KINOVELA_OPENSUBTITLES_PROVIDER", "rest");
        const QStringList files{movie(QStringLiteral("Heat.1995.avi"), QStringLiteral("mpeg4-mp3.avi")),
                                movie(QStringLiteral("The.Dark.Knight.2008.720p.mkv"), QStringLiteral("h264-ac3-srt.mkv"))};
        const auto import = [&files] {
            QProcess cli;
            cli.start(qEnvironmentVariable("KINOVELA_CLI"),
                      QStringList{QStringLiteral("import"), QStringLiteral("--preset"), QStringLiteral("4"), QStringLiteral("--stagger"),
                                  QStringLiteral("0"), QStringLiteral("--json")} + files);
            // The stand-ins answer from this process's event loop: keep it running while the tool works.
            const bool finished = QTest::qWaitFor([&cli] { return cli.state() == QProcess::NotRunning; }, 120000);
            return std::pair{finished && cli.exitCode() == 0, cli.readAllStandardError()};
        };
        const auto first = import();
        QVERIFY2(first.first, first.second.constData());
        QVERIFY2(m_server->requests(QStringLiteral("rest-download")).size() == 2, first.second.constData());
        const qsizetype searches = m_server->requests(QStringLiteral("rest-search")).size();
        QVERIFY(import().first);
        QCOMPARE(m_server->requests(QStringLiteral("rest-download")).size(), 2);
        QCOMPARE(m_server->requests(QStringLiteral("rest-search")).size(), searches);
        QVERIFY(QFile::exists(ServiceConfig::subtitlesFolder() + QStringLiteral("/Heat.1995.srt")));
        QCOMPARE(SubtitleQuota::current()->remaining, 98);
        // Fewer downloads left than files: said before anything is spent.
        SubtitleQuota::record(SubtitleQuota{1, QDateTime(QDate(2099, 1, 1), QTime(14, 0), Qt::UTC)});
        const auto [ok, err] = import();
        QVERIFY(ok);
        QVERIFY2(err.contains("may need 2 subtitle downloads, but OpenSubtitles allows only 1 more"), err.constData());
        useProvider(QString());
    }
};

KINOVELA_TEST_MAIN(TestProviders)
#include "tst_providers.moc"
