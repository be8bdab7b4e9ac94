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
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>

#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>

namespace {

QByteArray digest(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256) : QByteArray();
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

void writeScript(const QString &path, const QByteArray &text)
{
    QFile script(path);
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write(text);
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
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
        const std::initializer_list<std::pair<QString, QVariant>> facts = {
            {ItemKey::movieTitle, title}, {ItemKey::movieFoundStatus, true}, {ItemKey::movieTMDBID, qint64(27205)},
            {ItemKey::movieGenre, QStringLiteral("Sci-Fi & Fantasy")},
            {ItemKey::movieTagline, QStringLiteral("Your mind is the scene of the crime")},
            {ItemKey::movieOverview, QStringLiteral("A thief who steals secrets.")},
            {ItemKey::movieComposers, QStringLiteral("Hans Zimmer")},
            {ItemKey::movieReleaseDate_YYYYhMMhDD, QStringLiteral("2010-07-15")},
            {ItemKey::movieRating_US, QStringLiteral("mpaa|PG-13|300|")}, {ItemKey::movieLanguage, QStringLiteral("English")},
            {ItemKey::movieCountry, QStringLiteral("United States of America")},
            {ItemKey::movieCast, QStringLiteral("Leonardo DiCaprio\nElliot Page")},
            {ItemKey::movieDirectors, QStringLiteral("Christopher Nolan")}, {ItemKey::movieStudios, QStringLiteral("Syncopy")},
            {ItemKey::subtitleFound, false}};
        for (const auto &[key, value] : facts)
            item.insert(key, value);
        QImage cover(40, 60, QImage::Format_RGB32);
        cover.fill(Qt::darkRed);
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        buffer.open(QIODevice::WriteOnly);
        cover.save(&buffer, "JPEG");
        item.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage::fromEncoded(jpeg)));
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
        return finished.isEmpty() ? QList<CreationResult>() : batch.results();
    }

