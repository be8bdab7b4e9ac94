#include "app/MatchConfidence.h"
#include "media/NameClues.h"
#include "support/TestEnvironment.h"

using MatchConfidence::Source;

Q_DECLARE_METATYPE(MatchConfidence::Source)

// What a file name says about its movie, and how sure a match is from it.
class TestMatchConfidence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesGiveTheirYearAndTitle_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("movieTitle");
        QTest::addColumn<int>("year");
        QTest::addColumn<QString>("title");
        QTest::newRow("scene name") << "The.Dark.Knight.2008.720p.BluRay.x264" << "" << 2008 << "the dark knight";
        QTest::newRow("year in brackets") << "Heat (1995)" << "" << 1995 << "heat";
        QTest::newRow("title starting with a year") << "2001.A.Space.Odyssey.1968" << "" << 1968 << "2001 a space odyssey";
        QTest::newRow("title that is a year") << "1917" << "" << 0 << "1917";
        QTest::newRow("no year, release tags") << "Inception.1080p.WEB-DL" << "" << 0 << "inception";
        QTest::newRow("resolution is no year") << "Alien.1920x1080" << "" << 0 << "alien 1920x1080";
        QTest::newRow("identifiers are not title") << "Heat.{tmdb-949}.tt0113277" << "" << 0 << "heat";
        QTest::newRow("underscores, apostrophe") << "Ocean's_Eleven_2001" << "" << 2001 << "ocean s eleven";
        QTest::newRow("a year of the title") << "Blade.Runner.2049.2017.1080p" << "Blade Runner 2049" << 2017
                                             << "blade runner 2049";
        QTest::newRow("only a year of the title") << "Blade.Runner.2049" << "Blade Runner 2049" << 0 << "blade runner 2049";
    }

    void namesGiveTheirYearAndTitle()
    {
        QFETCH(QString, name);
        QFETCH(QString, movieTitle);
        QFETCH(int, year);
        QFETCH(QString, title);
        QCOMPARE(NameClues::yearIn(name, movieTitle), year);
        QCOMPARE(NameClues::titleIn(name, movieTitle), title);
    }

    void identifiersInNamesAndNfoFiles()
    {
        QCOMPARE(NameClues::identifierIn(QStringLiteral("Heat {tmdb-949}")).tmdbID, 949);
        QCOMPARE(NameClues::identifierIn(QStringLiteral("Heat [tmdbid=949]")).tmdbID, 949);
        QCOMPARE(NameClues::identifierIn(QStringLiteral("Heat.tt0113277.mkv")).imdbID, QStringLiteral("tt0113277"));
        QCOMPARE(NameClues::identifierIn(QStringLiteral("{imdb-tt10872600}")).imdbID, QStringLiteral("tt10872600"));
        // A TMDb id wins over an IMDb number beside it.
        const NameClues::Identifier both = NameClues::identifierIn(QStringLiteral("tt0113277 {tmdb-949}"));
        QCOMPARE(both.tmdbID, 949);
        QVERIFY(both.imdbID.isEmpty());
        QCOMPARE(both.describe(), QStringLiteral("TMDb id 949"));
        // Not standing apart, or too short: no identifier.
        QVERIFY(NameClues::identifierIn(QStringLiteral("Scott0113277")).isEmpty());
        QVERIFY(NameClues::identifierIn(QStringLiteral("tt123")).isEmpty());
        QVERIFY(NameClues::identifierIn(QStringLiteral("Heat tmdb-949")).isEmpty());

        const QString kodi = QStringLiteral("<movie><title>Heat</title><uniqueid type=\"imdb\">tt0113277</uniqueid>"
                                            "<uniqueid type=\"tmdb\" default=\"true\">949</uniqueid></movie>");
        QCOMPARE(NameClues::identifierInNfo(kodi).tmdbID, 949);
        QCOMPARE(NameClues::identifierInNfo(QStringLiteral("https://www.imdb.com/title/tt0113277/")).imdbID,
                 QStringLiteral("tt0113277"));
        QCOMPARE(NameClues::identifierInNfo(QStringLiteral("https://www.themoviedb.org/movie/949-heat")).tmdbID, 949);
        QVERIFY(NameClues::identifierInNfo(QStringLiteral("<movie><title>Heat</title></movie>")).isEmpty());
    }

    void confidenceFromTheSignals_data()
    {
        QTest::addColumn<MatchConfidence::Source>("source");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("releaseYear");
        QTest::addColumn<double>("duration");
        QTest::addColumn<int>("runtime");
        QTest::addColumn<double>("confidence");
        QTest::addColumn<bool>("needsReview");
        QTest::addColumn<QString>("reason");

        QTest::newRow("exact title, no year") << Source::ExactTitle << "Inception" << "Inception" << 2010 << 0.0 << 0
                                              << 0.9 << false << "title matched exactly";
        QTest::newRow("closest, year and duration agree")
            << Source::ClosestTitle << "The.Matrix.1999.1080p" << "The Matrix" << 1999 << 8161.0 << 136 << 0.95 << false
            << "duration 2:16:01 is within 1 minute of the runtime 136 min";
        QTest::newRow("year one off") << Source::ClosestTitle << "Heat.1996" << "Heat" << 1995 << 0.0 << 0 << 0.95
                                      << false << "year 1996 in the name is within a year of the release year 1995";
        QTest::newRow("year disagrees") << Source::ClosestTitle << "Heat.2003" << "Heat" << 1995 << 0.0 << 0 << 0.43
                                        << true << "year 2003 in the name differs from the release year 1995";
        QTest::newRow("exact title, year disagrees") << Source::ExactTitle << "Heat.2003" << "Heat" << 1995 << 0.0 << 0
                                                     << 0.45 << true << "title matched exactly";
        QTest::newRow("duration far from runtime")
            << Source::ClosestTitle << "Heat.1995" << "Heat" << 1995 << 3.0 << 170 << 0.43 << true
            << "duration 0:00:03 is far from the runtime 170 min";
        QTest::newRow("duration a little off")
            << Source::ClosestTitle << "Heat.1995" << "Heat" << 1995 << 9600.0 << 170 << 0.76 << false
            << "duration 2:40:00 is 10 minutes off the runtime 170 min";
        QTest::newRow("closest title far from the name")
            << Source::ClosestTitle << "Heath.Ledger.Interview.2008" << "The Dark Knight" << 2008 << 0.0 << 0 << 0.22
            << true << "closest title \u201cThe Dark Knight\u201d differs from \u201cheath ledger interview\u201d in the name by 17 of 22 characters";
        QTest::newRow("identifier") << Source::Identifier << "Unknown.Rip" << "Heat" << 1995 << 0.0 << 0 << 0.9 << false
                                    << "IMDb number tt0113277 in the folder name";
        QTest::newRow("earlier choice against the name")
            << Source::Remembered << "Heat.2003" << "Alien" << 1979 << 3.0 << 117 << 1.0 << false
            << "your earlier choice for this file";
    }

    void confidenceFromTheSignals()
    {
        QFETCH(MatchConfidence::Source, source);
        QFETCH(QString, name);
        QFETCH(QString, title);
        QFETCH(int, releaseYear);
        QFETCH(double, duration);
        QFETCH(int, runtime);
        QFETCH(double, confidence);
        QFETCH(bool, needsReview);
        QFETCH(QString, reason);

        MatchConfidence::Signals signals;
        signals.source = source;
        signals.nameTitle = NameClues::titleIn(name);
        signals.movieTitle = title;
        signals.nameYear = NameClues::yearIn(name);
        signals.releaseYear = releaseYear;
        signals.durationSeconds = duration;
        signals.runtimeMinutes = runtime;
        signals.identifierReason = QStringLiteral("IMDb number tt0113277 in the folder name");
        const MatchConfidence::Result result = MatchConfidence::score(signals);
        QCOMPARE(result.confidence, confidence);
        QVERIFY2(result.reasons.contains(reason), qPrintable(result.reasons.join(QStringLiteral(" | "))));

        MovieItem item;
        MatchConfidence::apply(item, result, 0.6);
        QCOMPARE(item.value(ItemKey::needsReview).toBool(), needsReview);
        QCOMPARE(item.value(ItemKey::matchReasons).toStringList(), result.reasons);
    }
};

KINOVELA_TEST_MAIN(TestMatchConfidence)
#include "tst_matchconfidence.moc"
