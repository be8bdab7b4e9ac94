#include "media/MovieItemFacts.h"
#include "base/Diagnostics.h"
#include "base/ItemImage.h"
#include "base/Progress.h"
#include "creation/CreationBatch.h"
#include "creation/TagWriter.h"
#include "creation/WriteBehind.h"
#include "media/FileProbe.h"
#include "support/SmallDisk.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>

#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>

namespace {

QByteArray digest(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

QString metadataValue(const FileProbe &probe, const char *key)
{
    for (const QVariant &entry : probe.metadata) {
        if (entry.toMap().value(QStringLiteral("key")).toString() == QLatin1String(key))
            return entry.toMap().value(QStringLiteral("value")).toString();
    }
    return QStringLiteral("<missing>");
}

QStringList filesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

} // namespace

class TestCreationBatch : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_sources;

    /** A copy of a generated movie, probed into an identified item. */
    MovieItem identified(const QString &media, const QString &fileName, const QString &title)
    {
        const QString path = m_sources.filePath(fileName);
        QFile::remove(path);
        QFile::copy(TestEnvironment::media(media), path);
        MovieItem item = MovieItemFacts::fromProbe(FileProbe(path), 0);
        item.insert(ItemKey::movieTitle, title);
        item.insert(ItemKey::movieFoundStatus, true);
        item.insert(ItemKey::movieTMDBID, qint64(27205));
        item.insert(ItemKey::movieGenre, QStringLiteral("Sci-Fi & Fantasy"));
        item.insert(ItemKey::movieTagline, QStringLiteral("Your mind is the scene of the crime"));
        item.insert(ItemKey::movieOverview, QStringLiteral("A thief who steals secrets."));
        item.insert(ItemKey::movieComposers, QStringLiteral("Hans Zimmer"));
        item.insert(ItemKey::movieReleaseDate_YYYYhMMhDD, QStringLiteral("2010-07-15"));
        item.insert(ItemKey::movieRating_US, QStringLiteral("mpaa|PG-13|300|"));
        item.insert(ItemKey::movieLanguage, QStringLiteral("English"));
        item.insert(ItemKey::movieCountry, QStringLiteral("United States of America"));
        item.insert(ItemKey::movieCast, QStringLiteral("Leonardo DiCaprio\nElliot Page"));
        item.insert(ItemKey::movieDirectors, QStringLiteral("Christopher Nolan"));
        item.insert(ItemKey::movieStudios, QStringLiteral("Syncopy"));
        QImage cover(40, 60, QImage::Format_RGB32);
        cover.fill(Qt::darkRed);
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        buffer.open(QIODevice::WriteOnly);
        cover.save(&buffer, "JPEG");
        item.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage::fromEncoded(jpeg)));
        item.insert(ItemKey::subtitleFound, false);
        return item;
    }

    QList<CreationResult> runBatch(const QList<MovieItem> &items, int preset, const QString &destination,
                                   std::function<void(CreationBatch &)> whileRunning = {})
    {
        Progress progress;
        CreationBatch batch(&progress);
        QSignalSpy finished(&batch, &CreationBatch::finished);
        Diagnostics::startCapture();
        batch.creationTaskWithDestinationFolder(destination, items, Preset(preset));
        if (whileRunning)
            whileRunning(batch);
        finished.wait(120000);
        Diagnostics::stopCapture();
        if (finished.isEmpty())
            return {};
        return batch.results();
    }

