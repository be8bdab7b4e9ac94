#include "creation/Mp4TagSpace.h"
#include "support/CliRunner.h"
#include "support/TestEnvironment.h"

#include <QCryptographicHash>
#include <QProcess>

#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>

namespace {

QString tagText(const QString &path, const char *atom)
{
    TagLib::MP4::File file(QFile::encodeName(path).constData(), false);
    if (!file.isValid() || !file.tag() || !file.tag()->contains(atom))
        return {};
    const TagLib::StringList values = file.tag()->item(atom).toStringList();
    return values.isEmpty() ? QString() : QString::fromStdString(values.front().to8Bit(true));
}

/** The media data's bytes, wherever the header lies. */
QByteArray mediaDigest(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const Outcome<Mp4TagSpace::Layout> layout = Mp4TagSpace::readLayout(file);
    if (!layout || layout->indexOf("mdat") < 0)
        return {};
    const Mp4TagSpace::Atom &mdat = layout->atoms.at(layout->indexOf("mdat"));
    file.seek(mdat.offset);
    return QCryptographicHash::hash(file.read(mdat.size), QCryptographicHash::Sha256);
}

bool run(QProcess &process, const QString &program, const QStringList &arguments)
{
    process.start(program, arguments);
    return process.waitForFinished(180000);
}

} // namespace

/**
 * kinovela-cli tags a user's MP4 in place (preset 1) and is killed at every
 * write to the file in turn: each time the file must still decode without a
 * single error, with its old tags or its new ones, its foreign tags (90 KB
 * of lyrics, an artist, a cover) and its media data as they were; and
 * `undo` must then give the file back byte for byte. `undo` itself is killed
 * at every write too, and a second `undo` finishes its work.
 */
