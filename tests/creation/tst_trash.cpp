#include "creation/Trash.h"
#include "support/SmallDisk.h"
#include "support/TestEnvironment.h"

#include <QUrl>

namespace {

QString infoOf(const QString &trashed)
{
    const QFileInfo file(trashed);
    return QFileInfo(file.path()).path() + QStringLiteral("/info/") + file.fileName() + QStringLiteral(".trashinfo");
}

/** Trashes @p original by hand, as a file manager does, under @p name in the Trash's "files". */
bool trashByHand(const QString &trash, const QString &name, const QString &original, const char *deleted)
{
    const QByteArray info = "[Trash Info]\nPath=" + QUrl::toPercentEncoding(original, "/") + "\nDeletionDate=" + deleted + "\n";
    return TestEnvironment::write(trash + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo"), info)
        && QFile::rename(original, trash + QStringLiteral("/files/") + name);
}

} // namespace

/** Movies go to the freedesktop.org Trash and come back from it to where they were, never over another file. */
class TestTrash : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_data;  // XDG_DATA_HOME, which holds the home Trash
    QTemporaryDir m_files; // the movies' folder, on the home's disk
    int m_count = 0;

    QString trash() const { return m_data.filePath(QStringLiteral("Trash")); }

    /** A new movie file in its own folder, named @p name, holding a text of its own. */
    QString newMovie(const QString &name = QStringLiteral("Amélie (2001) 100%.mkv"))
    {
        const QString folder = m_files.filePath(QString::number(++m_count));
        QDir().mkpath(folder);
        const QString path = folder + QLatin1Char('/') + name;
        TestEnvironment::write(path, "movie " + QByteArray::number(m_count));
        return path;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_data.isValid() && m_files.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path()));
    }

    void goesToTheTrashAndComesBack()
    {
        const QString movie = newMovie();
        const QByteArray bytes = TestEnvironment::contents(movie);
        const Outcome<QString> trashed = Trash::moveToTrash(movie);
        QVERIFY2(trashed, qPrintable(trashed.errorText()));
        QVERIFY(trashed->startsWith(trash() + QStringLiteral("/files/")));
        QVERIFY(!QFile::exists(movie) && QFile::exists(infoOf(*trashed)));
        const Outcome<QString> found = Trash::find(movie);
        QVERIFY2(found, qPrintable(found.errorText()));
        QCOMPARE(*found, *trashed);

        const Status restored = Trash::restore(*trashed, movie);
        QVERIFY2(restored, qPrintable(restored.errorText()));
        QCOMPARE(TestEnvironment::contents(movie), bytes);
        QVERIFY(!QFile::exists(*trashed) && !QFile::exists(infoOf(*trashed)));
    }

    void neverReplacesAFileAndSaysWhy_data()
    {
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("says");
        const QString gone = QStringLiteral("the Trash no longer holds it (it was emptied or restored)");
        const QString inItsPlace = QStringLiteral("a file named \"Amélie (2001) 100%.mkv\" is in its place");
        QTest::newRow("a new file in its place") << QStringLiteral("new") << int(ErrorKind::Exists) << inItsPlace;
        QTest::newRow("Trash emptied") << QStringLiteral("emptied") << int(ErrorKind::Missing) << gone;
        QTest::newRow("restored by hand") << QStringLiteral("restored") << int(ErrorKind::Missing)
                                          << gone + QStringLiteral("; ") + inItsPlace;
    }

    void neverReplacesAFileAndSaysWhy()
    {
        QFETCH(QString, meanwhile);
        QFETCH(int, kind);
        QFETCH(QString, says);
        const QString movie = newMovie();
        const Outcome<QString> trashed = Trash::moveToTrash(movie);
        QVERIFY(trashed);
        if (meanwhile == QLatin1String("new"))
            QVERIFY(TestEnvironment::write(movie, "a new file"));
        else
            QVERIFY((meanwhile == QLatin1String("restored") ? QFile::rename(*trashed, movie) : QFile::remove(*trashed))
                    && QFile::remove(infoOf(*trashed)));
        const QByteArray before = TestEnvironment::contents(movie);
        const Status restored = Trash::restore(*trashed, movie);
        QCOMPARE(int(restored.errorKind()), kind);
        QCOMPARE(restored.errorText(), says);
        QCOMPARE(TestEnvironment::contents(movie), before);
        QCOMPARE(QFile::exists(*trashed) && QFile::exists(infoOf(*trashed)), meanwhile == QLatin1String("new"));
    }

    void findsItUnderAnotherName()
    {
        // Trashed, put back by hand, trashed again by a file manager while another file of that name took its place.
        const QString movie = newMovie(QStringLiteral("Heat.mkv"));
        const QString other = newMovie(QStringLiteral("Heat.mkv"));
        const Outcome<QString> trashed = Trash::moveToTrash(movie);
        QVERIFY(trashed);
        QVERIFY(QFile::rename(*trashed, movie) && QFile::remove(infoOf(*trashed)));
        QCOMPARE(*Trash::moveToTrash(other), *trashed);
        const QByteArray otherBytes = TestEnvironment::contents(*trashed);
        const QByteArray bytes = TestEnvironment::contents(movie);
        QVERIFY(trashByHand(trash(), QStringLiteral("Heat.2.mkv"), movie, "2030-01-01T10:00:00"));

        QCOMPARE(*Trash::find(movie), trash() + QStringLiteral("/files/Heat.2.mkv"));
        const Status restored = Trash::restore(*trashed, movie);
        QVERIFY2(restored, qPrintable(restored.errorText()));
        QCOMPARE(TestEnvironment::contents(movie), bytes);
        // The other file's entry is left as it was.
        QCOMPARE(TestEnvironment::contents(*trashed), otherBytes);
        QCOMPARE(*Trash::find(other), *trashed);
    }

    void picksTheNewestTrashingOfAPlace()
    {
        const QString movie = newMovie();
        for (const char *date : {"2020-05-01T08:00:00", "2024-05-01T08:00:00", "2022-05-01T08:00:00"}) {
            QVERIFY(TestEnvironment::write(movie, date));
            QVERIFY(trashByHand(trash(), QString::fromLatin1(date).left(4) + QStringLiteral(".mkv"), movie, date));
        }
        const Status restored = Trash::restore(QString(), movie);
        QVERIFY2(restored, qPrintable(restored.errorText()));
        QCOMPARE(TestEnvironment::contents(movie), QByteArray("2024-05-01T08:00:00"));
        QVERIFY(QFile::exists(trash() + QStringLiteral("/files/2022.mkv")));
    }

    void usesTheTrashAtTheTopOfAnotherDisk()
    {
        SmallDisk disk(1024 * 1024);
        KINOVELA_REQUIRE_SMALL_DISK(disk);
        const QString movie = disk.filePath(QStringLiteral("On Another Disk.mkv"));
        QVERIFY(TestEnvironment::write(movie, "elsewhere"));
        const Outcome<QString> trashed = Trash::moveToTrash(movie);
        QVERIFY2(trashed, qPrintable(trashed.errorText()));
        QVERIFY2(trashed->startsWith(disk.path() + QStringLiteral("/.Trash-")), qPrintable(*trashed));
        // Other programs write Path= relative to the top of the disk, percent-encoded: found all the same.
        QVERIFY(TestEnvironment::write(infoOf(*trashed), "[Trash Info]\nPath=On%20Another%20Disk.mkv\nDeletionDate=2024-01-01T00:00:00\n"));
        const Status restored = Trash::restore(QString(), movie);
        QVERIFY2(restored, qPrintable(restored.errorText()));
        QCOMPARE(TestEnvironment::contents(movie), QByteArray("elsewhere"));
    }
};

KINOVELA_TEST_MAIN(TestTrash)
#include "tst_trash.moc"
