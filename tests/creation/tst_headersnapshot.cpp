#include "creation/HeaderSnapshot.h"
#include "creation/Mp4TagSpace.h"
#include "creation/TagWriter.h"
#include "base/ItemImage.h"
#include "support/TestEnvironment.h"

#include <QJsonObject>
#include <QProcess>
#include <QtEndian>

namespace {

/** Runs ffmpeg or ffprobe; gives what it said at error level, with its exit status when it failed. */
QByteArray run(const QString &tool, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(tool, QStringList{QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error")} + arguments);
    process.waitForFinished(120000);
    const QByteArray said = process.readAll();
    return process.exitCode() == 0 ? said : said + "(exit status " + QByteArray::number(process.exitCode()) + ")";
}

} // namespace

/**
 * A movie tagged in place is put back byte for byte, whether its tags fitted
 * where they were or its header moved to the end, and a restore stopped
 * after any write leaves a file that plays and that the next restore
 * finishes.
 */
class TestHeaderSnapshot : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QMap<QString, QString> m_sources;
    MovieItem m_item;
    int m_copies = 0;

    QString copyOf(const QString &source)
    {
        const QString path = m_dir.filePath(QStringLiteral("copy%1.mp4").arg(++m_copies));
        QFile::copy(m_sources.value(source), path);
        return path;
    }

    void addSource(const QString &name, const QStringList &arguments)
    {
        const QString path = m_dir.filePath(name + QStringLiteral(".mp4"));
        const QByteArray said = run(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-y")} + arguments + QStringList{path});
        QVERIFY2(said.isEmpty(), said.constData());
        m_sources.insert(name, path);
    }

    /** A copy of @p source with the media data's size field 0 ("to the end of the file"). */
    void addOpenEnded(const QString &name, const QString &source)
    {
        const QString path = m_dir.filePath(name + QStringLiteral(".mp4"));
        QByteArray bytes = TestEnvironment::contents(m_sources.value(source));
        QFile file(m_sources.value(source));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const Outcome<Mp4TagSpace::Layout> layout = Mp4TagSpace::readLayout(file);
        QVERIFY(layout && layout->atoms.last().type == "mdat");
        qToBigEndian<quint32>(0, reinterpret_cast<uchar *>(bytes.data()) + layout->atoms.last().offset);
        QVERIFY(TestEnvironment::write(path, bytes));
        m_sources.insert(name, path);
    }

    /** Tags a copy of @p source; gives its path and the snapshot taken first. */
    std::pair<QString, QByteArray> tagged(const QString &source)
    {
        const QString path = copyOf(source);
        const Outcome<QByteArray> snapshot = HeaderSnapshot::take(path);
        if (!snapshot)
            qWarning("%s", qPrintable(snapshot.errorText()));
        const Status written = TagWriter::writeTagsWithFileAtPath(path, m_item);
        if (!written)
            qWarning("%s", qPrintable(written.errorText()));
        return {path, snapshot ? *snapshot : QByteArray()};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString movie = TestEnvironment::media(QStringLiteral("h264-aac.mp4"));
        const QString cover = TestEnvironment::media(QStringLiteral("cover.mp4"));
        // Foreign tags the tag library keeps (90 KB of lyrics, a cover): the header must move to make room.
        const QStringList lyrics{QStringLiteral("-i"), movie, QStringLiteral("-i"), cover, QStringLiteral("-map"), QStringLiteral("0"),
                                 QStringLiteral("-map"), QStringLiteral("1:v:1"), QStringLiteral("-c"), QStringLiteral("copy"),
                                 QStringLiteral("-disposition:v:1"), QStringLiteral("attached_pic"), QStringLiteral("-metadata"),
                                 QStringLiteral("lyrics=") + QString(90 * 1024, QLatin1Char('l'))};
        // A long plot our tags replace with a short one: the new tags fit where the old ones were.
        const QStringList synopsis{QStringLiteral("-i"), movie, QStringLiteral("-c"), QStringLiteral("copy"),
                                   QStringLiteral("-metadata"), QStringLiteral("synopsis=") + QString(60 * 1024, QLatin1Char('s'))};
        const QStringList faststart{QStringLiteral("-movflags"), QStringLiteral("+faststart")};
        addSource(QStringLiteral("last, lyrics"), lyrics);
        addSource(QStringLiteral("first, lyrics"), lyrics + faststart);
        addSource(QStringLiteral("last, synopsis"), synopsis);
        addSource(QStringLiteral("first, synopsis"), synopsis + faststart);
        addOpenEnded(QStringLiteral("open, lyrics"), QStringLiteral("first, lyrics"));
        addOpenEnded(QStringLiteral("open, synopsis"), QStringLiteral("first, synopsis"));

        const QString poster = m_dir.filePath(QStringLiteral("poster.jpg"));
        const QByteArray said = run(QStringLiteral("ffmpeg"), {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                                               QStringLiteral("testsrc=size=300x450"), QStringLiteral("-frames:v"),
                                                               QStringLiteral("1"), poster});
        QVERIFY2(said.isEmpty(), said.constData());
        m_item = MovieItem{{ItemKey::movieTitle, QStringLiteral("Le Voyage dans la Lune")},
                           {ItemKey::movieGenre, QStringLiteral("Science Fiction")},
                           {ItemKey::movieTagline, QStringLiteral("A trip to the moon")},
                           {ItemKey::movieOverview, QString(1500, QLatin1Char('o'))},
                           {ItemKey::movieReleaseDate_YYYYhMMhDD, QStringLiteral("1902-09-01")},
                           {ItemKey::movieTMDBID, 775},
                           {ItemKey::mediaType, 9},
                           {ItemKey::moviePoster, QVariant::fromValue(ItemImage(TestEnvironment::contents(poster)))}};
        QVERIFY(TestEnvironment::contents(poster).size() > 5000);

        // A movie Kinovela tagged before: its header already lies at the end, with room for the tags.
        const QString saved = m_dir.filePath(QStringLiteral("saved before.mp4"));
        QVERIFY(QFile::copy(m_sources.value(QStringLiteral("last, lyrics")), saved));
        QVERIFY(TagWriter::writeTagsWithFileAtPath(saved, m_item));
        m_sources.insert(QStringLiteral("saved before"), saved);
        m_item.insert(ItemKey::movieTitle, QStringLiteral("A Trip to the Moon"));
    }

    void putsTheFileBackFromEveryWrite_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("relocates");
        QTest::addColumn<int>("writes");
        // A moved header: make the original live again, cut the copy off (and give the media data its size 0 back).
        QTest::newRow("header last, header moved") << QStringLiteral("last, lyrics") << true << 2;
        QTest::newRow("header first, header moved") << QStringLiteral("first, lyrics") << true << 2;
        QTest::newRow("open-ended, header moved") << QStringLiteral("open, lyrics") << true << 3;
        // Tags rewritten in place: a copy at the end carries the movie while the old header is rewritten.
        QTest::newRow("header last, in place") << QStringLiteral("last, synopsis") << false << 5;
        QTest::newRow("header first, in place") << QStringLiteral("first, synopsis") << false << 5;
        QTest::newRow("open-ended, in place") << QStringLiteral("open, synopsis") << false << 7;
        QTest::newRow("saved before, in place") << QStringLiteral("saved before") << false << 5;
    }

    void putsTheFileBackFromEveryWrite()
    {
        QFETCH(QString, source);
        QFETCH(bool, relocates);
        QFETCH(int, writes);
        const QByteArray pristine = TestEnvironment::contents(m_sources.value(source));
        const auto [path, snapshot] = tagged(source);
        QVERIFY(!snapshot.isEmpty());
        const QByteArray taggedBytes = TestEnvironment::contents(path);
        QCOMPARE(taggedBytes.size() > pristine.size(), relocates); // the rows take both of the tagging's roads
        QVERIFY(!HeaderSnapshot::matches(path, snapshot));

        // Stopped after each write, as a crash would leave it, the file plays; stopped twice, too; the next run finishes.
        for (int stop = 1; stop <= writes; ++stop) {
            QVERIFY(TestEnvironment::write(path, taggedBytes));
            QVERIFY(HeaderSnapshot::restore(path, snapshot, stop));
            const QByteArray complaints = TestEnvironment::decoderComplaints(path);
            QVERIFY2(complaints.isEmpty(),
                     qPrintable(QStringLiteral("stopped after %1 writes: ").arg(stop) + QString::fromUtf8(complaints)));
            QCOMPARE(HeaderSnapshot::matches(path, snapshot), stop == writes);
            QVERIFY(HeaderSnapshot::restore(path, snapshot, 1));
            QVERIFY(TestEnvironment::decoderComplaints(path).isEmpty());
            const Status finished = HeaderSnapshot::restore(path, snapshot);
            QVERIFY2(finished, qPrintable(finished.errorText()));
            QVERIFY2(TestEnvironment::contents(path) == pristine, qPrintable(QStringLiteral("stopped after %1 writes").arg(stop)));
        }

        // A file already as it was is left untouched.
        const Outcome<HeaderSnapshot::Fingerprint> before = HeaderSnapshot::fingerprint(path);
        QVERIFY(HeaderSnapshot::restore(path, snapshot));
        QVERIFY(before && *HeaderSnapshot::fingerprint(path) == *before);
    }

    void putsBackOnlyWhatATaggingCouldLeave_data()
    {
        QTest::addColumn<int>("taggingSteps"); // -1: a whole tagging
        QTest::addColumn<QString>("change");    // what happened to the file after it
        QTest::addColumn<QString>("says");      // empty: put back
        for (int steps = 1; steps <= 2; ++steps)
            QTest::addRow("tagging stopped after %d steps", steps) << steps << QString() << QString();
        QTest::newRow("re-muxed") << -1 << QStringLiteral("remux") << QStringLiteral("changed since the Save");
        QTest::newRow("cut short") << -1 << QStringLiteral("truncate") << QStringLiteral("shorter than it was");
        QTest::newRow("bytes added") << -1 << QStringLiteral("garbage") << QStringLiteral("not whole atoms");
        QTest::newRow("an atom added") << -1 << QStringLiteral("atom") << QStringLiteral("\"uuid\" atom follows");
        QTest::newRow("damaged record") << -1 << QStringLiteral("record") << QStringLiteral("damaged");
    }

    void putsBackOnlyWhatATaggingCouldLeave()
    {
        QFETCH(int, taggingSteps);
        QFETCH(QString, change);
        QFETCH(QString, says);
        const QByteArray pristine = TestEnvironment::contents(m_sources.value(QStringLiteral("open, lyrics")));
        auto [path, snapshot] = taggingSteps < 0 ? tagged(QStringLiteral("open, lyrics"))
                                                 : std::pair(copyOf(QStringLiteral("open, lyrics")), QByteArray());
        if (taggingSteps >= 0) {
            snapshot = *HeaderSnapshot::take(path);
            QVERIFY(Mp4TagSpace::prepareForTags(path, 300000, taggingSteps));
        }
        if (change == QLatin1String("remux")) {
            const QString remuxed = path + QStringLiteral(".mp4");
            QVERIFY(run(QStringLiteral("ffmpeg"), {QStringLiteral("-i"), path, QStringLiteral("-map"), QStringLiteral("0"),
                                                   QStringLiteral("-c"), QStringLiteral("copy"), remuxed})
                        .isEmpty());
            QVERIFY(QFile::remove(path) && QFile::rename(remuxed, path));
        } else if (change == QLatin1String("truncate")) {
            QVERIFY(QFile::resize(path, pristine.size() - 100));
        } else if (change == QLatin1String("garbage") || change == QLatin1String("atom")) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::Append));
            file.write(change == QLatin1String("atom") ? QByteArray("\0\0\0\x10uuid12345678", 16) : QByteArray("trailing"));
        } else if (change == QLatin1String("record")) {
            snapshot[snapshot.size() - 1] = char(snapshot.at(snapshot.size() - 1) ^ 1);
        }
        const QByteArray before = TestEnvironment::contents(path);
        const Status restored = HeaderSnapshot::restore(path, snapshot);
        QVERIFY2(restored.ok() == says.isEmpty(), qPrintable(restored.errorText()));
        if (says.isEmpty()) {
            QVERIFY(TestEnvironment::contents(path) == pristine);
        } else {
            QCOMPARE(restored.errorKind(), ErrorKind::Invalid);
            QVERIFY2(restored.errorText().contains(says), qPrintable(restored.errorText()));
            QVERIFY(TestEnvironment::contents(path) == before);
        }
    }

    void fingerprintChangesWithTheTagsOnly()
    {
        const QString path = copyOf(QStringLiteral("first, synopsis"));
        const Outcome<HeaderSnapshot::Fingerprint> before = HeaderSnapshot::fingerprint(path);
        QVERIFY(before && before->size == QFileInfo(path).size() && before->digest.size() == 32);
        QVERIFY(TestEnvironment::decoderComplaints(path).isEmpty()); // reading it changes nothing
        QCOMPARE(*HeaderSnapshot::fingerprint(path), *before);
        const Outcome<HeaderSnapshot::Fingerprint> stored = HeaderSnapshot::Fingerprint::fromJson(before->toJson());
        QVERIFY(stored && *stored == *before);

        // Tags that fit in place keep the size; the digest still tells.
        QVERIFY(TagWriter::writeTagsWithFileAtPath(path, m_item));
        const Outcome<HeaderSnapshot::Fingerprint> after = HeaderSnapshot::fingerprint(path);
        QVERIFY(after && after->size == before->size && after->digest != before->digest);

        QJsonObject damaged = before->toJson();
        damaged.insert(QStringLiteral("digest"), QStringLiteral("abc"));
        QVERIFY(!HeaderSnapshot::Fingerprint::fromJson(damaged));
        QVERIFY(!HeaderSnapshot::fingerprint(m_dir.filePath(QStringLiteral("poster.jpg"))));
    }
};

KINOVELA_TEST_MAIN(TestHeaderSnapshot)
#include "tst_headersnapshot.moc"
