#include "base/SearchLanguage.h"
#include "base/Diagnostics.h"
#include "base/LanguageList.h"
#include "base/UserSettings.h"
#include "support/TestEnvironment.h"

#include <QSettings>

class TestSettings : public QObject
{
    Q_OBJECT

private:
    static QVariantMap language(const char *alpha3, const char *alpha2, const char *english)
    {
        return {{QStringLiteral("alpha3-b"), QString::fromLatin1(alpha3)},
                {QStringLiteral("alpha2"), QString::fromLatin1(alpha2)},
                {QStringLiteral("English"), QString::fromLatin1(english)}};
    }

private Q_SLOTS:
    void init()
    {
        UserSettings::clearRunOverrides();
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).clear();
    }

    void nothingIsStoredAtFirst()
    {
        QVERIFY(!UserSettings::conversionOption().has_value());
        QVERIFY(UserSettings::selectedSearchLanguage().isEmpty());
        QCOMPARE(SearchLanguage::defaultLanguage().toMap(), language("eng", "en", "English"));
    }

    void storedValuesSurviveANewSettingsObject()
    {
        UserSettings::storeConversionOption(Preset::ConvertWithSubtitles);
        UserSettings::storeSelectedSearchLanguage(language("fre", "fr", "French"));
        QSettings settings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
        QCOMPARE(settings.value(QStringLiteral("convertionOptions")).toInt(), 4);
        QCOMPARE(settings.value(QStringLiteral("selectedSearchLanguage")).toMap(), language("fre", "fr", "French"));
        QCOMPARE(UserSettings::conversionOption().value_or(0), 4);
        QCOMPARE(UserSettings::selectedSearchLanguage(), language("fre", "fr", "French"));
        // The settings file lives under XDG_CONFIG_HOME, which the test environment moved.
        QVERIFY(settings.fileName().startsWith(qEnvironmentVariable("XDG_CONFIG_HOME")));
    }

    void runOverridesWinAndAreNeverStored()
    {
        UserSettings::storeConversionOption(Preset::TagAndMove);
        UserSettings::setRunPreset(Preset::ConvertWithSubtitles);
        UserSettings::setRunLanguage(language("ger", "de", "German"));
        QCOMPARE(UserSettings::conversionOption().value_or(0), 4);
        QCOMPARE(UserSettings::selectedSearchLanguage().value(QStringLiteral("alpha2")).toString(), QStringLiteral("de"));
        QSettings settings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
        QCOMPARE(settings.value(QStringLiteral("convertionOptions")).toInt(), 2);
        QVERIFY(!settings.contains(QStringLiteral("selectedSearchLanguage")));
        UserSettings::clearRunOverrides();
        QCOMPARE(UserSettings::conversionOption().value_or(0), 2);
    }

    void languageListComesFromTheResource()
    {
        const LanguageList list = LanguageList::load();
        QCOMPARE(list.status(), LanguageList::Status::Loaded);
        QVERIFY(list.entries().size() > 150);
        for (const QVariant &entry : list.entries()) {
            const QVariantMap map = entry.toMap();
            QCOMPARE(map.size(), 3);
            QCOMPARE(map.value(QStringLiteral("alpha3-b")).toString().size(), 3);
            QCOMPARE(map.value(QStringLiteral("alpha2")).toString().size(), 2);
            QVERIFY(!map.value(QStringLiteral("English")).toString().isEmpty());
        }
        QVERIFY(list.indexOf(SearchLanguage::defaultLanguage().toMap()) >= 0);
        // Bibliographic codes, not terminology codes.
        QCOMPARE(list.find(QStringLiteral("fr")).value(QStringLiteral("alpha3-b")).toString(), QStringLiteral("fre"));
        QCOMPARE(list.find(QStringLiteral("de")).value(QStringLiteral("alpha3-b")).toString(), QStringLiteral("ger"));
    }

    void languagesAreFoundByAnyCode_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("alpha2");
        QTest::newRow("alpha2") << QStringLiteral("es") << QStringLiteral("es");
        QTest::newRow("alpha3-b") << QStringLiteral("spa") << QStringLiteral("es");
        QTest::newRow("English name") << QStringLiteral("Spanish; Castilian") << QStringLiteral("es");
        QTest::newRow("letter case") << QStringLiteral("ENG") << QStringLiteral("en");
        QTest::newRow("unknown") << QStringLiteral("xx") << QString();
        QTest::newRow("empty") << QString() << QString();
    }

    void languagesAreFoundByAnyCode()
    {
        QFETCH(QString, code);
        QFETCH(QString, alpha2);
        const LanguageList list = LanguageList::load();
        QCOMPARE(list.find(code).value(QStringLiteral("alpha2")).toString(), alpha2);
    }

    void brokenLanguageFilesAreReported()
    {
        QTemporaryDir dir;
        const QString invalid = dir.filePath(QStringLiteral("invalid.json"));
        QFile file(invalid);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[{\"alpha2\": ");
        file.close();

        QCOMPARE(LanguageList::load(dir.filePath(QStringLiteral("missing.json"))).status(), LanguageList::Status::Missing);
        QCOMPARE(LanguageList::load(invalid).status(), LanguageList::Status::InvalidJson);
        const LanguageList unreadable = LanguageList::load(dir.path());
        QCOMPARE(unreadable.status(), LanguageList::Status::Unreadable);
        QVERIFY(!unreadable.errorText().isEmpty());
        QVERIFY(unreadable.entries().isEmpty());
    }

    void diagnosticsHideSecrets()
    {
        Diagnostics::addSecret(QStringLiteral("0123456789abcdef0123456789abcdef"));
        Diagnostics::addSecret(QString()); // an empty secret must not mask everything
        Diagnostics::startCapture();
        Diagnostics::write(QStringLiteral("GET /3/search/movie?api_key=0123456789abcdef0123456789abcdef&query=x"));
        Diagnostics::write(QStringLiteral("plain line"));
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(lines,
                 QStringList({QStringLiteral("GET /3/search/movie?api_key=***&query=x"), QStringLiteral("plain line")}));
    }
};

KINOVELA_TEST_MAIN(TestSettings)
#include "tst_settings.moc"