class TestKillTagging : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;
    QTemporaryDir m_work;
    QString m_lyrics = QString(90 * 1024, QLatin1Char('l'));

    QString makeSource(const QString &name, bool faststart)
    {
        const QString path = m_work.filePath(name);
        QProcess ffmpeg;
        QStringList arguments{QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                              QStringLiteral("-i"), TestEnvironment::media(QStringLiteral("h264-aac.mp4")),
                              QStringLiteral("-i"), TestEnvironment::media(QStringLiteral("cover.mp4")),
                              QStringLiteral("-map"), QStringLiteral("0"), QStringLiteral("-map"), QStringLiteral("1:v:1"),
                              QStringLiteral("-c"), QStringLiteral("copy"), QStringLiteral("-disposition:v:1"),
                              QStringLiteral("attached_pic"), QStringLiteral("-metadata"), QStringLiteral("lyrics=") + m_lyrics,
                              QStringLiteral("-metadata"), QStringLiteral("artist=Someone Else")};
        if (faststart)
            arguments << QStringLiteral("-movflags") << QStringLiteral("+faststart");
        arguments << path;
        if (!run(ffmpeg, QStringLiteral("ffmpeg"), arguments) || ffmpeg.exitCode() != 0)
            qWarning("%s", ffmpeg.readAllStandardError().constData());
        return path;
    }

    struct Run
    {
        bool killed = false;
        int exitCode = -1;
        long writes = 0;
        QByteArray errors;
    };

    /** kinovela-cli with @p arguments, killed before the @p killAt-th write to @p file (0: never). */
    Run runKilled(const QStringList &arguments, const QString &file, long killAt)
    {
        const QString counter = m_work.filePath(QStringLiteral("writes"));
        QFile::remove(counter);
        QProcessEnvironment fault;
        fault.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(KINOVELA_FAULT_INJECTOR));
        fault.insert(QStringLiteral("KINOVELA_FAULT_FILE"), file);
        fault.insert(QStringLiteral("KINOVELA_FAULT_KILL_AT"), QString::number(killAt));
        fault.insert(QStringLiteral("KINOVELA_FAULT_COUNT_FILE"), counter);
        const CliRunner::Run ran = m_cli.run(arguments, fault);
        Run outcome{ran.crashed, ran.exitCode, 0, ran.err};
        QFile count(counter);
        if (count.open(QIODevice::ReadOnly))
            outcome.writes = count.readAll().trimmed().toLong();
        return outcome;
    }

    /** Tags @p copy (a fresh copy of @p source named Inception.mp4) in place, killed before the @p killAt-th write. */
    Run tagCopy(const QString &source, const QString &copy, long killAt)
    {
        QFile::remove(copy);
        QFile::copy(source, copy);
        return runKilled({QStringLiteral("create"), QStringLiteral("--preset"), QStringLiteral("1"), QStringLiteral("--stagger"),
                          QStringLiteral("0"), QStringLiteral("--dest"), QFileInfo(copy).path(), copy},
                         copy, killAt);
    }

    Run undo(const QString &file, long killAt = 0) { return runKilled({QStringLiteral("undo")}, file, killAt); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_cli.start()); }

    void everyKillLeavesAPlayableFile_data()
    {
        QTest::addColumn<bool>("faststart");
        QTest::newRow("header first, foreign tags and a cover") << true;
        QTest::newRow("header last, foreign tags and a cover") << false;
    }

    void everyKillLeavesAPlayableFile()
    {
        QFETCH(bool, faststart);
        const QString source = makeSource(faststart ? QStringLiteral("first.mp4") : QStringLiteral("last.mp4"), faststart);
        QVERIFY(TestEnvironment::decoderComplaints(source).isEmpty());
        QCOMPARE(tagText(source, "\251lyr"), m_lyrics);
        const QByteArray media = mediaDigest(source);
        QVERIFY(!media.isEmpty());
        QDir().mkpath(m_work.filePath(QStringLiteral("run")));
        const QString copy = m_work.filePath(QStringLiteral("run/Inception.mp4"));

        // Unhindered, to count the writes.
        const Run whole = tagCopy(source, copy, 0);
        QVERIFY2(!whole.killed && whole.exitCode == 0, whole.errors.constData());
        QCOMPARE(tagText(copy, "\251nam"), QStringLiteral("Inception"));
        QCOMPARE(tagText(copy, "\251lyr"), m_lyrics);
        QCOMPARE(tagText(copy, "\251ART"), QStringLiteral("Someone Else"));
        QCOMPARE(TestEnvironment::decoderComplaints(copy), QByteArray());
        QCOMPARE(mediaDigest(copy), media);
        QVERIFY2(whole.writes >= 3, qPrintable(QString::number(whole.writes)));
        qInfo("%ld writes to the file; the program is killed before each in turn", whole.writes);

        for (long killAt = 1; killAt <= whole.writes; ++killAt) {
            const Run stopped = tagCopy(source, copy, killAt);
            const QByteArray where = "killed before write " + QByteArray::number(killAt) + " of " + QByteArray::number(whole.writes);
            QVERIFY2(stopped.killed, where.constData());
            const QByteArray complaints = TestEnvironment::decoderComplaints(copy);
            QVERIFY2(complaints.isEmpty(), QByteArray(where + ": " + complaints).constData());
            QCOMPARE(mediaDigest(copy), media);
            const QString title = tagText(copy, "\251nam");
            QVERIFY2(title.isEmpty() || title == QLatin1String("Inception"), qPrintable(title));
            QCOMPARE(tagText(copy, "\251lyr"), m_lyrics);
            // The Save was written down before each change: undo gives the file back as it was.
            const Run undone = undo(copy);
            QVERIFY2(undone.exitCode == 0, QByteArray(where + ": " + undone.errors).constData());
            QVERIFY2(TestEnvironment::contents(copy) == TestEnvironment::contents(source), where.constData());
        }
    }

    void everyKillOfAnUndoLeavesAPlayableFile_data() { everyKillLeavesAPlayableFile_data(); }

    void everyKillOfAnUndoLeavesAPlayableFile()
    {
        QFETCH(bool, faststart);
        const QString source = makeSource(faststart ? QStringLiteral("first.mp4") : QStringLiteral("last.mp4"), faststart);
        QDir().mkpath(m_work.filePath(QStringLiteral("undo")));
        const QString copy = m_work.filePath(QStringLiteral("undo/Inception.mp4"));
        QVERIFY(tagCopy(source, copy, 0).exitCode == 0);
        const Run whole = undo(copy);
        QVERIFY2(whole.exitCode == 0 && TestEnvironment::contents(copy) == TestEnvironment::contents(source), whole.errors.constData());
        QVERIFY2(whole.writes >= 3, qPrintable(QString::number(whole.writes)));
        qInfo("the undo writes %ld times to the file; it is killed before each in turn", whole.writes);

        for (long killAt = 1; killAt <= whole.writes; ++killAt) {
            QVERIFY(tagCopy(source, copy, 0).exitCode == 0);
            const QByteArray where = "undo killed before write " + QByteArray::number(killAt) + " of " + QByteArray::number(whole.writes);
            QVERIFY2(undo(copy, killAt).killed, where.constData());
            const QByteArray complaints = TestEnvironment::decoderComplaints(copy);
            QVERIFY2(complaints.isEmpty(), QByteArray(where + ": " + complaints).constData());
            const Run again = undo(copy);
            QVERIFY2(again.exitCode == 0, QByteArray(where + ": " + again.errors).constData());
            QVERIFY2(TestEnvironment::contents(copy) == TestEnvironment::contents(source), where.constData());
        }
    }

    void createFailsClashingItemsAndDeletesSourcesWhenAsked()
    {
        QTemporaryDir in;
        QTemporaryDir destination;
        for (const char *name : {"Inception.mkv", "Inception.2010.mkv", "Heat.mkv"})
            QVERIFY(QFile::copy(TestEnvironment::media(QStringLiteral("h264-aac.mp4")), in.filePath(QString::fromLatin1(name))));
        QFile taken(destination.filePath(QStringLiteral("Heat.mp4")));
        QVERIFY(taken.open(QIODevice::WriteOnly) && taken.write("mine") == 4);
        taken.close();
        const CliRunner::Run cli = m_cli.run({QStringLiteral("create"), QStringLiteral("--preset"), QStringLiteral("3"),
                                              QStringLiteral("--stagger"), QStringLiteral("0"), QStringLiteral("--delete-sources"),
                                              QStringLiteral("--dest"), destination.path(), in.filePath(QStringLiteral("Inception.mkv")),
                                              in.filePath(QStringLiteral("Inception.2010.mkv")), in.filePath(QStringLiteral("Heat.mkv"))});
        const QByteArray &out = cli.err;
        QCOMPARE(cli.exitCode, 1);
        // The first Inception is made and its source deleted; the clashing items are named and keep their sources.
        QVERIFY2(out.contains("failed     ") && out.contains("Inception.2010.mkv: "), out.constData());
        QVERIFY2(out.contains("another movie of this Save is also named \"Inception.mp4\""), out.constData());
        QVERIFY2(out.contains("a file named \"Heat.mp4\" already exists"), out.constData());
        QVERIFY(!out.contains("Sucessfully"));
        QCOMPARE(QDir(in.path()).entryList(QDir::Files, QDir::Name),
                 (QStringList{QStringLiteral("Heat.mkv"), QStringLiteral("Inception.2010.mkv")}));
        QCOMPARE(QDir(destination.path()).entryList(QDir::Files, QDir::Name),
                 (QStringList{QStringLiteral("Heat.mp4"), QStringLiteral("Inception.mp4")}));
        QVERIFY(!QDir(QDir::homePath() + QStringLiteral("/.local/share/Trash/files")).exists()
                || QDir(QDir::homePath() + QStringLiteral("/.local/share/Trash/files")).isEmpty());
    }
};

KINOVELA_TEST_MAIN(TestKillTagging)
#include "tst_killtagging.moc"
