#include "app/AppCore.h"
#include "app/Corrections.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "base/UserSettings.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "standin/TmdbStandin.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSettings>
#include <QSignalSpy>

// Files imported as the window and the command line import them: which movie each one gets, how sure the match
// is, and what a person chose for a file before.
class TestIdentifyFiles : public QObject
{
    Q_OBJECT

private:
    StandinServer *m_server = nullptr;
    QTemporaryDir m_files;

    /** A copy of a generated medium at @p relative (folders made as needed). */
    QString place(const QString &relative, const QString &media = QStringLiteral("h264-aac.mp4"))
    {
        const QString path = m_files.filePath(relative);
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile::remove(path);
        if (!QFile::copy(TestEnvironment::media(media), path))
            qWarning("could not copy %s", qPrintable(media));
        return path;
    }

    static void write(const QString &path, const QByteArray &text)
    {
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(text);
    }

    /** The items of one import of @p paths, by file name. */
    QHash<QString, MovieItem> import(const QStringList &paths)
    {
        AppCore core;
        core.applicationDidFinishLaunching();
        core.importer()->setStagger(0);
        QSignalSpy finished(&core, &AppCore::importFinished);
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls.append(QUrl::fromLocalFile(path));
        core.importFiles(urls);
        if (!finished.wait(30000))
            qWarning("the import did not finish");
        QHash<QString, MovieItem> items;
        for (const MovieItem &item : core.list()->items())
            items.insert(item.value(ItemKey::fileName).toString(), item);
        return items;
    }

