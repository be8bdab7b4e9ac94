#include "creation/Mp4TagSpace.h"
#include "creation/TagWriter.h"
#include "base/ItemImage.h"
#include "base/MovieItemKeys.h"
#include "support/SmallDisk.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Run run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(120000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

// ffmpeg decodes every frame and reports nothing at error level.
bool decodesCleanly(const QString &path)
{
    const Run r = run(QStringLiteral("ffmpeg"),
                      {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                       QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    if (r.exitCode != 0 || !r.err.trimmed().isEmpty())
        qWarning("ffmpeg: %s", r.err.constData());
    return r.exitCode == 0 && r.err.trimmed().isEmpty();
}

QString probeEntry(const QString &path, const QString &entry)
{
    const Run r = run(QStringLiteral("ffprobe"),
                      {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"), entry,
                       QStringLiteral("-of"), QStringLiteral("default=nw=1:nk=1"), path});
    return QString::fromUtf8(r.out).trimmed();
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

Mp4TagSpace::Layout layoutOf(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return Mp4TagSpace::readLayout(f);
}

QByteArray mediaDataDigest(const QString &path)
{
    const Mp4TagSpace::Layout layout = layoutOf(path);
    const int i = layout.indexOf("mdat");
    if (i < 0)
        return {};
    return QCryptographicHash::hash(readAll(path).mid(layout.atoms.at(i).offset + 8, layout.atoms.at(i).size - 8),
                                    QCryptographicHash::Sha1);
}

QByteArray atom(const char *type, const QByteArray &body)
{
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(quint32(body.size() + 8), reinterpret_cast<uchar *>(out.data()));
    return out + QByteArray(type, 4) + body;
}

QByteArray atom64(const char *type, const QByteArray &body, quint64 declared = 0)
{
    QByteArray out(16, '\0');
    qToBigEndian<quint32>(1, reinterpret_cast<uchar *>(out.data()));
    out.replace(4, 4, QByteArray(type, 4));
    qToBigEndian<quint64>(declared ? declared : quint64(body.size() + 16), reinterpret_cast<uchar *>(out.data()) + 8);
    return out + body;
}

MovieItem itemWithPoster(const QByteArray &jpeg)
{
    MovieItem item;
    item.insert(ItemKey::movieTitle, QStringLiteral("Le Voyage dans la Lune"));
    item.insert(ItemKey::movieGenre, QStringLiteral("Science Fiction"));
    item.insert(ItemKey::movieOverview, QString(2000, QLatin1Char('x')));
    item.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage(jpeg, QStringLiteral("poster"))));
    return item;
}

} // namespace

