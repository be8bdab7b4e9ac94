#include "creation/Mp4TagSpace.h"
#include "creation/TagWriter.h"
#include "base/ItemImage.h"
#include "support/SmallDisk.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QProcess>
#include <QtEndian>

namespace {

using Mp4TagSpace::Durability;
using Mp4TagSpace::Layout;

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// Runs a tool; with @p decode, true when ffmpeg decodes every frame and reports nothing at error level.
QByteArray run(const char *tool, const QStringList &arguments, bool *clean = nullptr)
{
    QProcess process;
    process.start(QString::fromLatin1(tool), arguments);
    process.waitForFinished(120000);
    const QByteArray err = process.readAllStandardError().trimmed();
    if (clean)
        *clean = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 && err.isEmpty();
    if (!err.isEmpty())
        qWarning("%s: %s", tool, err.constData());
    return process.readAllStandardOutput();
}

bool decodesCleanly(const QString &path)
{
    bool clean = false;
    run("ffmpeg", words("-nostdin -v error -i") + QStringList{path} + words("-f null -"), &clean);
    return clean;
}

QString probeEntry(const QString &path, const char *entry)
{
    return QString::fromUtf8(run("ffprobe", words("-v error -of default=nw=1:nk=1 -show_entries")
                                                + QStringList{QString::fromLatin1(entry), path}))
        .trimmed();
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

Layout layoutOf(const QString &path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    const Outcome<Layout> layout = Mp4TagSpace::readLayout(f);
    return layout ? *layout : Layout();
}

const Mp4TagSpace::Atom &mediaData(const Layout &layout)
{
    return layout.atoms.at(layout.indexOf("mdat"));
}

QByteArray mediaDataDigest(const QString &path)
{
    const Mp4TagSpace::Atom mdat = mediaData(layoutOf(path));
    return QCryptographicHash::hash(readAll(path).mid(mdat.offset + 8, mdat.size - 8), QCryptographicHash::Sha1);
}

QByteArray atom(const char *type, const QByteArray &body, quint32 declared = 0)
{
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(declared ? declared : quint32(body.size() + 8), reinterpret_cast<uchar *>(out.data()));
    return out + QByteArray(type, 4) + body;
}

QByteArray atom64(const char *type, const QByteArray &body, quint64 declared = 0)
{
    QByteArray size(8, '\0');
    qToBigEndian<quint64>(declared ? declared : quint64(body.size() + 16), reinterpret_cast<uchar *>(size.data()));
    return atom(type, size + body, 1);
}

QString typesOf(const Outcome<QList<Mp4Atom::Header>> &atoms)
{
    QStringList types;
    for (const Mp4Atom::Header &a : atoms ? *atoms : QList<Mp4Atom::Header>())
        types << QString::fromLatin1(a.type);
    return types.join(QLatin1Char(' '));
}

// A layout described as "ftyp moov mdat": 1000 bytes each; "mdat*" runs to the end, "mdat+" too, beyond 4 GiB.
Layout layoutFrom(const QString &description)
{
    Layout layout;
    for (const QString &word : description.split(QLatin1Char(' '))) {
        Mp4TagSpace::Atom a{word.left(4).toLatin1(), layout.fileSize, word.endsWith(QLatin1Char('+')) ? qint64(5) << 30 : 1000};
        a.toEndOfFile = word.size() > 4;
        layout.atoms.append(a);
        layout.fileSize += a.size;
    }
    return layout;
}

QString describe(const Outcome<QList<Mp4TagSpace::Step>> &steps)
{
    if (!steps)
        return QStringLiteral("refused %1").arg(int(steps.errorKind()));
    QStringList names;
    for (const Mp4TagSpace::Step step : *steps)
        names << QString::number(int(step));
    return names.join(QLatin1Char(' '));
}

} // namespace

class TestMp4TagSpace : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QMap<QString, QString> m_sources; // "header last" (the converter's default), "header first", "open-ended"
    QByteArray m_poster;               // a noisy JPEG, large as real posters are
    int m_copies = 0;

