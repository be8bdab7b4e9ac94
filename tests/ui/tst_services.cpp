#include "WindowDriver.h"

#include "base/Progress.h"
#include "base/ServiceConfig.h"
#include "standin/TmdbStandin.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>

/** The settings sheet's Services tab, by clicks and keys: each Test button says in words what happened. */
class TestServices : public QObject
{
    Q_OBJECT

private:
    WindowDriver d;

    /** Opens the settings sheet on its Services tab, by the shortcut and a click on the tab. */
    QDialog *openServices()
    {
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        auto *sheet = d.find<QDialog>("settingsWindow");
        if (!QTest::qWaitFor([sheet] { return sheet->isVisible(); }, 5000))
            return nullptr;
        auto *tabs = d.find<QTabWidget>("settingsTabs");
        QTabBar *bar = tabs->tabBar();
        QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, bar->tabRect(1).center());
        return tabs->currentWidget() == d.find<QWidget>("servicesTab") ? sheet : nullptr;
    }

    /** Types @p key into the TMDb field, clicks its Test button and gives what the sheet says. */
    QString testKey(const QString &key)
    {
        auto *field = d.find<QLineEdit>("tmdbApiKeyTF");
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClicks(field, key);
        return clickTest("testTmdbBTN", "tmdbTestResult");
    }

    QString clickTest(const char *button, const char *result)
    {
        auto *label = d.find<QLabel>(result);
        label->clear();
        QTest::mouseClick(d.find<QPushButton>(button), Qt::LeftButton);
        (void)QTest::qWaitFor([label] { return !label->text().isEmpty() && label->text() != QStringLiteral("Testing..."); },
                              20000);
        return label->text();
    }

private Q_SLOTS:
    void initTestCase()
    {
        d.startServices(this);
        TmdbStandin::setExtraFilms(2);
    }
    void init() { d.openWindow(); }
    void cleanup()
    {
        TmdbStandin::setStoreLimit(0);
        qputenv("KINOVELA_STORE_INTERVAL_MS", "0");
        d.closeWindow();
    }

    void tmdbKeyIsTestedAndStored()
    {
        QDialog *sheet = openServices();
        QVERIFY(sheet);
        // The stand-in's key comes from the environment, and the tab says that it wins.
        QVERIFY(d.find<QLabel>("tmdbEnvironmentNote")->text().contains(QStringLiteral("KINOVELA_TMDB_API_KEY")));

        QCOMPARE(testKey(QStringLiteral("0123456789abcdef0123456789abcdef")),
                 QStringLiteral("\u2716 The service refused the key (401): check it at themoviedb.org/settings/api."));
        QCOMPARE(testKey(QString::fromLatin1(TmdbStandin::apiKey())), QStringLiteral("\u2714 Key accepted."));
        const QString token = QString::fromLatin1(TmdbStandin::readAccessToken());
        QCOMPARE(testKey(token), QStringLiteral("\u2714 Read access token accepted."));
        d.screenshot(sheet, QStringLiteral("settings-services"));

        // Cancel keeps nothing; OK stores the key.
        WindowDriver::press(d.find<QLineEdit>("tmdbApiKeyTF"), Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(ServiceConfig::storedTmdbApiKey(), QString());
        QVERIFY(openServices());
        QCOMPARE(d.find<QLabel>("tmdbTestResult")->text(), QString());
        testKey(token);
        WindowDriver::press(d.find<QLineEdit>("tmdbApiKeyTF"), Qt::Key_Return);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(ServiceConfig::storedTmdbApiKey(), token);
    }

    void unreachableAndThrottledServicesAreToldAsSuch()
    {
        QVERIFY(openServices());
        const QByteArray address = qgetenv("KINOVELA_TMDB_API_URL");
        qputenv("KINOVELA_TMDB_API_URL", "http://127.0.0.1:9");
        const QString unreachable = testKey(QString::fromLatin1(TmdbStandin::apiKey()));
        qputenv("KINOVELA_TMDB_API_URL", address);
        QVERIFY2(unreachable.startsWith(QStringLiteral("\u2716 Could not reach 127.0.0.1: ")), qPrintable(unreachable));

        TmdbStandin::setStoreLimit(1);
        QCOMPARE(clickTest("testStoreBTN", "storeTestResult"), QStringLiteral("\u2714 Reachable."));
        QCOMPARE(clickTest("testStoreBTN", "storeTestResult"),
                 QStringLiteral("\u2716 Store genre (iTunes) is throttling requests (403): wait a minute and test again; "
                                "until then movies get TMDb's genre."));
        QVERIFY(!clickTest("testOpenSubtitlesBTN", "openSubtitlesTestResult").isEmpty());
    }

    void saveWaitsForTheStoreGenres()
    {
        qputenv("KINOVELA_STORE_INTERVAL_MS", "1500");
        QSignalSpy imported(d.window->core(), &AppCore::importFinished);
        QVERIFY(d.drop({d.movie(QStringLiteral("Film 001.mp4")), d.movie(QStringLiteral("Film 002.mp4"))}));
        QVERIFY(imported.wait(30000));
        // Listed before the store answered for both: one still shows TMDb's genre.
        QVERIFY(ImportPipeline::storeAnswersPending() > 0);

        QSignalSpy saved(d.window, &AppDelegate::creationFinished);
        QStringList titles;
        connect(d.window->core()->progress(), &Progress::titleChanged, this, [&](const QString &title) { titles.append(title); });
        const QString destination = d.saveInto(QStringLiteral("Films"));
        QVERIFY(!destination.isEmpty());
        QTRY_VERIFY(d.find<QDialog>("progressWindow")->isVisible());
        QVERIFY(saved.wait(60000));
        QVERIFY2(titles.value(0).startsWith(QStringLiteral("Waiting for the store genres")), qPrintable(titles.join(QLatin1Char('|'))));
        for (const MovieItem &item : d.window->core()->list()->items())
            QCOMPARE(item.value(ItemKey::movieGenre).toString(), QStringLiteral("Independent"));
        QVERIFY(QFile::exists(destination + QStringLiteral("/Film 001.mp4")));
        QVERIFY(QFile::exists(destination + QStringLiteral("/Film 002.mp4")));
    }
};

KINOVELA_TEST_MAIN_IMPL(TestServices, QApplication)
#include "tst_services.moc"
