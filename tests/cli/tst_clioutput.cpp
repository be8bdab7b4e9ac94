#include "support/CliRunner.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

/**
 * What kinovela-cli writes where: quiet by default, -v, -q and --log, one line
 * per movie, and the shape of every --json document.
 */
class TestCliOutput : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;

    static QString s(const char *text) { return QString::fromUtf8(text); }

    QString logPath() const { return m_cli.filePath(s("run.log")); }

    QByteArray log() const
    {
        QFile file(logPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QStringList createArguments(const QString &destination, const QStringList &global) const
    {
        return global + QStringList{s("create"), s("--dest"), destination, s("--preset"), s("3"), s("--stagger"), s("0")};
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_cli.start()); }

    void twoMoviesPrintTwoLines()
    {
        QTemporaryDir destination;
        const QStringList files{m_cli.copy(s("h264-ac3-srt.mkv"), s("The.Dark.Knight.2008.mkv")),
                                m_cli.copy(s("mpeg4-mp3.avi"), s("Heat.1995.avi"))};
        const CliRunner::Run run = m_cli.run(createArguments(destination.path(), {}) + files);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QByteArray());
        const QList<QByteArray> lines = run.errLines();
        QVERIFY2(lines.size() == 2, run.err.constData());
        QVERIFY2(lines.at(0).startsWith("converted  The.Dark.Knight.2008.mkv -> "), lines.at(0).constData());
        // Each line names where the source went.
        QVERIFY2(lines.at(0).contains("/The Dark Knight.mp4 (the source: moved to the Trash: "), lines.at(0).constData());
        QVERIFY2(lines.at(1).startsWith("converted  Heat.1995.avi -> "), lines.at(1).constData());
    }

    void modes_data()
    {
        QTest::addColumn<QStringList>("global");
        QTest::addColumn<bool>("resultShown");
        QTest::addColumn<bool>("diagnosticsShown");
        QTest::addColumn<bool>("logged");

        QTest::newRow("quiet by default") << QStringList{} << true << false << false;
        QTest::newRow("-v") << QStringList{s("-v")} << true << true << false;
        QTest::newRow("--verbose") << QStringList{s("--verbose")} << true << true << false;
        QTest::newRow("-q") << QStringList{s("-q")} << false << false << false;
        QTest::newRow("--quiet") << QStringList{s("--quiet")} << false << false << false;
        QTest::newRow("--log") << QStringList{s("--log"), s("run.log")} << true << false << true;
        QTest::newRow("--log= after the command") << QStringList{} << true << false << true;
    }

    void modes()
    {
        QFETCH(QStringList, global);
        QFETCH(bool, resultShown);
        QFETCH(bool, diagnosticsShown);
        QFETCH(bool, logged);
        QFile::remove(logPath());
        QTemporaryDir destination;
        QStringList arguments = createArguments(destination.path(), global);
        if (logged && global.isEmpty())
            arguments.append(s("--log=run.log"));
        arguments << m_cli.copy(s("mpeg4-mp3.avi"), s("Heat.1995.avi")) << m_cli.copy(s("text.txt"), s("notes.txt"));
        const CliRunner::Run run = m_cli.run(arguments);

        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        // An error is shown in every mode.
        QVERIFY2(run.err.contains("notes.txt: not a movie file (skipped)\n"), run.err.constData());
        QCOMPARE(run.err.contains("converted  Heat.1995.avi -> "), resultShown);
        QCOMPARE(run.err.contains("Got Error: "), diagnosticsShown);
        QCOMPARE(run.err.contains("kinovela-cli " KINOVELA_VERSION ": create"), diagnosticsShown);
        QCOMPARE(QFile::exists(logPath()), logged);
        if (logged) {
            const QByteArray text = log();
            QVERIFY(text.contains("kinovela-cli " KINOVELA_VERSION ": create"));
            QVERIFY(text.contains("Got Error: "));
            QVERIFY(text.contains("converted  Heat.1995.avi -> "));
            QVERIFY(text.contains("notes.txt: not a movie file (skipped)"));
            QVERIFY(!text.contains(m_cli.environment().value(s("KINOVELA_TMDB_API_KEY"), s("7c1e9a04")).toUtf8()));
        }
    }

    void aFailedMovieSaysWhyAndWhereToReadMore()
    {
        QFile::remove(logPath());
        QTemporaryDir destination;
        QProcessEnvironment failing;
        failing.insert(s("KINOVELA_FFMPEG"), s("/bin/false"));
        const QString file = m_cli.copy(s("mpeg4-mp3.avi"), s("Heat.1995.avi"));
        const CliRunner::Run run =
            m_cli.run(createArguments(destination.path(), {s("--log"), logPath()}) << file, failing);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.errLines(),
                 QList<QByteArray>{"failed     Heat.1995.avi: the converter failed (exit code 1) (details in "
                                   + logPath().toUtf8() + ")"});
        QVERIFY(QFile::exists(m_cli.filePath(file))); // kept

        const CliRunner::Run quiet = m_cli.run(createArguments(destination.path(), {s("-q")}) << file, failing);
        QCOMPARE(quiet.errLines(), QList<QByteArray>{"failed     Heat.1995.avi: the converter failed (exit code 1)"});
    }

    void usageErrorsOfTheGlobalOptions_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("-v and -q") << QStringList{s("-v"), s("probe"), s("-q"), s("x")} << QByteArray("cannot be used together");
        QTest::newRow("--log without a file") << QStringList{s("probe"), s("x"), s("--log")} << QByteArray("'--log' needs a value");
        QTest::newRow("unwritable log") << QStringList{s("--log"), s("/nonexistent/dir/run.log"), s("probe"), s("x")}
                                        << QByteArray("cannot write the log file /nonexistent/dir/run.log");
        QTest::newRow("unknown option") << QStringList{s("probe"), s("--frobnicate"), s("x")} << QByteArray("unknown option");
    }

    void usageErrorsOfTheGlobalOptions()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, message);
        const CliRunner::Run run = m_cli.run(arguments);
        QCOMPARE(run.exitCode, 2);
        QVERIFY2(run.err.startsWith("kinovela-cli: ") && run.err.contains(message), run.err.constData());
    }

    void jsonShapes_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("keys"); // of the first element, or of the document when it is an object

        const QString heat = m_cli.copy(s("mpeg4-mp3.avi"), s("Heat.1995.avi"));
        QTest::newRow("probe") << QStringList{s("probe"), heat}
                               << QStringList{s("fileFullPath"), s("fileSize"), s("duration"), s("videoWidth"),
                                              s("tracksInfo"), s("metadata"), s("acceptable")};
        QTest::newRow("hash") << QStringList{s("hash"), heat} << QStringList{s("file"), s("hash"), s("size")};
        QTest::newRow("identify") << QStringList{s("identify"), s("Heat.1995")}
                                  << QStringList{s("movieTitle"), s("movieTMDBID"), s("imdbID"), s("moviePoster")};
        QTest::newRow("search") << QStringList{s("search"), s("heat")} << QStringList{s("movieTitle"), s("movieTMDBID")};
        QTest::newRow("import") << QStringList{s("import"), s("--stagger"), s("0"), heat}
                                << QStringList{s("serialNumber"), s("fileName"), s("movieTitle"), s("tracksInfo")};
        QTest::newRow("create") << QStringList{s("create"), s("--dest"), s("."), s("--preset"), s("1"), s("--stagger"),
                                               s("0"), m_cli.copy(s("h264-aac.mp4"), s("Alien.1979.mp4"))}
                                << QStringList{s("items"), s("results")};
    }

    void jsonShapes()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, keys);
        const CliRunner::Run run = m_cli.run(arguments << s("--json"));
        QCOMPARE(run.exitCode, 0);
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(run.out, &error);
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
        const QJsonObject object = document.isArray() ? document.array().at(0).toObject() : document.object();
        for (const QString &key : keys)
            QVERIFY2(object.contains(key), qPrintable(key));
        if (!document.isObject())
            return;
        // create: one result per item, tagged in place with preset 1.
        const QJsonObject result = object[s("results")].toArray().at(0).toObject();
        QCOMPARE(QStringList(result.keys()), (QStringList{s("action"), s("movieTitle"), s("notes"), s("outcome"),
                                                          s("outputPath"), s("source"), s("sourceFate"), s("verdict")}));
        QCOMPARE(result[s("verdict")].toString(), s("plays on Apple TV"));
        QCOMPARE(result[s("action")].toString(), s("tag"));
        QCOMPARE(result[s("outcome")].toString(), s("created"));
        QCOMPARE(run.errLines(), QList<QByteArray>{"tagged     Alien.1979.mp4"});
    }
};

KINOVELA_TEST_MAIN(TestCliOutput)
#include "tst_clioutput.moc"
