#include "support/CliRunner.h"
#include "support/TestEnvironment.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/stat.h>

/**
 * The plan and the undo of a Save, from outside: `create --dry-run` touches
 * nothing and describes exactly what `create` then does, and `undo` brings
 * every source back byte for byte.
 */
class TestCliPlan : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;

    /** Every entry under the folders, with its size, change time and content: what "touched" would change. */
    static QStringList stateOf(const QStringList &folders)
    {
        QStringList state;
        for (const QString &folder : folders) {
            QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
            state.append(folder + QStringLiteral(" exists: ") + QString::number(QFileInfo::exists(folder)));
            while (it.hasNext()) {
                const QString path = it.next();
                struct stat info = {};
                ::lstat(QFile::encodeName(path).constData(), &info);
                QFile file(path);
                const QByteArray digest = it.fileInfo().isFile() && file.open(QIODevice::ReadOnly)
                    ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex()
                    : QByteArray();
                state.append(QStringLiteral("%1 %2 %3.%4 %5").arg(path).arg(info.st_size).arg(info.st_mtim.tv_sec)
                                 .arg(info.st_mtim.tv_nsec).arg(QString::fromLatin1(digest)));
            }
        }
        // The folders' own times: a file made and removed again changes them.
        for (const QString &folder : folders) {
            struct stat info = {};
            ::lstat(QFile::encodeName(folder).constData(), &info);
            state.append(QStringLiteral("%1 %2.%3").arg(folder).arg(info.st_mtim.tv_sec).arg(info.st_mtim.tv_nsec));
        }
        state.sort();
        return state;
    }

    /** Copies generated media into a fresh folder under the given names; returns their paths. */
    QStringList films(const QString &folder, const QList<std::pair<const char *, const char *>> &names)
    {
        QDir(m_cli.filePath(folder)).removeRecursively();
        QDir().mkpath(m_cli.filePath(folder));
        QStringList paths;
        for (const auto &[media, name] : names)
            paths.append(m_cli.filePath(m_cli.copy(QString::fromLatin1(media), folder + QLatin1Char('/') + QString::fromLatin1(name))));
        return paths;
    }

    QString emptyFolder(const QString &name)
    {
        QDir(m_cli.filePath(name)).removeRecursively();
        QDir().mkpath(m_cli.filePath(name));
        return m_cli.filePath(name);
    }

    static QJsonObject json(const CliRunner::Run &run) { return QJsonDocument::fromJson(run.out).object(); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_cli.start()); }

    void aDryRunTouchesNothingAndIsWhatCreateDoes()
    {
        const QStringList sources = films(QStringLiteral("films"), {{"modern.mkv", "Inception.mkv"},
                                                                     {"mpeg4-mp3.avi", "Alien.1990.avi"},
                                                                     {"h264-aac.mp4", "Heat.1995.mp4"},
                                                                     {"h264-ac3-srt.mkv", "The.Dark.Knight.2008.mkv"}});
        const QString destination = emptyFolder(QStringLiteral("library"));
        QFile mine(destination + QStringLiteral("/The Dark Knight.mp4"));
        QVERIFY(mine.open(QIODevice::WriteOnly) && mine.write("mine") == 4);
        mine.close();
        // The converter is watched: every run writes its arguments down.
        const QString log = m_cli.filePath(QStringLiteral("converter.log"));
        const QString watcher = m_cli.filePath(QStringLiteral("ffmpeg-watched"));
        QFile script(watcher);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done >> '" + log.toUtf8() + "'\necho END >> '"
                     + log.toUtf8() + "'\nexec ffmpeg \"$@\"\n");
        script.close();
        script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
        QProcessEnvironment watched;
        watched.insert(QStringLiteral("KINOVELA_FFMPEG"), watcher);

        QStringList arguments{QStringLiteral("create"), QStringLiteral("--stagger"), QStringLiteral("0"), QStringLiteral("--preset"),
                              QStringLiteral("4"), QStringLiteral("--profile"), QStringLiteral("modern"), QStringLiteral("--json"),
                              QStringLiteral("--dest"), destination};
        arguments.append(sources);
        const QStringList watchedFolders{m_cli.filePath(QStringLiteral("films")), destination, QDir::home().filePath(QStringLiteral("Subtitles")),
                                         QDir::home().filePath(QStringLiteral(".local/share"))};
        const QStringList before = stateOf(watchedFolders);
        const CliRunner::Run dry = m_cli.run(QStringList(arguments) << QStringLiteral("--dry-run"), watched);
        QCOMPARE(stateOf(watchedFolders), before);
        QVERIFY(!QFile::exists(log));
        // The taken name fails its movie before anything is written: exit status 1, as create's.
        QCOMPARE(dry.exitCode, 1);
        const QJsonObject plan = json(dry);
        QVERIFY2(plan[QStringLiteral("summary")].toString().startsWith(QStringLiteral("4 movies \u2192 ") + destination),
                 dry.out.constData());
        QVERIFY(plan[QStringLiteral("summary")].toString().endsWith(QStringLiteral("originals to the Trash \u00b7 1 needs review")));

        const CliRunner::Run created = m_cli.run(arguments, watched);
        QCOMPARE(created.exitCode, 1);
        const QJsonObject done = json(created);
        QCOMPARE(done[QStringLiteral("plan")].toObject(), plan);

        // The converter ran with exactly the planned arguments, in the planned order, and every result is the plan's.
        QList<QStringList> planned;
        const QJsonArray items = plan[QStringLiteral("items")].toArray();
        const QJsonArray results = done[QStringLiteral("results")].toArray();
        QCOMPARE(results.size(), items.size());
        for (qsizetype i = 0; i < items.size(); ++i) {
            const QJsonObject item = items.at(i).toObject();
            const QJsonObject result = results.at(i).toObject();
            const bool ready = item[QStringLiteral("status")].toString() == QLatin1String("ready");
            QCOMPARE(result[QStringLiteral("outcome")].toString(), ready ? QStringLiteral("created") : QStringLiteral("failed"));
            if (!ready) {
                QCOMPARE(item[QStringLiteral("reason")].toString(), QStringLiteral("a file named \"The Dark Knight.mp4\" already exists"));
                QCOMPARE(result[QStringLiteral("reason")].toString(), item[QStringLiteral("reason")].toString());
                continue;
            }
            QCOMPARE(result[QStringLiteral("outputPath")].toString(), item[QStringLiteral("finalPath")].toString());
            QCOMPARE(item[QStringLiteral("sourceFate")].toString(), QStringLiteral("trash"));
            QVERIFY(result[QStringLiteral("sourceFate")].toString().startsWith(QStringLiteral("moved to the Trash")));
            QStringList list;
            for (const QJsonValue &argument : item[QStringLiteral("arguments")].toArray())
                list.append(argument.toString());
            planned.append(list);
        }
        QList<QStringList> ran;
        QStringList current;
        for (const QByteArray &line : TestEnvironment::contents(log).split('\n')) {
            if (line == "END") {
                ran.append(current);
                current.clear();
            } else if (!line.isEmpty()) {
                current.append(QString::fromUtf8(line));
            }
        }
        QCOMPARE(ran, planned);
        QCOMPARE(TestEnvironment::contents(destination + QStringLiteral("/The Dark Knight.mp4")), QByteArray("mine"));
    }

    void undoBringsEverySourceBackByteForByte()
    {
        // Tagged in place (preset 1) and converted, then moved (preset 2) and converted.
        for (const char *preset : {"1", "2"}) {
            const QStringList sources = films(QStringLiteral("undo"), {{"h264-aac.mp4", "Heat.1995.mp4"},
                                                                        {"mpeg4-mp3.avi", "Alien.1979.avi"},
                                                                        {"modern.mkv", "Inception.mkv"}});
            QList<QByteArray> originals;
            for (const QString &source : sources)
                originals.append(TestEnvironment::contents(source));
            const QString destination = emptyFolder(QStringLiteral("out"));
            const QDir trash(QDir::home().filePath(QStringLiteral(".local/share/Trash/files")));
            const QStringList trashed = trash.entryList(QDir::Files);
            QStringList arguments{QStringLiteral("create"), QStringLiteral("--stagger"), QStringLiteral("0"), QStringLiteral("--preset"),
                                  QString::fromLatin1(preset), QStringLiteral("--dest"), destination};
            const CliRunner::Run created = m_cli.run(arguments + sources);
            QVERIFY2(created.exitCode == 0, created.err.constData());
            QVERIFY(TestEnvironment::contents(sources.at(0)) != originals.at(0) || !QFile::exists(sources.at(0)));
            QCOMPARE(QDir(destination).entryList(QDir::Files).size(), *preset == '1' ? 2 : 3);

            const CliRunner::Run undone = m_cli.run({QStringLiteral("undo"), QStringLiteral("--json")});
            QVERIFY2(undone.exitCode == 0, undone.err.constData());
            QVERIFY(json(undone)[QStringLiteral("complete")].toBool());
            for (qsizetype i = 0; i < sources.size(); ++i)
                QVERIFY2(TestEnvironment::contents(sources.at(i)) == originals.at(i), qPrintable(sources.at(i)));
            QCOMPARE(QDir(destination).entryList(QDir::Files), QStringList());
            QCOMPARE(trash.entryList(QDir::Files), trashed);
        }
        const CliRunner::Run again = m_cli.run({QStringLiteral("undo")});
        QCOMPARE(again.exitCode, 1);
        QVERIFY2(again.err.contains("Nothing to undo: the last Save") && again.err.contains("was undone already"), again.err.constData());
    }

    void anUndoKeepsWhatItCannotTakeBack()
    {
        const QStringList sources = films(QStringLiteral("kept"), {{"mpeg4-mp3.avi", "Alien.1979.avi"}, {"h264-aac.mp4", "Heat.1995.mkv"}});
        const QByteArray alien = TestEnvironment::contents(sources.at(0));
        const QString destination = emptyFolder(QStringLiteral("kept-out"));
        const CliRunner::Run created = m_cli.run(QStringList{QStringLiteral("create"), QStringLiteral("--stagger"), QStringLiteral("0"),
                                                             QStringLiteral("--dest"), destination} + sources);
        QVERIFY2(created.exitCode == 0, created.err.constData());
        // A person re-tags one new movie after the Save, and empties the Trash of the other's source.
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"),
                                                destination + QStringLiteral("/Alien.mp4"), QStringLiteral("-c"), QStringLiteral("copy"),
                                                QStringLiteral("-metadata"), QStringLiteral("title=Mine"), destination + QStringLiteral("/x.mp4")});
        QVERIFY(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0);
        QVERIFY(QFile::remove(destination + QStringLiteral("/Alien.mp4")));
        QVERIFY(QFile::rename(destination + QStringLiteral("/x.mp4"), destination + QStringLiteral("/Alien.mp4")));
        QVERIFY(QFile::remove(QDir::home().filePath(QStringLiteral(".local/share/Trash/files/Heat.1995.mkv"))));

        const CliRunner::Run undone = m_cli.run({QStringLiteral("undo"), QStringLiteral("--json")});
        QCOMPARE(undone.exitCode, 1);
        const QJsonObject report = json(undone);
        QVERIFY(!report[QStringLiteral("complete")].toBool());
        const QJsonArray movies = report[QStringLiteral("movies")].toArray();
        QCOMPARE(movies.size(), 2);
        // Alien's source is back; its re-tagged movie is kept and named.
        QCOMPARE(TestEnvironment::contents(sources.at(0)), alien);
        QVERIFY(QFile::exists(destination + QStringLiteral("/Alien.mp4")));
        QVERIFY2(movies.at(0)[QStringLiteral("left")].toArray().at(0).toString().contains(QStringLiteral("was changed after the Save")),
                 undone.out.constData());
        // Heat's source cannot come back, so its movie stays: nothing is left without a copy.
        QVERIFY(QFile::exists(destination + QStringLiteral("/Heat.mp4")));
        const QStringList heatLeft{movies.at(1)[QStringLiteral("left")].toArray().at(0).toString(),
                                   movies.at(1)[QStringLiteral("left")].toArray().at(1).toString()};
        QVERIFY2(heatLeft.at(0).contains(QStringLiteral("could not be put back from the Trash")), qPrintable(heatLeft.join(QLatin1Char('|'))));
        QVERIFY(heatLeft.at(1).contains(QStringLiteral("so that the movie is not lost")));
        QVERIFY(undone.err.contains("left       "));
    }

    void anUndoWaitsForARunningSaveAndCleansUpAfterAKilledOne()
    {
        const QStringList sources = films(QStringLiteral("running"), {{"mpeg4-mp3.avi", "Alien.1979.avi"}});
        const QByteArray alien = TestEnvironment::contents(sources.at(0));
        const QString destination = emptyFolder(QStringLiteral("running-out"));
        // A converter that takes its time: it writes its output, then waits.
        const QString slow = m_cli.filePath(QStringLiteral("ffmpeg-slow"));
        QVERIFY(TestEnvironment::write(slow, "#!/bin/sh\nffmpeg \"$@\" && exec sleep 30\n"));
        QFile(slow).setPermissions(QFile(slow).permissions() | QFileDevice::ExeOwner);
        QProcessEnvironment environment = m_cli.environment();
        environment.insert(QStringLiteral("KINOVELA_FFMPEG"), slow);
        QProcess save;
        save.setProcessEnvironment(environment);
        save.start(qEnvironmentVariable("KINOVELA_CLI"), QStringList{QStringLiteral("create"), QStringLiteral("--stagger"),
                                                                     QStringLiteral("0"), QStringLiteral("--dest"), destination} + sources);
        const auto unfinished = [&destination] {
            return QDir(destination).entryList({QStringLiteral("*unfinished*")}, QDir::Files);
        };
        QVERIFY(QTest::qWaitFor([&] { return !unfinished().isEmpty() && QFileInfo(destination + QLatin1Char('/') + unfinished().value(0)).size() > 0; }, 60000));

        // While the Save runs, undo leaves it alone.
        const CliRunner::Run early = m_cli.run({QStringLiteral("undo")});
        QCOMPARE(early.exitCode, 1);
        QVERIFY2(early.err.contains("Cannot undo: the Save of") && early.err.contains("is still running"), early.err.constData());
        QCOMPARE(unfinished().size(), 1);

        // Killed in the middle, the Save is undone all the same: its unfinished file goes, the source never left.
        save.kill();
        QVERIFY(save.waitForFinished());
        const CliRunner::Run undone = m_cli.run({QStringLiteral("undo")});
        QVERIFY2(undone.exitCode == 0 && undone.err.contains("removed the unfinished"), undone.err.constData());
        QCOMPARE(QDir(destination).entryList(QDir::Files), QStringList());
        QCOMPARE(TestEnvironment::contents(sources.at(0)), alien);
    }
};

KINOVELA_TEST_MAIN(TestCliPlan)
#include "tst_cliplan.moc"