    static QString title(const MovieItem &item) { return item.value(ItemKey::movieTitle).toString(); }
    static QStringList reasons(const MovieItem &item) { return item.value(ItemKey::matchReasons).toStringList(); }
    static bool needsReview(const MovieItem &item) { return item.value(ItemKey::needsReview).toBool(); }

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
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).clear();
        UserSettings::storeConversionOption(Preset::TagAndMove);
        TmdbStandin::setRuntimeMinutes(0);
        QFile::remove(Corrections::storePath());
        m_server->clearRequests();
    }

    void theYearAndTheDurationDecideTheReview()
    {
        const QHash<QString, MovieItem> items =
            import({place(QStringLiteral("Heat.1995.mp4")), place(QStringLiteral("Heat.2003.avi"), QStringLiteral("mpeg4-mp3.avi")),
                    place(QStringLiteral("Some.Home.Video.mp4"))});
        const MovieItem agreeing = items.value(QStringLiteral("Heat.1995.mp4"));
        QCOMPARE(title(agreeing), QStringLiteral("Heat"));
        QCOMPARE(needsReview(agreeing), false);
        QVERIFY(agreeing.value(ItemKey::matchConfidence).toDouble() >= 0.9);
        QVERIFY(reasons(agreeing).contains(QStringLiteral("year 1995 in the name matches the release year")));

        // The name still chooses the movie; the year that disagrees only asks for a look.
        const MovieItem disagreeing = items.value(QStringLiteral("Heat.2003.avi"));
        QCOMPARE(title(disagreeing), QStringLiteral("Heat"));
        QCOMPARE(needsReview(disagreeing), true);
        QVERIFY(reasons(disagreeing).contains(QStringLiteral("year 2003 in the name differs from the release year 1995")));

        // A movie that was not found has no confidence: it shows as not identified instead.
        QVERIFY(!items.value(QStringLiteral("Some.Home.Video.mp4")).contains(ItemKey::matchConfidence));

        // The 3-second file against a two-hour runtime, then against a one-minute one.
        TmdbStandin::setRuntimeMinutes(120);
        TestEnvironment::forgetLookups(); // the details answers are kept on disk
        const MovieItem tooShort = import({place(QStringLiteral("Heat.1995.mp4"))}).value(QStringLiteral("Heat.1995.mp4"));
        QCOMPARE(needsReview(tooShort), true);
        QVERIFY(reasons(tooShort).contains(QStringLiteral("duration 0:00:03 is far from the runtime 120 min")));
        TmdbStandin::setRuntimeMinutes(1);
        TestEnvironment::forgetLookups();
        const MovieItem fitting = import({place(QStringLiteral("Heat.1995.mp4"))}).value(QStringLiteral("Heat.1995.mp4"));
        QCOMPARE(needsReview(fitting), false);
        QVERIFY(reasons(fitting).contains(QStringLiteral("duration 0:00:03 is within 1 minute of the runtime 1 min")));

        // The threshold is the person's: at 0.3 the disagreeing year passes.
        UserSettings::storeReviewThreshold(0.3);
        QCOMPARE(needsReview(import({place(QStringLiteral("Heat.2003.mp4"))}).value(QStringLiteral("Heat.2003.mp4"))), false);
    }

    void anIdentifierBesideTheFileWinsOverTheName()
    {
        const QString inFolder = place(QStringLiteral("Heat (1995) tt0113277/Inception.mp4"));
        const QString inName = place(QStringLiteral("Alien {tmdb-27205}.mp4"));
        const QString withNfo = place(QStringLiteral("rips/Some.Rip.mp4"));
        write(m_files.filePath(QStringLiteral("rips/Some.Rip.NFO")), "<movie><tmdbid>348</tmdbid></movie>\n");
        const QString unknown = place(QStringLiteral("Heat.1995.tt0000001.mp4"));
        const QHash<QString, MovieItem> items = import({inFolder, inName, withNfo, unknown});

        const MovieItem heat = items.value(QStringLiteral("Inception.mp4"));
        QCOMPARE(title(heat), QStringLiteral("Heat"));
        QVERIFY(reasons(heat).contains(QStringLiteral("IMDb number tt0113277 in the folder name")));
        QVERIFY(reasons(heat).contains(QStringLiteral("year 1995 in the name matches the release year")));
        QCOMPARE(needsReview(heat), false);

        QCOMPARE(title(items.value(QStringLiteral("Alien {tmdb-27205}.mp4"))), QStringLiteral("Inception"));
        QVERIFY(reasons(items.value(QStringLiteral("Alien {tmdb-27205}.mp4"))).contains(QStringLiteral("TMDb id 27205 in the file name")));
        const MovieItem alien = items.value(QStringLiteral("Some.Rip.mp4"));
        QCOMPARE(title(alien), QStringLiteral("Alien"));
        QCOMPARE(alien.value(ItemKey::imdbID).toString(), QStringLiteral("tt0078748"));
        QVERIFY(reasons(alien).contains(QStringLiteral("TMDb id 348 in Some.Rip.NFO")));

        // An IMDb number TMDb does not know: the name decides, and the reasons say why.
        const MovieItem byName = items.value(QStringLiteral("Heat.1995.tt0000001.mp4"));
        QCOMPARE(title(byName), QStringLiteral("Heat"));
        QVERIFY(reasons(byName).contains(QStringLiteral("IMDb number tt0000001 in the file name is not known to TMDb")));
        QCOMPARE(m_server->requests(QStringLiteral("find")).size(), 2);
    }

    void aRememberedChoiceIsTakenWithoutSearching()
    {
        const QString path = place(QStringLiteral("Heat.2003.mp4"));
        QVERIFY(Corrections::rememberMovie(path, 348, QStringLiteral("Alien"), QStringLiteral("1979")));

        // Renamed and moved, the file is still known by its hash.
        const QString moved = m_files.filePath(QStringLiteral("elsewhere/Heat.mp4"));
        QDir().mkpath(QFileInfo(moved).absolutePath());
        QVERIFY(QFile::rename(path, moved));
        const MovieItem remembered = import({moved}).value(QStringLiteral("Heat.mp4"));
        QCOMPARE(title(remembered), QStringLiteral("Alien"));
        QCOMPARE(remembered.value(ItemKey::movieGenre).toString(), QStringLiteral("Horror"));
        QCOMPARE(reasons(remembered).constFirst(), QStringLiteral("your earlier choice for this file"));
        QCOMPARE(remembered.value(ItemKey::matchConfidence).toDouble(), 1.0);
        QCOMPARE(m_server->requests(QStringLiteral("search")).size(), 0);

        const Outcome<bool> forgotten = Corrections::forget(moved);
        QVERIFY(forgotten && *forgotten);
        QCOMPARE(title(import({moved}).value(QStringLiteral("Heat.mp4"))), QStringLiteral("Heat"));
        const Outcome<bool> again = Corrections::forget(moved);
        QVERIFY(again && !*again);

        // A store that cannot be read is kept aside, not overwritten, and the memories start afresh.
        write(Corrections::storePath(), "{ not json");
        QVERIFY(Corrections::rememberMovie(moved, 949, QStringLiteral("Heat"), QStringLiteral("1995")));
        QCOMPARE(Corrections::recall(Corrections::keyOf(moved))->tmdbID, 949);
        QFile aside(Corrections::storePath() + QStringLiteral(".unreadable"));
        QVERIFY(aside.open(QIODevice::ReadOnly));
        QCOMPARE(aside.readAll(), QByteArray("{ not json"));

        // A file too small to hash cannot be remembered, and says so.
        const QString tiny = m_files.filePath(QStringLiteral("tiny.mp4"));
        write(tiny, QByteArray(1000, 'x'));
        const Outcome<void> refused = Corrections::rememberMovie(tiny, 348, QStringLiteral("Alien"), QStringLiteral("1979"));
        QVERIFY(!refused);
        QVERIFY(refused.errorText().contains(QStringLiteral("64 KiB")));
    }
};

KINOVELA_TEST_MAIN(TestIdentifyFiles)
#include "tst_identifyfiles.moc"
