#include "base/Diagnostics.h"
#include "media/Levenshtein.h"
#include "media/Utils.h"
#include "support/TestEnvironment.h"

class TestUtils : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clockForm_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << QStringLiteral("00:00:00.00");
        QTest::newRow("half") << 3599.5 << QStringLiteral("00:59:59.50");
        QTest::newRow("ten hours") << 36000.0 << QStringLiteral("10:00:00.00");
        QTest::newRow("hundred hours") << 360000.0 << QStringLiteral("100:00:00.00");
        QTest::newRow("rounded fraction") << 5423.456 << QStringLiteral("01:30:23.46");
        QTest::newRow("fraction from rounding") << 59.999 << QStringLiteral("00:00:59.00");
    }

    void clockForm()
    {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(Utils::getTimeStringFromSeconds(seconds), text);
    }

    void spokenForm_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("under a minute") << 59.0 << QString();
        QTest::newRow("one minute") << 60.0 << QStringLiteral("1 Min");
        QTest::newRow("hour and minute") << 3660.0 << QStringLiteral("1 Hr 1 Min");
        QTest::newRow("hours and minute") << 7260.0 << QStringLiteral("2 Hrs 1 Min");
        QTest::newRow("exactly one hour") << 3600.0 << QStringLiteral("1 Hr ");
        QTest::newRow("exactly two hours") << 7200.0 << QStringLiteral("2 Hrs ");
        QTest::newRow("film") << 5400.0 << QStringLiteral("1 Hr 30 Min");
    }

    void spokenForm()
    {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(Utils::getBeautifiedDurationFromSeconds(seconds), text);
    }

    void timeStrings_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("seconds");
        QTest::newRow("half") << QStringLiteral("00:01:30.50") << 90.5;
        QTest::newRow("hundredths") << QStringLiteral("01:00:00.05") << 3600.05;
        QTest::newRow("single digit fraction") << QStringLiteral("00:00:01.5") << 1.05;
        QTest::newRow("garbage") << QStringLiteral("N/A") << 0.0;
        QTest::newRow("empty") << QString() << 0.0;
    }

    void timeStrings()
    {
        QFETCH(QString, text);
        QFETCH(double, seconds);
        QVERIFY(qFuzzyCompare(1.0 + Utils::getSecondsFromTimeString(text), 1.0 + seconds));
    }

    void regexMatches()
    {
        const QString pattern = QStringLiteral("([0-9][0-9]):([0-9][0-9]):([0-9][0-9]).([0-9][0-9])");
        QCOMPARE(Utils::getMatchesForRegex(pattern, QStringLiteral("frame= 10 time=00:00:04.00 bitrate=1")),
                 QStringList{QStringLiteral("00:00:04.00")});
        QCOMPARE(Utils::getMatchesForRegex(pattern, QStringLiteral("no time here")), QStringList());
        Diagnostics::startCapture();
        QCOMPARE(Utils::getMatchesForRegex(QStringLiteral("("), QStringLiteral("text")), QStringList());
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines.constFirst().startsWith(QStringLiteral("invalid regex: ")));
    }

    void editDistance_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<qint64>("distance");
        QTest::newRow("kitten") << QStringLiteral("kitten") << QStringLiteral("sitting") << qint64(3);
        QTest::newRow("flaw") << QStringLiteral("flaw") << QStringLiteral("lawn") << qint64(2);
        QTest::newRow("same") << QStringLiteral("Heat") << QStringLiteral("Heat") << qint64(0);
        QTest::newRow("case") << QStringLiteral("Alien") << QStringLiteral("alien") << qint64(1);
        QTest::newRow("empty first") << QString() << QStringLiteral("Heat") << qint64(4);
        QTest::newRow("empty second") << QStringLiteral("Heat") << QString() << qint64(4);
        QTest::newRow("both empty") << QString() << QString() << qint64(0);
        QTest::newRow("combining accent") << QStringLiteral("Am\u00e9lie") << QStringLiteral("Ame\u0301lie") << qint64(2);
        QTest::newRow("title and year") << QStringLiteral("The Dark Knight2008") << QStringLiteral("The.Dark.Knight.2008")
                                        << qint64(3);
        QTest::newRow("longer second") << QStringLiteral("ab") << QStringLiteral("xaxbx") << qint64(3);
        // A hostile answer's three-megabyte title costs one edit per character past the compared length.
        QTest::newRow("huge title") << QString(3'000'000, QLatin1Char('a')) << QStringLiteral("aaa")
                                    << qint64(3'000'000 - 3);
    }

    void editDistance()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(qint64, distance);
        QCOMPARE(Levenshtein::getDistanceBetweenStrings(a, b), distance);
    }
};

KINOVELA_TEST_MAIN(TestUtils)
#include "tst_utils.moc"