    QString copyOf(const QString &layout)
    {
        const QString path = m_dir.filePath(QStringLiteral("copy%1.mp4").arg(++m_copies));
        QFile::copy(m_sources.value(layout), path);
        return path;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        for (const char *name : {"header last", "header first", "open-ended"})
            m_sources.insert(QString::fromLatin1(name), m_dir.filePath(QString::fromLatin1(name) + QStringLiteral(".mp4")));
        const QStringList common = words("-nostdin -v error -y -f lavfi -i testsrc=size=160x120:rate=10:duration=2 -f lavfi "
                                         "-i sine=frequency=440:duration=2 -c:v libx264 -c:a aac -shortest");
        bool clean = false;
        run("ffmpeg", common + QStringList{m_sources.value(QStringLiteral("header last"))}, &clean);
        QVERIFY(clean);
        run("ffmpeg", common + words("-movflags +faststart") + QStringList{m_sources.value(QStringLiteral("header first"))}, &clean);
        QVERIFY(clean);
        // The same file with the media data's size field set to 0 ("runs to the end").
        QByteArray bytes = readAll(m_sources.value(QStringLiteral("header first")));
        const Layout first = layoutOf(m_sources.value(QStringLiteral("header first")));
        QCOMPARE(first.atoms.last().type, QByteArray("mdat"));
        qToBigEndian<quint32>(0, reinterpret_cast<uchar *>(bytes.data()) + first.atoms.last().offset);
        writeAll(m_sources.value(QStringLiteral("open-ended")), bytes);
        QVERIFY(layoutOf(m_sources.value(QStringLiteral("open-ended"))).atoms.last().toEndOfFile);
        QVERIFY(decodesCleanly(m_sources.value(QStringLiteral("open-ended"))));

        const QString poster = m_dir.filePath(QStringLiteral("poster.jpg"));
        run("ffmpeg", words("-nostdin -v error -f lavfi -i nullsrc=s=500x750,geq=random(1)*255:128:128 -frames:v 1 -q:v 2")
                          + QStringList{poster});
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
        QTest::newRow("size below header") << ftyp + moov + atom("mdat", "abcd", 4) << QString();
        QTest::newRow("64-bit size past the end") << ftyp + moov + atom64("mdat", "abcd", 1ull << 40) << QString();
        QTest::newRow("64-bit size below header") << ftyp + moov + atom64("mdat", "abcd", 9) << QString();
        QTest::newRow("64-bit header cut") << ftyp + moov + atom64("mdat", "").left(12) << QString();
        QTest::newRow("no ftyp first") << moov + ftyp << QString();
        QTest::newRow("no movie header") << ftyp + atom("mdat", "abcd") << QString();
    }