class TestMp4TagSpace : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_headerLast;   // media data first, header at the end (the converter's default)
    QString m_headerFirst;  // header first ("faststart")
    QString m_openEnded;    // header first, media data sized "to the end of the file"
    QByteArray m_poster;    // a noisy JPEG, large as real posters are
    int m_copies = 0;

    QString copyOf(const QString &source)
    {
        const QString path = m_dir.filePath(QStringLiteral("copy%1.mp4").arg(++m_copies));
        QFile::copy(source, path);
        return path;
    }

    QString sourceFor(const QString &layout)
    {
        if (layout == QLatin1String("header last"))
            return m_headerLast;
        if (layout == QLatin1String("header first"))
            return m_headerFirst;
        return m_openEnded;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_headerLast = m_dir.filePath(QStringLiteral("last.mp4"));
        m_headerFirst = m_dir.filePath(QStringLiteral("first.mp4"));
        m_openEnded = m_dir.filePath(QStringLiteral("open.mp4"));
        const QStringList common = {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                                    QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                    QStringLiteral("testsrc=size=160x120:rate=10:duration=2"),
                                    QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                    QStringLiteral("sine=frequency=440:duration=2"),
                                    QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-c:a"), QStringLiteral("aac"),
                                    QStringLiteral("-shortest")};
        QCOMPARE(run(QStringLiteral("ffmpeg"), common + QStringList{m_headerLast}).exitCode, 0);
        QCOMPARE(run(QStringLiteral("ffmpeg"), common + QStringList{QStringLiteral("-movflags"), QStringLiteral("+faststart"),
                                                                    m_headerFirst}).exitCode, 0);

        // Same file with the media data's size field set to 0 ("runs to the end").
        QByteArray bytes = readAll(m_headerFirst);
        const Mp4TagSpace::Layout layout = layoutOf(m_headerFirst);
        QVERIFY(layout.ok);
        QCOMPARE(layout.atoms.last().type, QByteArray("mdat"));
        qToBigEndian<quint32>(0, reinterpret_cast<uchar *>(bytes.data()) + layout.atoms.last().offset);
        writeAll(m_openEnded, bytes);

        QVERIFY(layoutOf(m_headerLast).indexOf("moov") > layoutOf(m_headerLast).indexOf("mdat"));
        QVERIFY(layoutOf(m_headerFirst).indexOf("moov") < layoutOf(m_headerFirst).indexOf("mdat"));
        QVERIFY(layoutOf(m_openEnded).atoms.last().toEndOfFile);
        QVERIFY(decodesCleanly(m_openEnded));

        const QString poster = m_dir.filePath(QStringLiteral("poster.jpg"));
        QCOMPARE(run(QStringLiteral("ffmpeg"), {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                                                QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                                QStringLiteral("nullsrc=s=500x750,geq=random(1)*255:128:128"),
                                                QStringLiteral("-frames:v"), QStringLiteral("1"), QStringLiteral("-q:v"),
                                                QStringLiteral("2"), poster}).exitCode, 0);
        m_poster = readAll(poster);
        QVERIFY(m_poster.size() > 100000);
    }

    void readsTopLevelAtoms_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("types"); // empty: refused
        const QByteArray ftyp = atom("ftyp", "isom\0\0\0\0isom");
        const QByteArray moov = atom("moov", atom("mvhd", QByteArray(100, '\0')));
        QTest::newRow("plain") << ftyp + moov + atom("mdat", "abcd") << QStringLiteral("ftyp moov mdat");
        QTest::newRow("64-bit size") << ftyp + atom64("mdat", "abcd") + moov << QStringLiteral("ftyp mdat moov");
        QByteArray open = ftyp + moov + atom("mdat", "abcdef");
        qToBigEndian<quint32>(0, reinterpret_cast<uchar *>(open.data()) + ftyp.size() + moov.size());
        QTest::newRow("size 0 at the end") << open << QStringLiteral("ftyp moov mdat");
        QTest::newRow("empty file") << QByteArray() << QString();
        QTest::newRow("text") << QByteArray("just some words, not a movie at all") << QString();
        QTest::newRow("truncated atom") << ftyp + moov + atom("mdat", "abcd").chopped(1) << QString();
        QTest::newRow("trailing bytes") << ftyp + moov + QByteArray("xyz") << QString();
        QByteArray tiny = ftyp + moov + atom("mdat", "abcd");
        qToBigEndian<quint32>(4, reinterpret_cast<uchar *>(tiny.data()) + ftyp.size() + moov.size());
        QTest::newRow("size below header") << tiny << QString();
        QTest::newRow("64-bit size past the end") << ftyp + moov + atom64("mdat", "abcd", 1ull << 40) << QString();
        QTest::newRow("64-bit size below header") << ftyp + moov + atom64("mdat", "abcd", 9) << QString();
        QTest::newRow("no ftyp first") << moov + ftyp << QString();
        QTest::newRow("no movie header") << ftyp + atom("mdat", "abcd") << QString();
    }

    void readsTopLevelAtoms()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, types);
        QBuffer buffer(&bytes);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        const Mp4TagSpace::Layout layout = Mp4TagSpace::readLayout(buffer);
        QStringList seen;
        for (const Mp4TagSpace::Atom &a : layout.atoms)
            seen << QString::fromLatin1(a.type);
        QCOMPARE(layout.ok, !types.isEmpty());
        QCOMPARE(seen.join(QLatin1Char(' ')), types);
        if (!layout.ok)
            QVERIFY(!layout.error.isEmpty());
        else
            QCOMPARE(layout.atoms.last().offset + layout.atoms.last().size, qint64(bytes.size()));
    }

    void refusesDamagedFilesUntouched_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray ftyp = atom("ftyp", "isom\0\0\0\0isom");
        QTest::newRow("truncated") << readAll(m_headerFirst).chopped(5);
        QTest::newRow("garbage after the media") << readAll(m_headerFirst) + QByteArray(5, '\x7f');
        // The header claims more children than it holds: its atoms do not add up.
        QTest::newRow("damaged header")
            << ftyp + atom("moov", atom("mvhd", QByteArray(10, '\0')) + QByteArray("\0\0\x01\0trak", 8)) + atom("mdat", "abcd");
        QTest::newRow("not a movie") << QByteArray("hello, this is text and not a movie file");
    }

    void refusesDamagedFilesUntouched()
    {
        QFETCH(QByteArray, bytes);
        const QString path = m_dir.filePath(QStringLiteral("damaged.mp4"));
        writeAll(path, bytes);
        const Mp4TagSpace::Result result = Mp4TagSpace::prepareForTags(path, 100000);
        QVERIFY(!result.ok);
        QVERIFY(result.error.contains(path));
        QCOMPARE(result.stepsDone, 0);
        QCOMPARE(readAll(path), bytes);
    }

    void everyStepLeavesAPlayableFile_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<int>("maxSteps");
        QTest::addColumn<int>("expectedSteps");
        QTest::addColumn<bool>("relocated");
        QTest::addColumn<bool>("scratch");
        for (int k = 0; k <= 3; ++k) {
            // Rewriting a header in place is never safe: a user's file gets a fresh copy in either layout.
            QTest::addRow("header last, stop after %d", k) << QStringLiteral("header last") << k << qMin(k, 2) << (k >= 2) << false;
            QTest::addRow("header first, stop after %d", k) << QStringLiteral("header first") << k << qMin(k, 2) << (k >= 2) << false;
            QTest::addRow("open-ended media, stop after %d", k) << QStringLiteral("open-ended") << k << k << (k >= 3) << false;
        }
        // A scratch file whose header already follows the media grows where it is.
        QTest::newRow("scratch file, header last") << QStringLiteral("header last") << -1 << 0 << false << true;
        QTest::newRow("scratch file, header first") << QStringLiteral("header first") << -1 << 2 << true << true;
    }

    void everyStepLeavesAPlayableFile()
    {
        QFETCH(QString, layout);
        QFETCH(int, maxSteps);
        QFETCH(int, expectedSteps);
        QFETCH(bool, relocated);
        QFETCH(bool, scratch);
        const QString source = sourceFor(layout);
        const QString path = copyOf(source);
        const QByteArray mediaBefore = mediaDataDigest(path);
        const qint64 mediaOffset = layoutOf(path).atoms.at(layoutOf(path).indexOf("mdat")).offset;

        const Mp4TagSpace::Result result = Mp4TagSpace::prepareForTags(
            path, 300000, maxSteps, scratch ? Mp4TagSpace::Durability::Scratch : Mp4TagSpace::Durability::Synced);
        QVERIFY2(result.ok, qPrintable(result.error));
        QCOMPARE(result.stepsDone, expectedSteps);
        QCOMPARE(result.relocated, relocated);

        QVERIFY(decodesCleanly(path));
        QCOMPARE(probeEntry(path, QStringLiteral("format=duration")), probeEntry(source, QStringLiteral("format=duration")));
        const Mp4TagSpace::Layout after = layoutOf(path);
        QVERIFY2(after.ok, qPrintable(after.error));
        QCOMPARE(after.atoms.at(after.indexOf("mdat")).offset, mediaOffset);
        QCOMPARE(mediaDataDigest(path), mediaBefore);
        if (relocated) {
            // The only header left is the copy at the end, with room for the tags.
            QCOMPARE(after.atoms.last().type, QByteArray("moov"));
            QCOMPARE(after.atoms.count(), layoutOf(source).atoms.count() + 1);
            QVERIFY(Mp4TagSpace::paddingBesideTags(path) >= 300000 + 8);
        }
        if (expectedSteps == 0)
            QCOMPARE(readAll(path), readAll(source));
    }

    void tagsWrittenAfterwardsAreReadBack_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::newRow("header last") << QStringLiteral("header last");
        QTest::newRow("header first") << QStringLiteral("header first");
        QTest::newRow("open-ended media") << QStringLiteral("open-ended");
    }

    void tagsWrittenAfterwardsAreReadBack()
    {
        QFETCH(QString, layout);
        const QString path = copyOf(sourceFor(layout));
        const QByteArray mediaBefore = mediaDataDigest(path);
        const qint64 mediaOffset = layoutOf(path).atoms.at(layoutOf(path).indexOf("mdat")).offset;
        const MovieItem item = itemWithPoster(m_poster);

        // The writer makes its own room.
        const TagWriter::Result written = TagWriter::writeTagsWithFileAtPath(path, item);
        QVERIFY2(written.ok, qPrintable(written.error));

        QCOMPARE(probeEntry(path, QStringLiteral("format_tags=title")), QStringLiteral("Le Voyage dans la Lune"));
        QCOMPARE(probeEntry(path, QStringLiteral("format_tags=genre")), QStringLiteral("Science Fiction"));
        QCOMPARE(layoutOf(path).atoms.last().type, QByteArray("moov"));
        QVERIFY(decodesCleanly(path));
        QCOMPARE(layoutOf(path).atoms.at(layoutOf(path).indexOf("mdat")).offset, mediaOffset);
        QCOMPARE(mediaDataDigest(path), mediaBefore);

        // A second, smaller round fits the room left: nothing moves, the file does not grow.
        const qint64 size = QFileInfo(path).size();
        const Mp4TagSpace::Result again = Mp4TagSpace::prepareForTags(path, 1000);
        QVERIFY(again.ok);
        QVERIFY(!again.relocated);
        QCOMPARE(again.stepsDone, 0);
        MovieItem retitled = item;
        retitled.insert(ItemKey::movieTitle, QStringLiteral("A Trip to the Moon"));
        QVERIFY(TagWriter::writeTagsWithFileAtPath(path, retitled).ok);
        QCOMPARE(probeEntry(path, QStringLiteral("format_tags=title")), QStringLiteral("A Trip to the Moon"));
        QVERIFY(QFileInfo(path).size() <= size + 4096);
        QVERIFY(decodesCleanly(path));
    }

    void aFullDiskIsAFailureNeverADamagedFile_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<bool>("scratch");
        // A user's file is refused before anything is written.
        QTest::newRow("header last") << QStringLiteral("header last") << false;
        QTest::newRow("header first") << QStringLiteral("header first") << false;
        // A scratch file's trailing header grows in place and the disk refuses part of the write.
        QTest::newRow("scratch file, header last") << QStringLiteral("header last") << true;
    }

    void aFullDiskIsAFailureNeverADamagedFile()
    {
        QFETCH(QString, layout);
        QFETCH(bool, scratch);
        SmallDisk disk(2 * 1024 * 1024);
        KINOVELA_REQUIRE_SMALL_DISK(disk);
        const QString path = disk.filePath(QStringLiteral("Full.mp4"));
        QVERIFY(QFile::copy(sourceFor(layout), path));
        QVERIFY(disk.leaveFree(64 * 1024));
        const QByteArray before = readAll(path);

        const TagWriter::Result written = TagWriter::writeTagsWithFileAtPath(
            path, itemWithPoster(m_poster), scratch ? Mp4TagSpace::Durability::Scratch : Mp4TagSpace::Durability::Synced);
        QVERIFY(!written.ok);
        QVERIFY(!written.error.isEmpty());
        if (!scratch) {
            QVERIFY2(written.error.contains(QLatin1String("free space")), qPrintable(written.error));
            QCOMPARE(readAll(path), before);
        }
    }

    void tracksOfCompleteAndIncompleteFiles()
    {
        QCOMPARE(Mp4TagSpace::trackKinds(m_headerLast), (QList<QByteArray>{"vide", "soun"}));
        QCOMPARE(Mp4TagSpace::trackKinds(m_headerFirst), (QList<QByteArray>{"vide", "soun"}));
        const QString cut = m_dir.filePath(QStringLiteral("cut.mp4"));
        writeAll(cut, readAll(m_headerLast).chopped(100));
        QCOMPARE(Mp4TagSpace::trackKinds(cut), QList<QByteArray>());
        QCOMPARE(Mp4TagSpace::trackKinds(m_dir.filePath(QStringLiteral("missing.mp4"))), QList<QByteArray>());
    }

    void unwritableFileIsRefused()
    {
        const Mp4TagSpace::Result result = Mp4TagSpace::prepareForTags(m_dir.filePath(QStringLiteral("missing.mp4")), 10);
        QVERIFY(!result.ok);
        QVERIFY(!result.error.isEmpty());
    }
};

KINOVELA_TEST_MAIN(TestMp4TagSpace)
#include "tst_mp4tagspace.moc"
