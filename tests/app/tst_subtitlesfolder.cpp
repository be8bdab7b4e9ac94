#include "app/ImportPipeline.h"
#include "subtitles/SubtitlesFolder.h"
#include "subtitles/Video.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>

namespace {

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

} // namespace

/** The subtitles folder holds the user's files too: an import removes only what Kinovela saved there. */
class TestSubtitlesFolder : public QObject
{
    Q_OBJECT

private:
    QString folder() const { return QDir::homePath() + QStringLiteral("/Subtitles"); }

    /** Saves a subtitle for @p movie as the subtitle stage does; returns where it went. */
    QString saveFor(const QString &movie, const QByteArray &content)
    {
        Video video(QStringLiteral("/movies/") + movie, QStringLiteral("tt0113277"), 100);
        video.save(content, QStringLiteral("srt"));
        return video.downloadedSubtitlePath;
    }

private Q_SLOTS:
    void init()
    {
        QDir(folder()).removeRecursively();
        QFile::remove(folder());
        QFile::remove(SubtitlesFolder::recordPath());
    }

    void onlyKinovelasOwnFilesAreRemoved()
    {
        QVERIFY(QDir().mkpath(folder()));
        writeFile(folder() + QStringLiteral("/Mine.srt"), "the user's own");
        // A file of the user's own with the name Kinovela wants is never written over.
        writeFile(folder() + QStringLiteral("/Heat.1995.srt"), "the user's Heat");
        const QString saved = saveFor(QStringLiteral("Heat.1995.mkv"), "downloaded");
        QCOMPARE(saved, folder() + QStringLiteral("/Heat.1995 (2).srt"));
        QCOMPARE(readFile(saved), QByteArray("downloaded"));
        const QString other = saveFor(QStringLiteral("Alien.mkv"), "downloaded too");
        QCOMPARE(other, folder() + QStringLiteral("/Alien.srt"));

        ImportPipeline::resetSubtitlesFolder();
        QVERIFY(!QFile::exists(saved));
        QVERIFY(!QFile::exists(other));
        QCOMPARE(readFile(folder() + QStringLiteral("/Mine.srt")), QByteArray("the user's own"));
        QCOMPARE(readFile(folder() + QStringLiteral("/Heat.1995.srt")), QByteArray("the user's Heat"));
    }

    void aLinkIsNeverFollowed()
    {
        QTemporaryDir elsewhere;
        writeFile(elsewhere.filePath(QStringLiteral("Alien.srt")), "someone else's");
        QVERIFY(QDir().mkpath(folder()));
        QCOMPARE(saveFor(QStringLiteral("Alien.mkv"), "ours"), folder() + QStringLiteral("/Alien.srt"));
        // The folder is swapped for a link to another folder that holds a file of the recorded name.
        QVERIFY(QDir(folder()).removeRecursively());
        QVERIFY(QFile::link(elsewhere.path(), folder()));
        ImportPipeline::resetSubtitlesFolder();
        QCOMPARE(readFile(elsewhere.filePath(QStringLiteral("Alien.srt"))), QByteArray("someone else's"));
        QVERIFY(QFileInfo(folder()).isSymLink());
        // Nothing is saved through the link either.
        QCOMPARE(saveFor(QStringLiteral("Alien.mkv"), "ours"), QString());

        // A link inside the folder, named like a recorded file, is not followed.
        QFile::remove(folder());
        QVERIFY(QDir().mkpath(folder()));
        QCOMPARE(saveFor(QStringLiteral("Heat.mkv"), "ours"), folder() + QStringLiteral("/Heat.srt"));
        QFile::remove(folder() + QStringLiteral("/Heat.srt"));
        writeFile(elsewhere.filePath(QStringLiteral("Heat.srt")), "someone else's Heat");
        QVERIFY(QFile::link(elsewhere.filePath(QStringLiteral("Heat.srt")), folder() + QStringLiteral("/Heat.srt")));
        ImportPipeline::resetSubtitlesFolder();
        QCOMPARE(readFile(elsewhere.filePath(QStringLiteral("Heat.srt"))), QByteArray("someone else's Heat"));
    }

    void noHomeMeansNoFolder()
    {
        const QByteArray home = qgetenv("HOME");
        qunsetenv("HOME");
        ImportPipeline::resetSubtitlesFolder();
        QVERIFY(!QFileInfo::exists(QStringLiteral("/Subtitles")));
        QCOMPARE(saveFor(QStringLiteral("Heat.mkv"), "content"), QString());

        // The subtitle stage says it did not search, without asking any service.
        QObject context;
        std::optional<SubtitleStauts> status;
        Video(QStringLiteral("/movies/Heat.mkv"), QStringLiteral("tt0113277"), 100)
            .searchAndDownloadSubtitle(&context, [&](const Video &updated) { status = updated.subStatus; });
        QTRY_VERIFY(status.has_value());
        QCOMPARE(*status, SubtitleStauts::notSearched);
        qputenv("HOME", home);
    }
};

KINOVELA_TEST_MAIN(TestSubtitlesFolder)
#include "tst_subtitlesfolder.moc"