    void readsTopLevelAtoms()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, types);
        QBuffer buffer(&bytes);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        const Outcome<Layout> layout = Mp4TagSpace::readLayout(buffer);
        QCOMPARE(layout.ok(), !types.isEmpty());
        QCOMPARE(layout ? typesOf(layout->atoms) : QString(), types);
        QVERIFY(layout || !layout.errorText().isEmpty());
        // Read from the device or from the bytes, the atoms are the same.
        QCOMPARE(typesOf(Mp4Atom::readAll(bytes, 0, bytes.size())), typesOf(Mp4Atom::readAll(buffer, 0, bytes.size())));
    }

    void plansTheSteps_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<bool>("scratch");
        QTest::addColumn<qint64>("roomForTags"); // -1: no tag list
        QTest::addColumn<qint64>("copySize");    // -1: the header is damaged
        QTest::addColumn<qint64>("freeBytes");
        QTest::addColumn<QString>("steps");      // 1 close, 2 append, 3 retire
        const auto row = [](const char *name, const char *layout, bool scratch, qint64 room, qint64 copy, qint64 free,
                            const QString &steps) {
            QTest::newRow(name) << QString::fromLatin1(layout) << scratch << room << copy << free << steps;
        };
        const auto refused = [](ErrorKind kind) { return QStringLiteral("refused %1").arg(int(kind)); };
        const qint64 lots = qint64(1) << 40;
        const qint64 margin = 1024 * 1024; // tags of 5000 bytes, a header copy of 9000
        row("tags fit exactly", "ftyp moov mdat", false, 5008, 0, lots, QString());
        row("one byte short", "ftyp moov mdat", false, 5007, 9000, lots, QStringLiteral("2 3"));
        row("no tag list", "ftyp mdat moov", false, -1, 9000, lots, QStringLiteral("2 3"));
        row("scratch, header last", "ftyp mdat moov", true, -1, -1, 0, QString());
        row("scratch, header first", "ftyp moov mdat", true, -1, 9000, lots, QStringLiteral("2 3"));
        row("open-ended media", "ftyp moov mdat*", false, -1, 9000, lots, QStringLiteral("1 2 3"));
        row("open-ended beyond 4 GiB", "ftyp moov mdat+", false, -1, 9000, lots, refused(ErrorKind::Failed));
        row("damaged header", "ftyp moov mdat", false, -1, -1, lots, refused(ErrorKind::Invalid));
        row("disk nearly full", "ftyp moov mdat", false, -1, 9000, margin + 8999, refused(ErrorKind::NoSpace));
        row("disk just roomy enough", "ftyp moov mdat", false, -1, 9000, margin + 9000, QStringLiteral("2 3"));
        row("free space unknown", "ftyp moov mdat", false, -1, 9000, -1, QStringLiteral("2 3"));
    }

    void plansTheSteps()
    {
        QFETCH(QString, layout);
        QFETCH(bool, scratch);
        QFETCH(qint64, roomForTags);
        QFETCH(qint64, copySize);
        QFETCH(qint64, freeBytes);
        QFETCH(QString, steps);
        Mp4TagSpace::TagSpaceFacts facts;
        facts.layout = layoutFrom(layout);
        facts.durability = scratch ? Durability::Scratch : Durability::Synced;
        facts.tagBytes = 5000;
        if (roomForTags >= 0)
            facts.roomForTags = roomForTags;
        facts.headerCopySize = copySize >= 0 ? Outcome<qint64>(copySize) : failure(ErrorKind::Invalid, QStringLiteral("damaged"));
        facts.freeBytes = freeBytes;
        QCOMPARE(describe(Mp4TagSpace::plan(facts)), steps);
    }

    void refusesDamagedFilesUntouched_data()
    {
        QTest::addColumn<QByteArray>("bytes"); // empty: no file at all
        const QByteArray whole = readAll(m_sources.value(QStringLiteral("header first")));
        QTest::newRow("truncated") << whole.chopped(5);
        QTest::newRow("garbage after the media") << whole + QByteArray(5, '\x7f');
        // The header claims more children than it holds: its atoms do not add up.
        QTest::newRow("damaged header") << atom("ftyp", "isom") + atom("moov", atom("mvhd", QByteArray(10, '\0')) + atom("trak", "", 256))
                                               + atom("mdat", "abcd");
        QTest::newRow("not a movie") << QByteArray("hello, this is text and not a movie file");
        QTest::newRow("missing file") << QByteArray();
    }

    void refusesDamagedFilesUntouched()
    {
        QFETCH(QByteArray, bytes);
        const QString path = m_dir.filePath(QStringLiteral("damaged%1.mp4").arg(++m_copies));
        if (!bytes.isEmpty())
            writeAll(path, bytes);
        const auto result = Mp4TagSpace::prepareForTags(path, 100000);
        QVERIFY(!result);
        QVERIFY2(result.errorText().endsWith(path), qPrintable(result.errorText()));
        QCOMPARE(readAll(path), bytes);
        QCOMPARE(Mp4TagSpace::trackKinds(path), QList<QByteArray>());
    }

    void everyStepLeavesAPlayableFile_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<int>("maxSteps");
        QTest::addColumn<int>("expectedSteps");
        QTest::addColumn<bool>("scratch");
        for (int k = 0; k <= 3; ++k) {
            // Rewriting a header in place is never safe: a user's file gets a fresh copy in either layout.
            QTest::addRow("header last, stop after %d", k) << QStringLiteral("header last") << k << qMin(k, 2) << false;
            QTest::addRow("header first, stop after %d", k) << QStringLiteral("header first") << k << qMin(k, 2) << false;
            QTest::addRow("open-ended media, stop after %d", k) << QStringLiteral("open-ended") << k << k << false;
        }
        // A scratch file whose header already follows the media grows where it is.
        QTest::newRow("scratch file, header last") << QStringLiteral("header last") << -1 << 0 << true;
        QTest::newRow("scratch file, header first") << QStringLiteral("header first") << -1 << 2 << true;
    }

    void everyStepLeavesAPlayableFile()
    {
        QFETCH(QString, layout);
        QFETCH(int, maxSteps);
        QFETCH(int, expectedSteps);
        QFETCH(bool, scratch);
        const QString source = m_sources.value(layout);
        const QString path = copyOf(layout);
        const Layout before = layoutOf(path);
        const bool relocated = expectedSteps == (layout == QLatin1String("open-ended") ? 3 : 2);

        const auto result = Mp4TagSpace::prepareForTags(path, 300000, maxSteps, scratch ? Durability::Scratch : Durability::Synced);
        QVERIFY2(result, qPrintable(result.errorText()));
        QCOMPARE(result->stepsDone, expectedSteps);
        QCOMPARE(result->relocated, relocated);

        QVERIFY(decodesCleanly(path));
        QCOMPARE(probeEntry(path, "format=duration"), probeEntry(source, "format=duration"));
        const Layout after = layoutOf(path);
        QCOMPARE(mediaData(after).offset, mediaData(before).offset);
        QCOMPARE(mediaDataDigest(path), mediaDataDigest(source));
        if (relocated) {
            // The only header left is the copy at the end, with room for the tags.
            QCOMPARE(after.atoms.last().type, QByteArray("moov"));
            QCOMPARE(after.atoms.count(), before.atoms.count() + 1);
            QVERIFY(Mp4TagSpace::paddingBesideTags(path) >= 300000 + 8);
        }
        if (expectedSteps == 0)
            QCOMPARE(readAll(path), readAll(source));
    }

    void tagsWrittenAfterwardsAreReadBack_data()
    {
        QTest::addColumn<QString>("layout");
        for (const char *layout : {"header last", "header first", "open-ended"})
            QTest::newRow(layout) << QString::fromLatin1(layout);
    }

    void tagsWrittenAfterwardsAreReadBack()
    {
        QFETCH(QString, layout);
        const QString path = copyOf(layout);
        const qint64 mediaOffset = mediaData(layoutOf(path)).offset;
        MovieItem item{{ItemKey::movieTitle, QStringLiteral("Le Voyage dans la Lune")},
                       {ItemKey::movieGenre, QStringLiteral("Science Fiction")},
                       {ItemKey::movieOverview, QString(2000, QLatin1Char('x'))},
                       {ItemKey::moviePoster, QVariant::fromValue(ItemImage(m_poster, QStringLiteral("poster")))}};

        // The writer makes its own room.
        const Status written = TagWriter::writeTagsWithFileAtPath(path, item);
        QVERIFY2(written, qPrintable(written.errorText()));
        QCOMPARE(probeEntry(path, "format_tags=title"), QStringLiteral("Le Voyage dans la Lune"));
        QCOMPARE(probeEntry(path, "format_tags=genre"), QStringLiteral("Science Fiction"));
        QCOMPARE(layoutOf(path).atoms.last().type, QByteArray("moov"));
        QVERIFY(decodesCleanly(path));
        QCOMPARE(mediaData(layoutOf(path)).offset, mediaOffset);
        QCOMPARE(mediaDataDigest(path), mediaDataDigest(m_sources.value(layout)));
        QCOMPARE(Mp4TagSpace::trackKinds(path), (QList<QByteArray>{"vide", "soun"}));

        // A second, smaller round fits the room left: nothing moves, the file does not grow.
        const qint64 size = QFileInfo(path).size();
        const auto again = Mp4TagSpace::prepareForTags(path, 1000);
        QVERIFY(again && again->stepsDone == 0 && !again->relocated);
        item.insert(ItemKey::movieTitle, QStringLiteral("A Trip to the Moon"));
        QVERIFY(TagWriter::writeTagsWithFileAtPath(path, item));
        QCOMPARE(probeEntry(path, "format_tags=title"), QStringLiteral("A Trip to the Moon"));
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
        QVERIFY(QFile::copy(m_sources.value(layout), path));
        QVERIFY(disk.leaveFree(64 * 1024));
        const QByteArray before = readAll(path);
        const MovieItem item{{ItemKey::moviePoster, QVariant::fromValue(ItemImage(m_poster, QStringLiteral("poster")))}};

        const Status written = TagWriter::writeTagsWithFileAtPath(path, item, scratch ? Durability::Scratch : Durability::Synced);
        QVERIFY(!written);
        QVERIFY(!written.errorText().isEmpty());
        if (!scratch) {
            QCOMPARE(written.errorKind(), ErrorKind::NoSpace);
            QVERIFY2(written.errorText().contains(QLatin1String("free space")), qPrintable(written.errorText()));
            QCOMPARE(readAll(path), before);
        }
    }
};

KINOVELA_TEST_MAIN(TestMp4TagSpace)
#include "tst_mp4tagspace.moc"
