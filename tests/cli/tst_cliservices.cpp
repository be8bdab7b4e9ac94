#include "support/CliRunner.h"
#include "standin/TmdbStandin.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

/** `doctor`, the lookup cache across runs and what reaches the terminal, from outside against kinovela-standin. */
class TestCliServices : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;

    static QProcessEnvironment with(const QString &name, const QString &value)
    {
        QProcessEnvironment environment;
        environment.insert(name, value);
        return environment;
    }

    static QList<QByteArray> lines(const QByteArray &text)
    {
        QList<QByteArray> result = text.split('\n');
        result.removeAll(QByteArray());
        return result;
    }

    static QByteArray lineAbout(const QByteArray &text, const QByteArray &name)
    {
        for (const QByteArray &line : lines(text)) {
            if (line.mid(9).startsWith(QByteArray(name + ':')))
                return line;
        }
        return {};
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_cli.start()); }

    void doctorTellsWhatWorks()
    {
        const CliRunner::Run run = m_cli.run({QStringLiteral("doctor")});
        QVERIFY2(run.exitCode == 0, run.out.constData());
        // One line per check: three for the programs, three services, three folders.
        QCOMPARE(lines(run.out).size(), 9);
        QCOMPARE(lineAbout(run.out, "TMDb"), QByteArray("ok       TMDb: Key accepted"));
        QVERIFY(lineAbout(run.out, "ffmpeg encoders").startsWith("ok "));
        QVERIFY(lineAbout(run.out, "Store genre (iTunes)").startsWith("ok "));
        QVERIFY(lineAbout(run.out, "cache folder").startsWith("ok "));

        const CliRunner::Run token = m_cli.run({QStringLiteral("doctor"), QStringLiteral("--json")},
                                               with(QStringLiteral("KINOVELA_TMDB_API_KEY"),
                                                    QString::fromLatin1(TmdbStandin::readAccessToken())));
        QCOMPARE(token.exitCode, 0);
        const QJsonArray checks = QJsonDocument::fromJson(token.out).array();
        QCOMPARE(checks.size(), 9);
        for (const QJsonValue &check : checks) {
            if (check[QStringLiteral("name")] == QStringLiteral("TMDb")) {
                QCOMPARE(check[QStringLiteral("state")].toString(), QStringLiteral("ok"));
                QCOMPARE(check[QStringLiteral("text")].toString(), QStringLiteral("Read access token accepted"));
            }
        }
    }

    void doctorTellsWhatIsBrokenAndWhatToDo()
    {
        const CliRunner::Run wrongKey = m_cli.run({QStringLiteral("doctor")}, with(QStringLiteral("KINOVELA_TMDB_API_KEY"), QStringLiteral("0123456789abcdef")));
        QCOMPARE(wrongKey.exitCode, 1);
        QCOMPARE(lineAbout(wrongKey.out, "TMDb"),
                 QByteArray("FAILED   TMDb: The service refused the key (401): check it at themoviedb.org/settings/api"));
        QVERIFY(!wrongKey.out.contains("0123456789abcdef") && !wrongKey.err.contains("0123456789abcdef"));

        const CliRunner::Run unreachable = m_cli.run({QStringLiteral("doctor")}, with(QStringLiteral("KINOVELA_TMDB_API_URL"), QStringLiteral("http://127.0.0.1:9")));
        QCOMPARE(unreachable.exitCode, 1);
        QVERIFY(lineAbout(unreachable.out, "TMDb").startsWith("FAILED   TMDb: Could not reach 127.0.0.1: "));

        // No ffmpeg anywhere: both programs are named, with what to install.
        QTemporaryDir emptyPath;
        QProcessEnvironment noTools = with(QStringLiteral("PATH"), emptyPath.path());
        noTools.insert(QStringLiteral("KINOVELA_FFPROBE"), QString());
        noTools.insert(QStringLiteral("KINOVELA_FFMPEG"), QString());
        const CliRunner::Run tools = m_cli.run({QStringLiteral("doctor")}, noTools);
        QCOMPARE(tools.exitCode, 1);
        QVERIFY(lineAbout(tools.out, "ffprobe").startsWith("FAILED   ffprobe: not found: install ffmpeg"));
        QVERIFY(lineAbout(tools.out, "ffmpeg").startsWith("FAILED   ffmpeg: not found: install ffmpeg"));
        QCOMPARE(lineAbout(tools.out, "TMDb"), QByteArray("ok       TMDb: Key accepted"));
    }

    void titlesCannotSteerTheTerminal()
    {
        const CliRunner::Run text = m_cli.run({QStringLiteral("identify"), QStringLiteral("-v"), QStringLiteral("Zzyzx.Road")});
        QCOMPARE(text.exitCode, 0);
        QVERIFY(text.out.contains("Zzyzx"));
        QVERIFY(text.out.contains("pwned"));
        for (const QByteArray &output : {text.out, text.err}) {
            QVERIFY(!output.contains('\x1b'));
            QVERIFY(!output.contains('\x07'));
        }
        // JSON keeps the title exactly, escaped as JSON escapes it.
        const CliRunner::Run json = m_cli.run({QStringLiteral("identify"), QStringLiteral("--json"), QStringLiteral("Zzyzx.Road")});
        QVERIFY(!json.out.contains('\x1b'));
        QCOMPARE(QJsonDocument::fromJson(json.out).array().at(0)[QStringLiteral("movieTitle")].toString(),
                 QStringLiteral("Zzyzx\x1b]0;pwned\x07\x1b[2J Road"));
    }

    void secondRunTakesTheCacheUnlessRefreshed()
    {
        QCOMPARE(m_cli.run({QStringLiteral("identify"), QStringLiteral("Alien.1979")}).exitCode, 0);
        // The same lookup asks TMDb nothing: a key it would refuse makes no difference...
        const QProcessEnvironment wrongKey = with(QStringLiteral("KINOVELA_TMDB_API_KEY"), QStringLiteral("0123456789abcdef"));
        const CliRunner::Run cached = m_cli.run({QStringLiteral("identify"), QStringLiteral("Alien.1979")}, wrongKey);
        QCOMPARE(cached.exitCode, 0);
        QVERIFY(cached.out.contains("    Alien (May 25, 1979)") || cached.out.contains("    Alien ("));
        // ...until --refresh asks again, and the refusal is told as such, never as "not found".
        const CliRunner::Run refreshed =
            m_cli.run({QStringLiteral("identify"), QStringLiteral("--refresh"), QStringLiteral("Alien.1979")}, wrongKey);
        QCOMPARE(refreshed.exitCode, 1);
        QVERIFY(refreshed.out.contains("lookup failed: TMDb refused the API key"));
        QVERIFY(!refreshed.out.contains("not found"));

        // An import says it in its list and, once, on standard error.
        m_cli.copy(QStringLiteral("h264-aac.mp4"), QStringLiteral("Heat.1995.mp4"));
        const CliRunner::Run import = m_cli.run({QStringLiteral("import"), QStringLiteral("--stagger"), QStringLiteral("0"),
                                                 QStringLiteral("--refresh"), QStringLiteral("Heat.1995.mp4")},
                                                wrongKey);
        QVERIFY(import.out.contains("    movie: lookup failed: TMDb refused the API key."));
        QCOMPARE(import.err.count("TMDb refused the API key."), 1);
    }
};

KINOVELA_TEST_MAIN(TestCliServices)
#include "tst_cliservices.moc"
