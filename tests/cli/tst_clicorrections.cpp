#include "support/CliRunner.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

// Match confidence and remembered corrections from the command line, run from outside against kinovela-standin.
class TestCliCorrections : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;

    CliRunner::Run cli(const QStringList &arguments) { return m_cli.run(arguments); }

    QJsonObject importOne(const QString &file)
    {
        const CliRunner::Run run = cli({QStringLiteral("import"), QStringLiteral("--stagger"), QStringLiteral("0"),
                                        QStringLiteral("--json"), file});
        return QJsonDocument::fromJson(run.out).array().at(0).toObject();
    }

    static QStringList reasons(const QJsonObject &item)
    {
        QStringList list;
        for (const QJsonValue &reason : item[QStringLiteral("matchReasons")].toArray())
            list.append(reason.toString());
        return list;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_cli.start()); }

    void identifyAndImportMarkTheMatchesToReview()
    {
        const CliRunner::Run identify =
            cli({QStringLiteral("identify"), QStringLiteral("--json"), QStringLiteral("Heat.2003"), QStringLiteral("Heat.1995")});
        QCOMPARE(identify.exitCode, 0);
        const QJsonArray records = QJsonDocument::fromJson(identify.out).array();
        QCOMPARE(records.at(0)[QStringLiteral("needsReview")].toBool(), true);
        QVERIFY(records.at(0)[QStringLiteral("matchConfidence")].toDouble() < 0.6);
        QVERIFY(reasons(records.at(0).toObject()).contains(QStringLiteral("year 2003 in the name differs from the release year 1995")));
        QCOMPARE(records.at(1)[QStringLiteral("needsReview")].toBool(), false);
        QVERIFY(records.at(1)[QStringLiteral("matchConfidence")].toDouble() >= 0.9);
        // Standard error names the one to check, whatever standard output carries.
        QVERIFY(identify.err.contains("Heat.2003: needs review: matched to Heat (1995)"));
        QVERIFY(!identify.err.contains("Heat.1995: needs review"));

        const QString file = m_cli.copy(QStringLiteral("h264-aac.mp4"), QStringLiteral("Heat.2003.mp4"));
        const CliRunner::Run text = cli({QStringLiteral("import"), QStringLiteral("--stagger"), QStringLiteral("0"), file});
        QCOMPARE(text.exitCode, 0);
        QVERIFY2(text.out.contains("    NEEDS REVIEW, match 0.43: "), text.out.constData());
        QVERIFY(text.err.contains("Heat.2003.mp4: needs review"));
    }

    void aChosenMovieIsRememberedUntilForgotten()
    {
        const QString file = m_cli.copy(QStringLiteral("h264-aac.mp4"), QStringLiteral("Heat.2003.mp4"));
        QCOMPARE(importOne(file)[QStringLiteral("movieTitle")].toString(), QStringLiteral("Heat"));

        const CliRunner::Run chose = cli({QStringLiteral("choose"), QStringLiteral("--tmdb"), QStringLiteral("348"), file});
        QCOMPARE(chose.exitCode, 0);
        QCOMPARE(chose.out, QByteArray("Heat.2003.mp4: Alien (1979), TMDb 348, remembered\n"));

        // Moved to another folder, the same file is still known.
        QDir(m_cli.folder()).mkdir(QStringLiteral("moved"));
        const QString moved = QStringLiteral("moved/Heat.2003.mp4");
        QVERIFY(QFile::rename(m_cli.filePath(file), m_cli.filePath(moved)));
        const QJsonObject remembered = importOne(moved);
        QCOMPARE(remembered[QStringLiteral("movieTitle")].toString(), QStringLiteral("Alien"));
        QCOMPARE(remembered[QStringLiteral("movieGenre")].toString(), QStringLiteral("Horror"));
        QCOMPARE(reasons(remembered).value(0), QStringLiteral("your earlier choice for this file"));
        QCOMPARE(remembered[QStringLiteral("needsReview")].toBool(), false);

        const QString other = m_cli.copy(QStringLiteral("mpeg4-mp3.avi"), QStringLiteral("Heat.1995.avi"));
        const CliRunner::Run forgot = cli({QStringLiteral("forget"), moved, other});
        QCOMPARE(forgot.exitCode, 0);
        QCOMPARE(forgot.out, QByteArray("moved/Heat.2003.mp4: forgot Alien (1979), TMDb 348\n"
                                        "Heat.1995.avi: nothing was remembered\n"));
        QCOMPARE(importOne(moved)[QStringLiteral("movieTitle")].toString(), QStringLiteral("Heat"));
    }

    void chooseRefusesWhatItCannotKeep()
    {
        const QString file = m_cli.copy(QStringLiteral("h264-aac.mp4"), QStringLiteral("Some.Film.mp4"));
        const CliRunner::Run unknown = cli({QStringLiteral("choose"), QStringLiteral("--tmdb"), QStringLiteral("999999"), file});
        QCOMPARE(unknown.exitCode, 1);
        QVERIFY2(unknown.err.contains("TMDb has no movie 999999"), unknown.err.constData());
        QCOMPARE(cli({QStringLiteral("choose"), file}).exitCode, 2);
        QCOMPARE(cli({QStringLiteral("choose"), QStringLiteral("--tmdb"), QStringLiteral("abc"), file}).exitCode, 2);
        const QString tiny = m_cli.copy(QStringLiteral("text.txt"), QStringLiteral("tiny.mp4"));
        const CliRunner::Run small = cli({QStringLiteral("choose"), QStringLiteral("--tmdb"), QStringLiteral("348"), tiny});
        QCOMPARE(small.exitCode, 1);
        QVERIFY(small.err.contains("shorter than 64 KiB"));

        const CliRunner::Run json =
            cli({QStringLiteral("choose"), QStringLiteral("--json"), QStringLiteral("--tmdb"), QStringLiteral("949"), file});
        QCOMPARE(QJsonDocument::fromJson(json.out).object()[QStringLiteral("movieTitle")].toString(), QStringLiteral("Heat"));
        const CliRunner::Run forgot = cli({QStringLiteral("forget"), QStringLiteral("--json"), file});
        QCOMPARE(QJsonDocument::fromJson(forgot.out).array().at(0)[QStringLiteral("forgotten")].toBool(), true);
    }
};

KINOVELA_TEST_MAIN(TestCliCorrections)
#include "tst_clicorrections.moc"
