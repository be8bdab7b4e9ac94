#include "base/ItemImage.h"
#include "base/Progress.h"
#include "creation/CreationBatch.h"
#include "creation/FileNames.h"
#include "creation/SavePlan.h"
#include "media/FileProbe.h"
#include "media/MovieItemFacts.h"
#include "support/TestEnvironment.h"

#include <QProcess>
#include <QSignalSpy>

#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>

/** What Save does before and after the work: the checks of every name, the output's check, where sources go. */
class TestSaving : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_sources;
    QTemporaryDir m_data;

    MovieItem movie(const QString &fileName, const QString &title, const QString &media = QStringLiteral("h264-aac.mp4"))
    {
        const QString path = m_sources.filePath(fileName);
        if (!QFile::exists(path))
            QFile::copy(TestEnvironment::media(media), path);
        MovieItem item = MovieItemFacts::fromProbe(FileProbe(path), 0);
        item.insert(ItemKey::movieTitle, title);
        item.insert(ItemKey::movieFoundStatus, !title.isEmpty());
        item.insert(ItemKey::subtitleFound, false);
        return item;
    }

    QList<CreationResult> save(const QList<MovieItem> &items, const QString &destination, const SaveOptions &options = {})
    {
        Progress progress;
        CreationBatch batch(&progress);
        QSignalSpy finished(&batch, &CreationBatch::finished);
        batch.creationTaskWithDestinationFolder(destination, items, Preset::Convert, options);
        finished.wait(120000);
        return batch.results();
    }

    static QStringList filesIn(const QString &folder)
    {
        return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // The Trash lives under the data folder.
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path()));
    }

    void namesFollowTheFileSystemsRules_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("posix");
        QTest::addColumn<QString>("windows");
        QTest::newRow("slash and colon") << QStringLiteral("AC/DC: Live") << QStringLiteral("AC:DC: Live")
                                         << QStringLiteral("AC-DC- Live");
        QTest::newRow("refused by FAT") << QStringLiteral("What? <Now> \"Here\" *|\\")
                                        << QStringLiteral("What? <Now> \"Here\" *|\\") << QStringLiteral("What_ _Now_ _Here_ ___");
        QTest::newRow("trailing dots") << QStringLiteral("Se7en...") << QStringLiteral("Se7en") << QStringLiteral("Se7en");
        QTest::newRow("only controls") << QStringLiteral("\u0001\u007f\u0085") << QString() << QString();
        QTest::newRow("hidden") << QStringLiteral(" .hidden") << QStringLiteral("hidden") << QStringLiteral("hidden");
    }

    void namesFollowTheFileSystemsRules()
    {
        QFETCH(QString, title);
        QFETCH(QString, posix);
        QFETCH(QString, windows);
        QCOMPARE(FileNames::safeBaseName(title, FileNames::NameRules::Posix), posix);
        QCOMPARE(FileNames::safeBaseName(title, FileNames::NameRules::Windows), windows);
        const QString numbered = FileNames::numbered(QString(251, QChar(0x4e2d)).left(83) + QStringLiteral(".mp4"), 2);
        QVERIFY(numbered.toUtf8().size() <= 255 && numbered.endsWith(QLatin1String(" (2).mp4")));
    }

    void clashesAreFoundBeforeAnyWork_data()
    {
        QTest::addColumn<int>("policy");
        QTest::addColumn<QStringList>("outcomes"); // per item
        QTest::addColumn<QStringList>("files");    // in the destination afterwards
        const QStringList before{QStringLiteral("Taken.mp4")};
        QTest::newRow("fail") << int(ClashPolicy::Fail)
                              << QStringList{QStringLiteral("Taken: exists"), QStringLiteral("Twin.mp4"), QStringLiteral("Twin: exists")}
                              << QStringList{QStringLiteral("Taken.mp4"), QStringLiteral("Twin.mp4")};
        QTest::newRow("rename") << int(ClashPolicy::Rename)
                                << QStringList{QStringLiteral("Taken (2).mp4"), QStringLiteral("Twin.mp4"), QStringLiteral("Twin (2).mp4")}
                                << QStringList{QStringLiteral("Taken (2).mp4"), QStringLiteral("Taken.mp4"), QStringLiteral("Twin (2).mp4"),
                                               QStringLiteral("Twin.mp4")};
        QTest::newRow("skip") << int(ClashPolicy::Skip)
                              << QStringList{QStringLiteral("Taken: skipped"), QStringLiteral("Twin.mp4"), QStringLiteral("Twin: skipped")}
                              << QStringList{QStringLiteral("Taken.mp4"), QStringLiteral("Twin.mp4")};
    }

    void clashesAreFoundBeforeAnyWork()
    {
        QFETCH(int, policy);
        QFETCH(QStringList, outcomes);
        QFETCH(QStringList, files);
        QTemporaryDir destination;
        QFile taken(destination.filePath(QStringLiteral("Taken.mp4")));
        QVERIFY(taken.open(QIODevice::WriteOnly));
        taken.write("the user's own file");
        taken.close();
        const QList<MovieItem> items{movie(QStringLiteral("t1.mkv"), QStringLiteral("Taken")),
                                     movie(QStringLiteral("t2.mkv"), QStringLiteral("Twin")),
                                     movie(QStringLiteral("t3.mkv"), QStringLiteral("Twin"))};

        // The check itself writes nothing and names every problem.
        SaveSettings settings;
        settings.destination = destination.path();
        settings.preset = Preset::Convert;
        const QList<PlannedItem> plan = SavePlan::check(items, settings).entries;
        QCOMPARE(plan.at(0).problem, SaveProblem::NameTaken);
        QCOMPARE(plan.at(1).problem, SaveProblem::None);
        QCOMPARE(plan.at(2).problem, SaveProblem::NameClash);
        QVERIFY(plan.at(2).problemText.contains(QLatin1String("Twin.mp4")));
        QCOMPARE(filesIn(destination.path()), QStringList{QStringLiteral("Taken.mp4")});

        SaveOptions options;
        options.clashes = ClashPolicy(policy);
        const QList<CreationResult> results = save(items, destination.path(), options);
        QCOMPARE(results.size(), 3);
        QStringList got;
        for (const CreationResult &result : results) {
            if (result.succeeded())
                got.append(QFileInfo(result.outputPath).fileName());
            else
                got.append(result.movieTitle
                           + (result.status.errorKind() == ErrorKind::Exists ? QStringLiteral(": exists") : QStringLiteral(": skipped")));
            // A source not converted stays where it was.
            QCOMPARE(QFile::exists(result.source), !result.succeeded());
        }
        QCOMPARE(got, outcomes);
        QCOMPARE(filesIn(destination.path()), files);
        QFile user(destination.filePath(QStringLiteral("Taken.mp4")));
        QVERIFY(user.open(QIODevice::ReadOnly));
        QCOMPARE(user.readAll(), QByteArray("the user's own file"));
    }

    void thePlanFollowsFromTheFactsAlone()
    {
        const auto item = [](const QString &path, const QString &title, bool review = false) {
            return MovieItem{{ItemKey::filePath, path},        {ItemKey::movieTitle, title},
                             {ItemKey::movieFoundStatus, true}, {ItemKey::subtitleFound, false},
                             {ItemKey::tracksInfo, QVariantList()}, {ItemKey::needsReview, review},
                             {ItemKey::matchConfidence, review ? 0.4 : 0.9}};
        };
        const QList<MovieItem> items{item(QStringLiteral("/in/Alien.1979.mp4"), QStringLiteral("Alien")),
                                     item(QStringLiteral("/in/Heat.avi"), QStringLiteral("Heat")),
                                     item(QStringLiteral("/in/Heat.2003.mkv"), QStringLiteral("Heat"), true),
                                     item(QStringLiteral("/in/Gone.mkv"), QStringLiteral("Gone")),
                                     item(QStringLiteral("/in/Huge.mkv"), QStringLiteral("Huge")),
                                     item(QStringLiteral("/in/Long.mkv"), QString(120, QLatin1Char('x')))};
        SaveFacts facts;
        facts.destinationUsable = true;
        facts.rules = FileNames::NameRules::Windows; // a FAT drive: names differ only in case clash
        facts.existingNames = {QStringLiteral("heat.mp4")};
        facts.freeBytes = 1000;
        facts.nameMaxBytes = 100;
        for (const QString &name : {QStringLiteral("Alien.1979.mp4"), QStringLiteral("Heat.avi"), QStringLiteral("Heat.2003.mkv"),
                                    QStringLiteral("Long.mkv")})
            facts.sources.insert(QStringLiteral("/in/") + name, {true, 100, false});
        facts.sources.insert(QStringLiteral("/in/Huge.mkv"), {true, 5000, true});
        SaveSettings settings;
        settings.destination = QStringLiteral("/dest");
        settings.preset = Preset::TagAndMove;
        settings.options.clashes = ClashPolicy::Rename;

        const SavePlan plan = SavePlan::make(items, settings, facts);
        QStringList got;
        for (const PlannedItem &planned : plan.entries)
            got.append(ConverterArguments::actionName(planned.action) + QLatin1Char(' ') + planned.finalPath.section(QLatin1Char('/'), -1)
                       + QLatin1Char(' ') + SavePlanText::fateName(planned.sourceFate) + (planned.runs() ? QString() : QStringLiteral(" (") + planned.problemText + QLatin1Char(')')));
        QCOMPARE(got, (QStringList{
                          QStringLiteral("move Alien.mp4 moved"),
                          QStringLiteral("convert Heat (2).mp4 trash"),
                          QStringLiteral("convert Heat (3).mp4 trash"),
                          QStringLiteral("convert Gone.mp4 kept (the source file is missing: /in/Gone.mkv)"),
                          QStringLiteral("convert Huge.mp4 kept (not enough room on the destination (0.0 MB needed, 0.0 MB free))"),
                          QStringLiteral("convert ") + QString(120, QLatin1Char('x')) + QStringLiteral(".mp4 kept (the destination refuses the name \"")
                              + QString(120, QLatin1Char('x')) + QStringLiteral(".mp4\" (longer than the 100 bytes it allows))"),
                      }));
        QCOMPARE(plan.summary(), QStringLiteral("6 movies \u2192 /dest \u00b7 2 converted, 1 moved, 3 cannot be saved \u00b7 originals to the "
                                                "Trash \u00b7 1 needs review"));
        // The converter writes beside the final name, under a name that is the same each time the Save is planned.
        const PlannedItem &heat = plan.entries.at(1);
        QVERIFY2(heat.temporaryPath.startsWith(QLatin1String("/dest/Heat (2) (unfinished ")), qPrintable(heat.temporaryPath));
        QVERIFY(heat.conversion.arguments.contains(heat.temporaryPath));
        QVERIFY(heat.renamed() && heat.problemText.contains(QLatin1String("already exists")));
        QCOMPARE(heat.tags.constFirst().name, QStringLiteral("title"));
        QCOMPARE(SavePlan::make(items, settings, facts).toJson(), plan.toJson());
        QVERIFY(plan.entries.at(2).temporaryPath != heat.temporaryPath);

        // Leaving out the match to review, and deleting sources, change only what they say.
        settings.options.skipNeedsReview = true;
        settings.options.deleteSources = true;
        const SavePlan careful = SavePlan::make(items, settings, facts);
        QVERIFY(careful.entries.at(2).skipped);
        QCOMPARE(careful.entries.at(1).sourceFate, SourceFate::Deleted);
        QCOMPARE(careful.summary(), QStringLiteral("6 movies \u2192 /dest \u00b7 1 converted, 1 moved, 1 skipped, 3 cannot be saved \u00b7 "
                                                   "originals deleted"));
    }

    void aShortOutputKeepsItsSource()
    {
        // A half-downloaded movie: the header promises 20 s, the data holds 10.
        const QString whole = m_sources.filePath(QStringLiteral("whole.mp4"));
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("ffmpeg"), {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                                                QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                                QStringLiteral("testsrc=size=160x120:rate=25:duration=20"), QStringLiteral("-c:v"),
                                                QStringLiteral("libx264"), QStringLiteral("-preset"), QStringLiteral("ultrafast"),
                                                QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), QStringLiteral("-movflags"),
                                                QStringLiteral("+faststart"), whole});
        QVERIFY(ffmpeg.waitForFinished(120000) && ffmpeg.exitCode() == 0);
        const QString half = m_sources.filePath(QStringLiteral("Half.mkv"));
        QFile in(whole);
        QVERIFY(in.open(QIODevice::ReadOnly));
        QFile out(half);
        QVERIFY(out.open(QIODevice::WriteOnly));
        const QByteArray bytes = in.readAll();
        out.write(bytes.left(bytes.size() / 2));
        out.close();
        const QByteArray before = bytes.left(bytes.size() / 2);

        QTemporaryDir destination;
        MovieItem item = movie(QStringLiteral("Half.mkv"), QStringLiteral("Half"));
        QCOMPARE(qRound(item.value(ItemKey::duration).toDouble()), 20);
        const QList<CreationResult> results = save({item}, destination.path());
        QCOMPARE(results.size(), 1);
        QVERIFY(!results.at(0).succeeded());
        QVERIFY2(results.at(0).reason().contains(QLatin1String("but the source 20.0 s")), qPrintable(results.at(0).reason()));
        QCOMPARE(filesIn(destination.path()), QStringList());
        QVERIFY(out.open(QIODevice::ReadOnly));
        QCOMPARE(out.readAll(), before);
    }

    void sourcesGoToTheTrashOrAreDeletedWhenAsked_data()
    {
        QTest::addColumn<bool>("deleteSources");
        QTest::newRow("the Trash") << false;
        QTest::newRow("deleted outright") << true;
    }

    void sourcesGoToTheTrashOrAreDeletedWhenAsked()
    {
        QFETCH(bool, deleteSources);
        QTemporaryDir destination;
        // Unidentified: named after the file, and the "movie not found" picture is not stored as cover art.
        MovieItem item = movie(deleteSources ? QStringLiteral("Gone.2019.mkv") : QStringLiteral("Holiday.2019.mkv"), QString());
        item.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage::fromResource(QStringLiteral("mnf"))));
        const QString source = item.value(ItemKey::filePath).toString();
        SaveOptions options;
        options.deleteSources = deleteSources;
        const QList<CreationResult> results = save({item}, destination.path(), options);
        QVERIFY2(results.size() == 1 && results.at(0).succeeded(), qPrintable(results.value(0).reason()));
        const QString name = QFileInfo(source).fileName();
        QCOMPARE(results.at(0).outputPath, destination.filePath(QFileInfo(source).completeBaseName() + QStringLiteral(".mp4")));
        QVERIFY(!QFile::exists(source));
        const QString trashed = m_data.filePath(QStringLiteral("Trash/files/") + name);
        QCOMPARE(QFile::exists(trashed), !deleteSources);
        QCOMPARE(QFile::exists(m_data.filePath(QStringLiteral("Trash/info/") + name + QStringLiteral(".trashinfo"))), !deleteSources);
        QCOMPARE(results.at(0).sourceFate,
                 deleteSources ? QStringLiteral("deleted") : QStringLiteral("moved to the Trash: ") + trashed);
        TagLib::MP4::File output(QFile::encodeName(results.at(0).outputPath).constData(), false);
        QVERIFY(output.isValid() && output.tag());
        QVERIFY(!output.tag()->contains("covr"));
    }
};

KINOVELA_TEST_MAIN(TestSaving)
#include "tst_saving.moc"