private Q_SLOTS:
    void tagsAreReadBackByTagLibAndTheProbe()
    {
        MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Tagged.mp4"), QStringLiteral("Inception"));
        const QString path = item.value(ItemKey::filePath).toString();
        const TagWriter::Result result = TagWriter::writeTagsWithFileAtPath(path, item);
        QVERIFY2(result.ok, qPrintable(result.error));

        const FileProbe probe(path);
        QVERIFY(probe.isAcceptable());
        QCOMPARE(metadataValue(probe, "Title"), QStringLiteral("Inception"));
        QCOMPARE(metadataValue(probe, "Genre"), QStringLiteral("Sci-Fi & Fantasy"));
        QCOMPARE(metadataValue(probe, "Tagline"), QStringLiteral("Your mind is the scene of the crime"));
        QCOMPARE(metadataValue(probe, "Synopsis"), QStringLiteral("A thief who steals secrets."));
        QCOMPARE(metadataValue(probe, "Release Date"), QStringLiteral("2010-07-15"));
        QCOMPARE(metadataValue(probe, "HD"), QStringLiteral("No"));
        QCOMPARE(metadataValue(probe, "Media Kind"), QStringLiteral("Movie"));
        QCOMPARE(metadataValue(probe, "Rating"), QStringLiteral("mpaa|PG-13|300|"));
        QCOMPARE(metadataValue(probe, "Encoder"), QStringLiteral("Kinovela"));
        QCOMPARE(metadataValue(probe, "Comment"), QStringLiteral("English, United States of America"));
        QCOMPARE(metadataValue(probe, "Composer"), QStringLiteral("Hans Zimmer"));
        bool cover = false;
        for (const QVariant &track : probe.tracksInfo)
            cover = cover || track.toMap().value(TrackKey::trackCodec).toString() == QLatin1String("mjpeg");
        QVERIFY(cover);

        TagLib::MP4::File file(QFile::encodeName(path).constData());
        TagLib::MP4::Tag *tag = file.tag();
        QCOMPARE(int(tag->item("stik").toByte()), 9);
        QCOMPARE(tag->item("cnID").toUInt(), 27205u);
        QCOMPARE(tag->item("hdvd").toBool(), false);
        QCOMPARE(tag->item("covr").toCoverArtList().front().format(), TagLib::MP4::CoverArt::JPEG);
        const TagLib::String plist = tag->item("----:com.apple.iTunes:iTunMOVI").toStringList().front();
        QVERIFY(QString::fromStdString(plist.to8Bit(true)).contains(QStringLiteral("<string>Elliot Page</string>")));
    }

    void missingAndOutOfRangeFieldsAreSkipped()
    {
        MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Sparse.mp4"), QStringLiteral("Sparse"));
        item.remove(ItemKey::movieGenre);
        item.insert(ItemKey::movieTMDBID, qint64(1) << 40);
        item.insert(ItemKey::mediaType, qint64(-3));
        item.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage::fromEncoded("not a picture")));
        const QString path = item.value(ItemKey::filePath).toString();
        QVERIFY(TagWriter::writeTagsWithFileAtPath(path, item).ok);
        TagLib::MP4::File file(QFile::encodeName(path).constData());
        QVERIFY(!file.tag()->contains("cnID"));
        QVERIFY(!file.tag()->contains("stik"));
        QVERIFY(!file.tag()->contains("\251gen"));
        QVERIFY(!file.tag()->contains("covr"));
        QVERIFY(FileProbe(path).isAcceptable());
        QVERIFY(!TagWriter::writeTagsWithFileAtPath(TestEnvironment::media(QStringLiteral("text.txt")), item).ok);
    }

    void presetsEndToEnd_data()
    {
        QTest::addColumn<int>("preset");
        QTest::addColumn<QString>("action");
        QTest::addColumn<bool>("sourceStays");
        QTest::newRow("tag in place") << 1 << QStringLiteral("tag") << true;
        QTest::newRow("tag and move") << 2 << QStringLiteral("move") << false;
        QTest::newRow("convert") << 3 << QStringLiteral("convert") << false;
    }

    void presetsEndToEnd()
    {
        QFETCH(int, preset);
        QFETCH(QString, action);
        QFETCH(bool, sourceStays);
        QTemporaryDir destination;
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("In.mp4"), QStringLiteral("AC/DC: Live"));
        const QString source = item.value(ItemKey::filePath).toString();
        const QList<CreationResult> results = runBatch({item}, preset, destination.path());
        QCOMPARE(results.size(), 1);
        QVERIFY2(results.at(0).succeeded, qPrintable(results.at(0).reason));
        QCOMPARE(results.at(0).action, action);
        QCOMPARE(QFile::exists(source), sourceStays);
        const QString output = preset == 1 ? source : destination.filePath(QStringLiteral("AC:DC: Live.mp4"));
        QCOMPARE(results.at(0).outputPath, output);
        QCOMPARE(metadataValue(FileProbe(output), "Title"), QStringLiteral("AC/DC: Live"));
        QCOMPARE(filesIn(destination.path()), preset == 1 ? QStringList() : QStringList{QStringLiteral("AC:DC: Live.mp4")});
    }

    void subtitleBecomesATextTrack()
    {
        QTemporaryDir destination;
        MovieItem item = identified(QStringLiteral("mpeg4-mp3.avi"), QStringLiteral("Heat.avi"), QStringLiteral("Heat"));
        const QString subtitle = m_sources.filePath(QStringLiteral("Heat.srt"));
        QFile file(subtitle);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("1\n00:00:00,500 --> 00:00:01,500\nHello.\n");
        file.close();
        item.insert(ItemKey::subtitleFound, true);
        item.insert(ItemKey::downloadedSubtitlePath, subtitle);
        const QList<CreationResult> results = runBatch({item}, 4, destination.path());
        QVERIFY2(results.value(0).succeeded, qPrintable(results.value(0).reason));
        const FileProbe probe(destination.filePath(QStringLiteral("Heat.mp4")));
        QStringList types;
        for (const QVariant &track : probe.tracksInfo)
            types.append(track.toMap().value(TrackKey::trackCodec).toString());
        QCOMPARE(types, (QStringList{QStringLiteral("h264"), QStringLiteral("aac"), QStringLiteral("mov_text"),
                                     QStringLiteral("mjpeg")}));
    }

    void failuresNeverLoseTheSource_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::newRow("corrupt source") << QStringLiteral("corrupt");
        QTest::newRow("missing converter") << QStringLiteral("converter");
        QTest::newRow("final path taken") << QStringLiteral("taken");
    }

    void failuresNeverLoseTheSource()
    {
        QFETCH(QString, failure);
        QTemporaryDir destination;
        MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Keep.mkv"), QStringLiteral("Keep"));
        const QString source = item.value(ItemKey::filePath).toString();
        if (failure == QLatin1String("corrupt")) {
            QFile::remove(source);
            QFile::copy(TestEnvironment::media(QStringLiteral("truncated.mp4")), source);
        } else if (failure == QLatin1String("converter")) {
            qputenv("KINOVELA_FFMPEG", "/nonexistent/ffmpeg");
        } else {
            QFile taken(destination.filePath(QStringLiteral("Keep.mp4")));
            QVERIFY(taken.open(QIODevice::WriteOnly));
            taken.write("someone else's file");
        }
        const QByteArray before = digest(source);
        const QList<CreationResult> results = runBatch({item}, 3, destination.path());
        qunsetenv("KINOVELA_FFMPEG");
        QCOMPARE(results.size(), 1);
        QVERIFY(!results.at(0).succeeded);
        QVERIFY(!results.at(0).reason.isEmpty());
        QCOMPARE(digest(source), before);
        if (failure == QLatin1String("taken")) {
            // The converted movie keeps its temporary name next to the file that was there.
            QCOMPARE(filesIn(destination.path()).size(), 2);
            QCOMPARE(digest(destination.filePath(QStringLiteral("Keep.mp4"))),
                     QCryptographicHash::hash("someone else's file", QCryptographicHash::Sha256));
        } else {
            QCOMPARE(filesIn(destination.path()), QStringList());
        }
    }

    void awkwardTitlesNeverLoseTheSource_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("control characters") << QStringLiteral("Bell\u0007 and\ttab");
        QTest::newRow("NUL") << QString(QStringLiteral("Before") + QChar(0) + QStringLiteral("After"));
        QTest::newRow("300 characters") << QString(300, QLatin1Char('a'));
        QTest::newRow("dot") << QStringLiteral(".");
        QTest::newRow("dot dot") << QStringLiteral("..");
        QTest::newRow("leading dash") << QStringLiteral("-y");
    }

    void awkwardTitlesNeverLoseTheSource()
    {
        QFETCH(QString, title);
        QTemporaryDir destination;
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Awkward.mkv"), title);
        const QString source = item.value(ItemKey::filePath).toString();
        const QByteArray before = digest(source);
        const QList<CreationResult> results = runBatch({item}, 3, destination.path());
        QCOMPARE(results.size(), 1);
        const QStringList made = filesIn(destination.path());
        if (results.at(0).succeeded) {
            // Created: the movie is in the destination, under its title.
            QVERIFY(!QFile::exists(source));
            QCOMPARE(made.size(), 1);
            QVERIFY(QFileInfo(results.at(0).outputPath).absolutePath() == QDir(destination.path()).absolutePath());
        } else {
            // Not created: the source is untouched and the reason is given.
            QCOMPARE(digest(source), before);
            QVERIFY(!results.at(0).reason.isEmpty());
        }
    }

    void sourcesNamedLikeOptions()
    {
        // The converter is handed absolute paths: "-y.mkv" is a file, never an option.
        QTemporaryDir destination;
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("-y.mkv"), QStringLiteral("Dash"));
        const QList<CreationResult> results = runBatch({item}, 3, destination.path());
        QCOMPARE(results.size(), 1);
        QVERIFY2(results.at(0).succeeded, qPrintable(results.at(0).reason));
        QCOMPARE(filesIn(destination.path()), QStringList{QStringLiteral("Dash.mp4")});
        QVERIFY(!QFile::exists(item.value(ItemKey::filePath).toString()));
    }

    void aConversionIntoAFullDisk()
    {
        // The converted movie is about 100 KB; the destination holds 48 KB. Where no small file system can be
        // mounted, a converter that writes part of a file and gives up as ffmpeg does on a full disk stands in.
        SmallDisk disk(48 * 1024);
        QTemporaryDir tools;
        QTemporaryDir plainFolder;
        if (!disk.isValid()) {
            const QString fake = tools.filePath(QStringLiteral("ffmpeg"));
            QFile script(fake);
            QVERIFY(script.open(QIODevice::WriteOnly));
            script.write("#!/bin/sh\nfor last; do :; done\nhead -c 3000 /dev/urandom > \"$last\"\n"
                         "echo 'av_interleaved_write_frame(): No space left on device' >&2\necho 'Conversion failed!' >&2\nexit 1\n");
            script.close();
            script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            qputenv("KINOVELA_FFMPEG", QFile::encodeName(fake));
        }
        const QString destination = disk.isValid() ? disk.path() : plainFolder.path();
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Full.mkv"), QStringLiteral("Full"));
        const QString source = item.value(ItemKey::filePath).toString();
        const QByteArray before = digest(source);
        const QList<CreationResult> results = runBatch({item}, 3, destination);
        qunsetenv("KINOVELA_FFMPEG");
        QCOMPARE(results.size(), 1);
        QVERIFY(!results.at(0).succeeded);
        QVERIFY(!results.at(0).reason.isEmpty());
        QCOMPARE(digest(source), before);
        QCOMPARE(filesIn(destination), QStringList());
    }

    void movesToAnotherFileSystem()
    {
        SmallDisk roomy(4 * 1024 * 1024);
        KINOVELA_REQUIRE_SMALL_DISK(roomy);
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Away.mp4"), QStringLiteral("Away"));
        const QString source = item.value(ItemKey::filePath).toString();
        const QList<CreationResult> moved = runBatch({item}, 2, roomy.path());
        QCOMPARE(moved.size(), 1);
        QVERIFY2(moved.at(0).succeeded, qPrintable(moved.at(0).reason));
        QVERIFY(!QFile::exists(source));
        QCOMPARE(filesIn(roomy.path()), QStringList{QStringLiteral("Away.mp4")});
        const FileProbe probe(roomy.filePath(QStringLiteral("Away.mp4")));
        QVERIFY(probe.isValidMediaFile);
        QCOMPARE(metadataValue(probe, "Title"), QStringLiteral("Away"));

        // A destination too small for the movie: the partial copy goes, the movie stays where it was.
        SmallDisk cramped(48 * 1024);
        KINOVELA_REQUIRE_SMALL_DISK(cramped);
        const MovieItem second = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Stay.mp4"), QStringLiteral("Stay"));
        const QString secondSource = second.value(ItemKey::filePath).toString();
        const QList<CreationResult> refused = runBatch({second}, 2, cramped.path());
        QCOMPARE(refused.size(), 1);
        QVERIFY(!refused.at(0).succeeded);
        QVERIFY(!refused.at(0).reason.isEmpty());
        QVERIFY(FileProbe(secondSource).isValidMediaFile);
        QCOMPARE(filesIn(cramped.path()), QStringList());
    }

    void writingBehindAGrowingFileLeavesItAsWritten()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("growing.mp4"));
        WriteBehind behind;
        behind.start(path); // before the file exists, as with the converter's output
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCryptographicHash expected(QCryptographicHash::Sha256);
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; clock.elapsed() < 1300; ++i) {
            const QByteArray block(256 * 1024, char('a' + i % 26));
            QCOMPARE(file.write(block), block.size());
            QVERIFY(file.flush());
            expected.addData(block);
            QTest::qWait(20);
        }
        behind.stop();
        file.close();
        behind.start(folder.filePath(QStringLiteral("never-made.mp4")));
        QTest::qWait(600);
        behind.stop();
        QCOMPARE(digest(path), expected.result());
    }

    void aSourceDeletedBeforeSave()
    {
        QTemporaryDir destination;
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Gone.mp4"), QStringLiteral("Gone"));
        QFile::remove(item.value(ItemKey::filePath).toString());
        for (int preset : {1, 3}) {
            const QList<CreationResult> results = runBatch({item}, preset, destination.path());
            QCOMPARE(results.size(), 1);
            QVERIFY(!results.at(0).succeeded);
            QCOMPARE(filesIn(destination.path()), QStringList());
        }
    }

    void twoItemsWithOneTitle()
    {
        QTemporaryDir destination;
        const MovieItem first = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("A.mkv"), QStringLiteral("Twin"));
        const MovieItem second = identified(QStringLiteral("hevc.mkv"), QStringLiteral("B.mkv"), QStringLiteral("Twin"));
        const QList<CreationResult> results = runBatch({first, second}, 3, destination.path());
        QCOMPARE(results.size(), 2);
        QVERIFY(results.at(0).succeeded);
        QVERIFY(!results.at(1).succeeded);
        QVERIFY(QFile::exists(second.value(ItemKey::filePath).toString()));
        QVERIFY(!QFile::exists(first.value(ItemKey::filePath).toString()));
        QVERIFY(!CreationBatch::allSucceeded(results));
    }

    void emptyListFinishes()
    {
        QTemporaryDir destination;
        Progress progress;
        QSignalSpy began(&progress, &Progress::began);
        QSignalSpy ended(&progress, &Progress::ended);
        QCOMPARE(runBatch({}, 3, destination.path()).size(), 0);
    }

    void cancelStopsTheConverterAndKeepsTheSource()
    {
        // A clip long enough to be re-encoded for a while.
        QTemporaryDir destination;
        const QString longSource = m_sources.filePath(QStringLiteral("Long.avi"));
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("ffmpeg"), {QStringLiteral("-nostdin"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                                                QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                                                QStringLiteral("-i"), QStringLiteral("testsrc=size=640x480:rate=25:duration=60"),
                                                QStringLiteral("-c:v"), QStringLiteral("mpeg4"), QStringLiteral("-q:v"),
                                                QStringLiteral("20"), longSource});
        QVERIFY(ffmpeg.waitForFinished(120000));
        MovieItem item = MovieItemFacts::fromProbe(FileProbe(longSource), 0);
        item.insert(ItemKey::movieTitle, QStringLiteral("Long"));
        item.insert(ItemKey::movieFoundStatus, true);
        item.insert(ItemKey::subtitleFound, false);
        const MovieItem next = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Next.mkv"), QStringLiteral("Next"));
        const QByteArray before = digest(longSource);

        const QList<CreationResult> results = runBatch({item, next}, 3, destination.path(), [](CreationBatch &batch) {
            QTest::qWait(700);
            batch.cancel();
        });
        QCOMPARE(results.size(), 2);
        QVERIFY(!results.at(0).succeeded);
        QVERIFY(!results.at(1).succeeded);
        QCOMPARE(digest(longSource), before);
        QVERIFY(QFile::exists(next.value(ItemKey::filePath).toString()));
        QCOMPARE(filesIn(destination.path()), QStringList());
    }
};

KINOVELA_TEST_MAIN(TestCreationBatch)
#include "tst_creationbatch.moc"
