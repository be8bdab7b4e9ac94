#include "support/CliRunner.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

/** kinovela-cli driven from outside, against kinovela-standin, as a user would run it. */
class TestCli : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;

    CliRunner::Run cli(const QStringList &arguments) { return m_cli.run(arguments); }
    QString copy(const QString &media, const QString &name) { return m_cli.copy(media, name); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_cli.start()); }

    void usage()
    {
        QCOMPARE(cli({}).exitCode, 2);
        QCOMPARE(cli({QStringLiteral("frobnicate")}).exitCode, 2);
        QCOMPARE(cli({QStringLiteral("import"), QStringLiteral("--preset"), QStringLiteral("9"), QStringLiteral("x")}).exitCode, 2);
        QCOMPARE(cli({QStringLiteral("import"), QStringLiteral("--language"), QStringLiteral("Klingonese"), QStringLiteral("x")})
                     .exitCode,
                 2);
        QCOMPARE(cli({QStringLiteral("create"), QStringLiteral("x.mkv")}).exitCode, 2);
        const CliRunner::Run help = cli({QStringLiteral("--help")});
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.out.contains("\n  import "));
        QVERIFY(cli({QStringLiteral("--version")}).out.startsWith("kinovela-cli "));
    }

    void identifyDeliversTheMergedRecord()
    {
        const CliRunner::Run run = cli({QStringLiteral("identify"), QStringLiteral("--json"), QStringLiteral("The.Dark.Knight.2008")});
        QCOMPARE(run.exitCode, 0);
        const QJsonObject record = QJsonDocument::fromJson(run.out).array().at(0).toObject();
        QCOMPARE(record[QStringLiteral("movieTitle")].toString(), QStringLiteral("The Dark Knight"));
        QCOMPARE(record[QStringLiteral("imdbID")].toString(), QStringLiteral("tt0468569"));
        QCOMPARE(record[QStringLiteral("movieGenre")].toString(), QStringLiteral("Action & Adventure"));
        QCOMPARE(record[QStringLiteral("movieRating_US_Icon")].toObject()[QStringLiteral("resource")].toString(),
                 QStringLiteral("PG-13"));
        QCOMPARE(record[QStringLiteral("moviePoster")].toObject()[QStringLiteral("width")].toInt(), 200);
        // Text output names the rating as people know it, not as the tags store it.
        const CliRunner::Run text = cli({QStringLiteral("identify"), QStringLiteral("The.Dark.Knight.2008")});
        QVERIFY2(text.out.contains("rating: PG-13\n"), text.out.constData());

        const CliRunner::Run missing = cli({QStringLiteral("identify"), QStringLiteral("--json"), QStringLiteral("Nothing.Here")});
        QCOMPARE(missing.exitCode, 1);
        QCOMPARE(QJsonDocument::fromJson(missing.out).array().at(0).toObject()[QStringLiteral("moviePoster")]
                     .toObject()[QStringLiteral("resource")]
                     .toString(),
                 QStringLiteral("mnf"));
        QVERIFY(!missing.err.contains(m_cli.environment().value(QStringLiteral("KINOVELA_TMDB_API_KEY"), QStringLiteral("7c1e9a04"))
                                          .toUtf8()));

        const CliRunner::Run search = cli({QStringLiteral("search"), QStringLiteral("--json"), QStringLiteral("dark knight")});
        QCOMPARE(QJsonDocument::fromJson(search.out).array().size(), 2);
    }

    void importListsEveryMovieInChosenOrder()
    {
        const QStringList files{copy(QStringLiteral("h264-ac3-srt.mkv"), QStringLiteral("The.Dark.Knight.2008.720p.mkv")),
                                copy(QStringLiteral("text.txt"), QStringLiteral("notes.txt")),
                                copy(QStringLiteral("mpeg4-mp3.avi"), QStringLiteral("Heat.1995.avi")),
                                copy(QStringLiteral("h264-aac.mp4"), QStringLiteral("Home.Video.mp4"))};
        const CliRunner::Run run = cli(QStringList{QStringLiteral("import"), QStringLiteral("--preset"), QStringLiteral("4"),
                                        QStringLiteral("--stagger"), QStringLiteral("0"), QStringLiteral("--json")}
                            + files);
        QCOMPARE(run.exitCode, 1); // the text file
        QVERIFY(run.err.contains("notes.txt"));
        const QJsonArray items = QJsonDocument::fromJson(run.out).array();
        QCOMPARE(items.size(), 3);
        QCOMPARE(items.at(0)[QStringLiteral("serialNumber")].toInt(), 0);
        QCOMPARE(items.at(1)[QStringLiteral("serialNumber")].toInt(), 2);
        QCOMPARE(items.at(0)[QStringLiteral("movieTitle")].toString(), QStringLiteral("The Dark Knight"));
        QCOMPARE(items.at(1)[QStringLiteral("movieTitle")].toString(), QStringLiteral("Heat"));
        QCOMPARE(items.at(1)[QStringLiteral("movieGenre")].toString(), QStringLiteral("Action"));
        QCOMPARE(items.at(0)[QStringLiteral("subtitleFound")].toBool(), true);
        QCOMPARE(items.at(0)[QStringLiteral("downloadedSubtitlePath")].toString(),
                 QDir::homePath() + QStringLiteral("/Subtitles/The.Dark.Knight.2008.720p.srt"));
        QVERIFY(QFile::exists(items.at(1)[QStringLiteral("downloadedSubtitlePath")].toString()));
        // Not identified: still listed, still searched for a subtitle.
        QCOMPARE(items.at(2)[QStringLiteral("movieFoundStatus")].toBool(), false);
        QCOMPARE(items.at(2)[QStringLiteral("displaySubtitleBanner")].toBool(), true);
        QCOMPARE(items.at(2)[QStringLiteral("subtitleFound")].toBool(), false);
    }

    void createMakesTaggedMoviesWithSubtitles()
    {
        QTemporaryDir destination;
        const QStringList files{copy(QStringLiteral("h264-ac3-srt.mkv"), QStringLiteral("The.Dark.Knight.2008.720p.mkv")),
                                copy(QStringLiteral("mpeg4-mp3.avi"), QStringLiteral("Heat.1995.avi"))};
        const CliRunner::Run run = cli(QStringList{QStringLiteral("create"), QStringLiteral("--dest"), destination.path(),
                                        QStringLiteral("--preset"), QStringLiteral("4"), QStringLiteral("--stagger"),
                                        QStringLiteral("0"), QStringLiteral("--json")}
                            + files);
        QVERIFY2(run.exitCode == 0, run.err.constData());
        const QJsonObject report = QJsonDocument::fromJson(run.out).object();
        QCOMPARE(report[QStringLiteral("items")].toArray().size(), 2);
        const QJsonArray results = report[QStringLiteral("results")].toArray();
        QCOMPARE(results.size(), 2);
        QCOMPARE(results.at(0)[QStringLiteral("outcome")].toString(), QStringLiteral("created"));
        QCOMPARE(results.at(0)[QStringLiteral("action")].toString(), QStringLiteral("convert"));

        QProcess ffprobe;
        ffprobe.start(QStringLiteral("ffprobe"),
                      {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-print_format"), QStringLiteral("json"),
                       QStringLiteral("-show_format"), QStringLiteral("-show_streams"),
                       destination.filePath(QStringLiteral("The Dark Knight.mp4"))});
        QVERIFY(ffprobe.waitForFinished(30000));
        const QJsonObject probe = QJsonDocument::fromJson(ffprobe.readAllStandardOutput()).object();
        const QJsonObject tags = probe[QStringLiteral("format")][QStringLiteral("tags")].toObject();
        QCOMPARE(tags[QStringLiteral("title")].toString(), QStringLiteral("The Dark Knight"));
        QCOMPARE(tags[QStringLiteral("genre")].toString(), QStringLiteral("Action & Adventure"));
        QCOMPARE(tags[QStringLiteral("iTunEXTC")].toString(), QStringLiteral("mpaa|PG-13|300|"));
        QCOMPARE(tags[QStringLiteral("media_type")].toString(), QStringLiteral("9"));
        QVERIFY(tags[QStringLiteral("iTunMOVI")].toString().contains(QStringLiteral("Heath Ledger")));
        QStringList codecs;
        for (const QJsonValue &stream : probe[QStringLiteral("streams")].toArray())
            codecs.append(stream[QStringLiteral("codec_name")].toString());
        QCOMPARE(codecs, (QStringList{QStringLiteral("h264"), QStringLiteral("ac3"), QStringLiteral("mov_text"),
                                      QStringLiteral("mjpeg")}));
        // Converted sources are gone, and only the two movies are in the destination.
        QVERIFY(!QFile::exists(m_cli.filePath(files.at(0))));
        QCOMPARE(QDir(destination.path()).entryList(QDir::Files).size(), 2);
    }
};

KINOVELA_TEST_MAIN(TestCli)
#include "tst_cli.moc"
