#include "app/AppCore.h"
#include "base/SearchLanguage.h"
#include "base/Diagnostics.h"
#include "base/UserSettings.h"
#include "support/TestEnvironment.h"

#include <QSettings>
#include <QSignalSpy>

class TestAppCore : public QObject
{
    Q_OBJECT

private:
    static QSettings settings() { return QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")); }

    static QStringList launch(AppCore &core)
    {
        Diagnostics::startCapture();
        core.applicationDidFinishLaunching();
        return Diagnostics::stopCapture();
    }

    static QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &content)
    {
        const QString path = dir.filePath(name);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
        return path;
    }

private Q_SLOTS:
    void init()
    {
        UserSettings::clearRunOverrides();
        settings().clear();
    }

    void firstStartStoresTheDefaultsOnce()
    {
        AppCore first;
        QCOMPARE(launch(first), QStringList{QStringLiteral("I am called the Only on the Very First Time")});
        QCOMPARE(settings().value(QStringLiteral("convertionOptions")).toInt(), 3);
        QCOMPARE(settings().value(QStringLiteral("selectedSearchLanguage")).toMap(), SearchLanguage::defaultLanguage().toMap());
        QCOMPARE(Presets::number(first.conversionOption()), 3);
        QVERIFY(first.selectedLanguageIndex() >= 0);
        QCOMPARE(first.languages().at(first.selectedLanguageIndex()), SearchLanguage::defaultLanguage().toMap());

        AppCore second;
        QCOMPARE(launch(second), QStringList());
        QCOMPARE(second.selectedLanguageIndex(), first.selectedLanguageIndex());
    }

    void storedSettingsAreSelectedAtStart()
    {
        UserSettings::storeConversionOption(Preset::ConvertWithSubtitles);
        const QVariantMap french = {{QStringLiteral("alpha3-b"), QStringLiteral("fre")},
                                    {QStringLiteral("alpha2"), QStringLiteral("fr")},
                                    {QStringLiteral("English"), QStringLiteral("French")}};
        UserSettings::storeSelectedSearchLanguage(french);
        AppCore core;
        QCOMPARE(launch(core), QStringList());
        QCOMPARE(Presets::number(core.conversionOption()), 4);
        QCOMPARE(core.languages().at(core.selectedLanguageIndex()), french);
    }

    void savingStoresTheChosenEntryAndTheLivePreset()
    {
        AppCore core;
        launch(core);
        QSignalSpy presetChanges(&core, &AppCore::conversionOptionChanged);
        int german = -1;
        for (int i = 0; i < core.languages().size(); ++i) {
            if (core.languages().at(i).value(QStringLiteral("alpha2")) == QStringLiteral("de"))
                german = i;
        }
        QVERIFY(german >= 0);
        core.setSelectedLanguageIndex(german);
        core.setConversionOption(Preset::TagInPlace);
        QCOMPARE(Presets::number(core.conversionOption()), 1);
        QCOMPARE(presetChanges.size(), 1);
        // Nothing is stored before the settings are confirmed.
        QCOMPARE(settings().value(QStringLiteral("convertionOptions")).toInt(), 3);

        core.saveSettings();
        QCOMPARE(settings().value(QStringLiteral("convertionOptions")).toInt(), 1);
        const QVariantMap stored = settings().value(QStringLiteral("selectedSearchLanguage")).toMap();
        QCOMPARE(stored, core.languages().at(german));
        QCOMPARE(stored.size(), 3);
    }

    void brokenLanguageResourceIsReportedAndNothingIsStored_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing") << QByteArray() << QStringLiteral("Invalid filename/path.");
        QTest::newRow("invalid json") << QByteArray("[{\"alpha2\": \"en\",")
                                      << QStringLiteral(
                                             "Could not get json from file, make sure that file contains valid json.");
    }

    void brokenLanguageResourceIsReportedAndNothingIsStored()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, message);
        QTemporaryDir dir;
        AppCore core;
        core.setLanguageListPath(content.isEmpty() ? dir.filePath(QStringLiteral("absent.json"))
                                                   : writeFile(dir, QStringLiteral("languages.json"), content));
        QCOMPARE(launch(core), QStringList{message});
        QVERIFY(core.languages().isEmpty());
        QCOMPARE(core.selectedLanguageIndex(), -1);
        QVERIFY(!settings().contains(QStringLiteral("selectedSearchLanguage")));
        // The preset is still stored, and confirming the settings does not fail.
        QCOMPARE(settings().value(QStringLiteral("convertionOptions")).toInt(), 3);
        core.setConversionOption(Preset::TagAndMove);
        core.saveSettings();
        QCOMPARE(settings().value(QStringLiteral("convertionOptions")).toInt(), 2);
        QVERIFY(!settings().contains(QStringLiteral("selectedSearchLanguage")));
    }

    void unreadableLanguageResourceReportsTheReadError()
    {
        QTemporaryDir dir;
        AppCore core;
        core.setLanguageListPath(dir.path()); // a folder cannot be read as a file
        const QStringList lines = launch(core);
        QCOMPARE(lines.size(), 1);
        QVERIFY(!lines.constFirst().isEmpty());
        QVERIFY(core.languages().isEmpty());
    }
};

KINOVELA_TEST_MAIN(TestAppCore)
#include "tst_appcore.moc"
