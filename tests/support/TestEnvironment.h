#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <QtTest/QtTest>

/**
 * Gives a test process its own HOME and XDG_CONFIG_HOME (temporary folders,
 * removed at exit), so that no test touches the real ones. Must be set up
 * before the application object exists: use KINOVELA_TEST_MAIN.
 */
class TestEnvironment
{
public:
    TestEnvironment();
    QString home() const { return m_home.path(); }
    QString config() const { return m_config.path(); }

    /** Forgets the answers TMDb and the store gave earlier in this test run (a test of a failure must ask). */
    static void forgetLookups();

    /** Folder with the media generated for this test run (KINOVELA_TEST_MEDIA). */
    static QString mediaFolder();
    /** A generated media file by name; fails the test when it is missing. */
    static QString media(const QString &name);

    /** The whole file; empty when it cannot be read. */
    static QByteArray contents(const QString &path);
    /** Replaces the file's contents; false when it cannot be written whole. */
    static bool write(const QString &path, const QByteArray &bytes);
    /** What ffmpeg says decoding the whole file: nothing at all for a file that plays. */
    static QByteArray decoderComplaints(const QString &path);

private:
    QTemporaryDir m_home;
    QTemporaryDir m_config;
};

#define KINOVELA_TEST_MAIN_IMPL(TestObject, AppClass)                                                                  \
    int main(int argc, char *argv[])                                                                                   \
    {                                                                                                                  \
        TestEnvironment environment;                                                                                   \
        AppClass app(argc, argv);                                                                                      \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                                                       \
        TestObject tc;                                                                                                 \
        QTEST_SET_MAIN_SOURCE_PATH                                                                                     \
        return QTest::qExec(&tc, argc, argv);                                                                          \
    }

/** For tests of the core (no widgets). */
#define KINOVELA_TEST_MAIN(TestObject) KINOVELA_TEST_MAIN_IMPL(TestObject, QGuiApplication)