private Q_SLOTS:
    void tagsAreReadBackByTagLibAndTheProbe()
    {
        MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Tagged.mp4"), QStringLiteral("Inception"));
        const QString path = item.value(ItemKey::filePath).toString();
        QVERIFY(TagWriter::writeTagsWithFileAtPath(path, item));
        const FileProbe probe(path);
        QVERIFY(probe.isAcceptable());
        for (const auto &[key, value] : {std::pair{"Title", "Inception"}, {"Genre", "Sci-Fi & Fantasy"},
                                         {"Tagline", "Your mind is the scene of the crime"},
                                         {"Synopsis", "A thief who steals secrets."}, {"Release Date", "2010-07-15"},
                                         {"HD", "No"}, {"Media Kind", "Movie"}, {"Rating", "mpaa|PG-13|300|"},
                                         {"Encoder", "Kinovela"}, {"Comment", "English, United States of America"},
                                         {"Composer", "Hans Zimmer"}})
            QCOMPARE(metadataValue(probe, key), QString::fromUtf8(value));
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

        // Fields that are missing or out of range are skipped; the file stays readable.
        item.remove(ItemKey::movieGenre);
        item.insert(ItemKey::movieTMDBID, qint64(1) << 40);
        item.insert(ItemKey::mediaType, qint64(-3));
        item.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage::fromEncoded("not a picture")));
        const QString sparse = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Sparse.mp4"), QString())
                                   .value(ItemKey::filePath).toString();
        QVERIFY(TagWriter::writeTagsWithFileAtPath(sparse, item));
        TagLib::MP4::File sparseFile(QFile::encodeName(sparse).constData());
        for (const char *name : {"cnID", "stik", "\251gen", "covr"})
            QVERIFY2(!sparseFile.tag()->contains(name), name);
        QVERIFY(FileProbe(sparse).isAcceptable());
        QCOMPARE(TagWriter::writeTagsWithFileAtPath(TestEnvironment::media(QStringLiteral("text.txt")), item).errorKind(),
                 ErrorKind::Invalid);
    }

    void presetsEndToEnd_data()
    {
        QTest::addColumn<int>("preset");
        QTest::addColumn<QString>("media");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("codecs"); // of the output, when it matters
        QTest::newRow("tag in place") << 1 << QStringLiteral("h264-aac.mp4") << QStringLiteral("tag") << QString();
        QTest::newRow("tag and move") << 2 << QStringLiteral("h264-aac.mp4") << QStringLiteral("move") << QString();
        QTest::newRow("convert") << 3 << QStringLiteral("h264-aac.mp4") << QStringLiteral("convert") << QString();
        QTest::newRow("convert with subtitle") << 4 << QStringLiteral("mpeg4-mp3.avi") << QStringLiteral("convert")
                                               << QStringLiteral("h264 aac mov_text mjpeg");
    }

    void presetsEndToEnd()
    {
        QFETCH(int, preset);
        QFETCH(QString, media);
        QFETCH(QString, action);
        QFETCH(QString, codecs);
        QTemporaryDir destination;
        MovieItem item = identified(media, QStringLiteral("In.") + QFileInfo(media).suffix(), QStringLiteral("AC/DC: Live"));
        if (preset == 4) {
            const QString subtitle = m_sources.filePath(QStringLiteral("In.srt"));
            QFile file(subtitle);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("1\n00:00:00,500 --> 00:00:01,500\nHello.\n");
            item.insert(ItemKey::subtitleFound, true);
            item.insert(ItemKey::downloadedSubtitlePath, subtitle);
        }
        const QString source = item.value(ItemKey::filePath).toString();
        const QList<CreationResult> results = runBatch({item}, preset, destination.path());
        QCOMPARE(results.size(), 1);
        QVERIFY2(results.at(0).succeeded(), qPrintable(results.at(0).reason()));
        QCOMPARE(results.at(0).action, action);
        QCOMPARE(QFile::exists(source), preset == 1);
        const QString output = preset == 1 ? source : destination.filePath(QStringLiteral("AC:DC: Live.mp4"));
        QCOMPARE(results.at(0).outputPath, output);
        const FileProbe probe(output);
        QCOMPARE(metadataValue(probe, "Title"), QStringLiteral("AC/DC: Live"));
        QCOMPARE(filesIn(destination.path()), preset == 1 ? QStringList() : QStringList{QStringLiteral("AC:DC: Live.mp4")});
        QStringList made;
        for (const QVariant &track : probe.tracksInfo)
            made.append(track.toMap().value(TrackKey::trackCodec).toString());
        if (!codecs.isEmpty())
            QCOMPARE(made.join(QLatin1Char(' ')), codecs);
    }

    void failuresNeverLoseTheSource_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<int>("preset");
        QTest::addColumn<int>("kind"); // -1: any
        QTest::newRow("corrupt source") << QStringLiteral("corrupt") << 3 << -1;
        QTest::newRow("missing converter") << QStringLiteral("converter") << 3 << int(ErrorKind::Missing);
        QTest::newRow("final path taken by the item before") << QStringLiteral("taken") << 3 << int(ErrorKind::Exists);
        QTest::newRow("source deleted, tag in place") << QStringLiteral("deleted") << 1 << int(ErrorKind::Missing);
        QTest::newRow("source deleted, convert") << QStringLiteral("deleted") << 3 << int(ErrorKind::Missing);
        // The converted movie is about 100 KB; the destination holds 48 KB. Where no small file system can be
        // mounted, a converter that writes part of a file and gives up as ffmpeg does on a full disk stands in.
        QTest::newRow("full disk") << QStringLiteral("full") << 3 << -1;
    }

    void failuresNeverLoseTheSource()
    {
        QFETCH(QString, failure);
        QFETCH(int, preset);
        QFETCH(int, kind);
        QTemporaryDir plainFolder;
        QTemporaryDir tools;
        SmallDisk disk(48 * 1024);
        const QString destination = failure == QLatin1String("full") && disk.isValid() ? disk.path() : plainFolder.path();
        QList<MovieItem> items{identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Keep.mkv"), QStringLiteral("Keep"))};
        const QString source = items.first().value(ItemKey::filePath).toString();
        if (failure == QLatin1String("corrupt")) {
            QFile::remove(source);
            QFile::copy(TestEnvironment::media(QStringLiteral("truncated.mp4")), source);
        } else if (failure == QLatin1String("converter")) {
            qputenv("KINOVELA_FFMPEG", "/nonexistent/ffmpeg");
        } else if (failure == QLatin1String("taken")) {
            items.prepend(identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("First.mkv"), QStringLiteral("Keep")));
        } else if (failure == QLatin1String("deleted")) {
            QFile::remove(source);
        } else if (!disk.isValid()) {
            writeScript(tools.filePath(QStringLiteral("ffmpeg")),
                        "#!/bin/sh\nfor last; do :; done\nhead -c 3000 /dev/urandom > \"$last\"\n"
                        "echo 'av_interleaved_write_frame(): No space left on device' >&2\necho 'Conversion failed!' >&2\nexit 1\n");
            qputenv("KINOVELA_FFMPEG", QFile::encodeName(tools.filePath(QStringLiteral("ffmpeg"))));
        }
        const QByteArray before = digest(source);
        const QList<CreationResult> results = runBatch(items, preset, destination);
        qunsetenv("KINOVELA_FFMPEG");
        QCOMPARE(results.size(), items.size());
        QVERIFY(!results.last().succeeded());
        QVERIFY(!results.last().reason().isEmpty());
        if (kind >= 0)
            QCOMPARE(int(results.last().status.errorKind()), kind);
        QVERIFY(!CreationBatch::allSucceeded(results));
        QCOMPARE(digest(source), before);
        if (failure == QLatin1String("taken")) {
            // The first item was created; the second was refused before any work: no file under another name.
            QVERIFY2(results.first().succeeded(), qPrintable(results.first().reason()));
            QCOMPARE(filesIn(destination), QStringList{QStringLiteral("Keep.mp4")});
            QVERIFY(FileProbe(QDir(destination).filePath(QStringLiteral("Keep.mp4"))).isValidMediaFile);
        } else {
            QCOMPARE(filesIn(destination), QStringList());
        }
    }

    void titlesBecomeSafeVisibleNames_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const QString &file, const QString &title, const QString &expected) {
            QTest::newRow(name) << file << title << expected;
        };
        row("plain", QStringLiteral("A.mkv"), QStringLiteral("Heat"), QStringLiteral("Heat.mp4"));
        row("slash", QStringLiteral("A.mkv"), QStringLiteral("AC/DC: Live"), QStringLiteral("AC:DC: Live.mp4"));
        row("control characters", QStringLiteral("A.mkv"), QStringLiteral("Bell\u0007 and\x1b[31m red"),
            QStringLiteral("Bell and[31m red.mp4"));
        row("NUL", QStringLiteral("A.mkv"), QString(QStringLiteral("Before") + QChar(0) + QStringLiteral("After")),
            QStringLiteral("BeforeAfter.mp4"));
        row("leading dots", QStringLiteral("A.mkv"), QStringLiteral("...And Justice for All"),
            QStringLiteral("And Justice for All.mp4"));
        row("300 characters", QStringLiteral("A.mkv"), QString(300, QLatin1Char('a')), QString(251, QLatin1Char('a')) + QStringLiteral(".mp4"));
        // Two bytes each: cut before a character, never through one.
        row("300 accented", QStringLiteral("A.mkv"), QString(300, QChar(0xe9)), QString(125, QChar(0xe9)) + QStringLiteral(".mp4"));
        row("dot", QStringLiteral("Holiday.2019.mkv"), QStringLiteral("."), QStringLiteral("Holiday.2019.mp4"));
        row("dot dot", QStringLiteral("A.mkv"), QStringLiteral(".."), QStringLiteral("A.mp4"));
        row("unidentified", QStringLiteral("Holiday.2019.mkv"), QString(), QStringLiteral("Holiday.2019.mp4"));
        row("title like an option", QStringLiteral("A.mkv"), QStringLiteral("-y"), QStringLiteral("-y.mp4"));
        // The converter is handed absolute paths: "-y.mkv" is a file, never an option.
        row("source like an option", QStringLiteral("-y.mkv"), QStringLiteral("Dash"), QStringLiteral("Dash.mp4"));
    }

    void titlesBecomeSafeVisibleNames()
    {
        QFETCH(QString, fileName);
        QFETCH(QString, title);
        QFETCH(QString, expected);
        QTemporaryDir destination;
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), fileName, title);
        const QString source = item.value(ItemKey::filePath).toString();
        const QList<CreationResult> results = runBatch({item}, 3, destination.path());
        QCOMPARE(results.size(), 1);
        QVERIFY2(results.at(0).succeeded(), qPrintable(results.at(0).reason()));
        QVERIFY(!QFile::exists(source));
        QCOMPARE(filesIn(destination.path()), QStringList{expected});
        QCOMPARE(results.at(0).outputPath, destination.filePath(expected));
        QVERIFY(results.at(0).sourceFate.startsWith(QLatin1String("moved to the Trash")));
    }

    void movesToAnotherFileSystem()
    {
        SmallDisk roomy(4 * 1024 * 1024);
        KINOVELA_REQUIRE_SMALL_DISK(roomy);
        const MovieItem item = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Away.mp4"), QStringLiteral("Away"));
        const QList<CreationResult> moved = runBatch({item}, 2, roomy.path());
        QVERIFY2(moved.size() == 1 && moved.at(0).succeeded(), qPrintable(moved.value(0).reason()));
        QVERIFY(!QFile::exists(item.value(ItemKey::filePath).toString()));
        QCOMPARE(filesIn(roomy.path()), QStringList{QStringLiteral("Away.mp4")});
        QCOMPARE(metadataValue(FileProbe(roomy.filePath(QStringLiteral("Away.mp4"))), "Title"), QStringLiteral("Away"));

        // A destination too small for the movie: the partial copy goes, the movie stays where it was.
        SmallDisk cramped(48 * 1024);
        KINOVELA_REQUIRE_SMALL_DISK(cramped);
        const MovieItem second = identified(QStringLiteral("h264-aac.mp4"), QStringLiteral("Stay.mp4"), QStringLiteral("Stay"));
        const QList<CreationResult> refused = runBatch({second}, 2, cramped.path());
        QVERIFY(refused.size() == 1 && !refused.at(0).succeeded() && !refused.at(0).reason().isEmpty());
        QVERIFY(FileProbe(second.value(ItemKey::filePath).toString()).isValidMediaFile);
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
            QVERIFY(file.write(block) == block.size() && file.flush());
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

    void emptyListFinishes()
    {
        Progress progress;
        CreationBatch batch(&progress);
        QSignalSpy finished(&batch, &CreationBatch::finished);
        batch.creationTaskWithDestinationFolder(m_sources.path(), {}, Preset::Convert);
        QVERIFY(finished.wait(5000));
        QVERIFY(batch.results().isEmpty());
    }

    void cancelStopsTheConverterAndKeepsTheSource()
    {
        // A clip long enough to be re-encoded for a while.
        QTemporaryDir destination;
        const QString longSource = m_sources.filePath(QStringLiteral("Long.avi"));
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("ffmpeg"), QStringLiteral("-nostdin -loglevel error -y -f lavfi -i "
                                                              "testsrc=size=640x480:rate=25:duration=60 -c:v mpeg4 -q:v 20")
                                                       .split(QLatin1Char(' ')) << longSource);
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
        for (const CreationResult &result : results)
            QCOMPARE(result.status.errorKind(), ErrorKind::Cancelled);
        QCOMPARE(digest(longSource), before);
        QVERIFY(QFile::exists(next.value(ItemKey::filePath).toString()));
        QCOMPARE(filesIn(destination.path()), QStringList());
    }
};

KINOVELA_TEST_MAIN(TestCreationBatch)
#include "tst_creationbatch.moc"
