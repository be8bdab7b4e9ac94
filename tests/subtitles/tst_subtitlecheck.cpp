#include "base/Json.h"
#include "subtitles/OpenSubsAccess.h"
#include "subtitles/OpenSubtitlesRest.h"
#include "subtitles/SubtitleCheck.h"
#include "subtitles/SubtitleQuota.h"
#include "subtitles/XmlRpc.h"
#include "support/TestEnvironment.h"

#include <QFile>

namespace {

const QByteArray ThreeCues = "1\n00:00:01,000 --> 00:00:02,000\nOne\n\n2\n00:00:03,000 --> 00:00:04,000\nTwo\n\n"
                             "3\n00:00:05,000 --> 00:00:06,500\nThree\n";

// Man of Steel, the movie of the recorded sessions, runs 143 minutes.
constexpr double ManOfSteel = 143 * 60;

QByteArray recorded(const QString &name)
{
    QFile file(QStringLiteral(KINOVELA_RECORDED_ANSWERS "/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QVariantMap xmlRpcAnswer(const QString &name)
{
    return XmlRpc::parseResponse(recorded(name)).value_or(QVariant()).toMap();
}

} // namespace

/** What SubtitleCheck lets through, and the clients against answers recorded from the real services. */
class TestSubtitleCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void checks_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("claim");
        QTest::addColumn<double>("duration");
        QTest::addColumn<QString>("expected"); // the format name, or a part of the reason it was turned away
        QTest::newRow("SubRip") << ThreeCues << QStringLiteral("srt") << 60.0 << QStringLiteral("SubRip");
        QTest::newRow("SubRip with CRLF and BOM") << QByteArray("\xef\xbb\xbf" + QByteArray(ThreeCues).replace("\n", "\r\n"))
                                                  << QStringLiteral("srt") << 60.0 << QStringLiteral("SubRip");
        QTest::newRow("advertisement") << QByteArray("Become OpenSubtitles.org VIP member to get subtitles \xe2\x86\x92 osdb.link/vip")
                                       << QStringLiteral("srt") << 60.0 << QStringLiteral("advertisement");
        QTest::newRow("advertisement as a cue") << QByteArray("1\n00:00:01,000 --> 00:00:05,000\nosdb.link/vip\n")
                                                << QStringLiteral("srt") << 60.0 << QStringLiteral("advertisement");
        QTest::newRow("ad cue among real ones")
            << QByteArray(ThreeCues + "\n4\n00:00:07,000 --> 00:00:08,000\nAdvertise your product or brand here\n")
            << QStringLiteral("srt") << 60.0 << QStringLiteral("SubRip");
        QTest::newRow("two cues") << ThreeCues.left(ThreeCues.indexOf("\n\n3")) << QStringLiteral("srt") << 60.0
                                  << QStringLiteral("only 2 cue");
        // The last cue ends at 1:46.5: a movie must run at least 46.5 seconds for it.
        const QByteArray longer = QByteArray(ThreeCues).replace("00:00:06,500", "00:01:46,500");
        QTest::newRow("longer than the movie") << longer << QStringLiteral("srt") << 46.4 << QStringLiteral("after the movie's end");
        QTest::newRow("within a minute of the end") << longer << QStringLiteral("srt") << 46.6 << QStringLiteral("SubRip");
        QTest::newRow("no duration known") << ThreeCues << QStringLiteral("srt") << 0.0 << QStringLiteral("SubRip");
        QTest::newRow("times out of order") << QByteArray(ThreeCues).replace("00:00:03,000 --> 00:00:04,000", "00:00:00,500 --> 00:00:04,000")
                                            << QStringLiteral("srt") << 60.0 << QStringLiteral("starts before");
        QTest::newRow("cue ends before it starts") << QByteArray(ThreeCues).replace("00:00:04,000", "00:00:02,000")
                                                   << QStringLiteral("srt") << 60.0 << QStringLiteral("ends before it starts");
        QTest::newRow("video posing as a subtitle") << QByteArray::fromHex("0000001c6674797069736f6d") + QByteArray(2048, '\x01')
                                                    << QStringLiteral("srt") << 60.0 << QStringLiteral("binary data");
        QTest::newRow("SubRip claimed as ASS") << ThreeCues << QStringLiteral("ass") << 60.0 << QStringLiteral("not a ass subtitle");
        QTest::newRow("unknown format") << ThreeCues << QStringLiteral("smi") << 60.0 << QStringLiteral("not a subtitle format");
        QTest::newRow("MicroDVD") << QByteArray("{1}{1}25\n{25}{50}One\n{75}{100}Two|lines\n{125}{150}Three\n")
                                  << QStringLiteral("sub") << 60.0 << QStringLiteral("MicroDVD");
        QTest::newRow("SubViewer") << QByteArray("[INFORMATION]\n[END INFORMATION]\n00:00:01.00,00:00:02.00\nOne\n\n"
                                                 "00:00:03.00,00:00:04.00\nTwo[br]lines\n\n00:00:05.00,00:00:06.00\nThree\n")
                                   << QStringLiteral("sub") << 60.0 << QStringLiteral("SubViewer");
        QTest::newRow("WebVTT") << QByteArray("WEBVTT\n\n00:01.000 --> 00:02.000\nOne\n\n00:03.000 --> 00:04.000\nTwo\n\n"
                                              "01:00:05.000 --> 01:00:06.000\nThree\n")
                                << QStringLiteral("vtt") << 3700.0 << QStringLiteral("WebVTT");
        QTest::newRow("ASS, events in any order")
            << QByteArray("[Script Info]\nScriptType: v4.00+\n\n[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, "
                          "MarginV, Effect, Text\nDialogue: 0,0:00:05.00,0:00:06.00,Default,,0,0,0,,Three, with a comma\n"
                          "Dialogue: 0,0:00:01.00,0:00:02.00,Default,,0,0,0,,One\nDialogue: 0,0:00:03.00,0:00:04.00,Default,,0,0,0,,{\\i1}Two\n")
            << QStringLiteral("ssa") << 60.0 << QStringLiteral("ASS/SSA");
    }

    void checks()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, claim);
        QFETCH(double, duration);
        QFETCH(QString, expected);
        const Outcome<SubtitleCheck::Checked> checked = SubtitleCheck::check(bytes, claim, duration);
        QVERIFY2(checked ? SubtitleCheck::formatName(checked->format) == expected : checked.errorText().contains(expected),
                 qPrintable(checked ? SubtitleCheck::formatName(checked->format) : checked.errorText()));
        if (checked)
            QVERIFY(!checked->utf8.startsWith("\xef\xbb\xbf"));
    }

    void textIsConvertedToUtf8_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("charset");
        QTest::addColumn<QString>("text");
        QTest::newRow("UTF-8 stays") << QByteArray("Caf\xc3\xa9 cr\xc3\xa8me, na\xc3\xafve") << QStringLiteral("UTF-8")
                                     << QStringLiteral("Café crème, naïve");
        QTest::newRow("Windows-1252") << QByteArray("\x93" "Caf\xe9 cr\xe8me\x94 \x96 na\xefve d\xe9j\xe0 vu, gar\xe7on")
                                      << QStringLiteral("WINDOWS-1252") << QStringLiteral("“Café crème” – naïve déjà vu, garçon");
        QTest::newRow("UTF-16 with its mark") << QByteArray("\xff\xfe" "C\0a\0f\0\xe9\0", 10) << QStringLiteral("UTF-16LE")
                                              << QStringLiteral("Café");
    }

    void textIsConvertedToUtf8()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, charset);
        QFETCH(QString, text);
        QString detected;
        const Outcome<QString> decoded = SubtitleCheck::decode(bytes, &detected);
        QVERIFY2(decoded, qPrintable(decoded.errorText()));
        QCOMPARE(*decoded, text);
        QCOMPARE(detected, charset);
    }

    void recordedRestAnswers()
    {
        if (recorded(QStringLiteral("rest/search-empty.json")).isEmpty())
            QSKIP("the recorded answers are not beside the repository");
        const Json byHash = Json::parse(recorded(QStringLiteral("rest/search-moviehash-en.json")));
        QCOMPARE(OpenSubtitlesRest::hashMatches(byHash).size(), 12);
        QCOMPARE(OpenSubtitlesRest::hashMatches(byHash).constFirst().fileID, 3249003);
        const Json byImdb = Json::parse(recorded(QStringLiteral("rest/search-imdb_id-de-fr.json")));
        QVERIFY(OpenSubtitlesRest::hashMatches(byImdb).isEmpty());
        QCOMPARE(OpenSubtitlesRest::results(byImdb).constFirst().fileID, 962144);
        const QList<SubtitleCandidate> list = OpenSubtitlesRest::listRecords(byImdb);
        QCOMPARE(list.size(), 10);
        QVERIFY(!list.constFirst().fileName.isEmpty() && !list.constFirst().approximateTime.isEmpty());
        QVERIFY(OpenSubtitlesRest::results(Json::parse(recorded(QStringLiteral("rest/search-empty.json")))).isEmpty());

        const std::optional<SubtitleQuota> quota = SubtitleQuota::fromAnswer(Json::parse(recorded(QStringLiteral("rest/download-962144.json"))));
        QVERIFY(quota.has_value());
        QCOMPARE(quota->remaining, 99);
        QCOMPARE(quota->resetTimeUtc, QDateTime(QDate(2024, 5, 28), QTime(23, 59, 59, 999), Qt::UTC));
        QVERIFY(quota->limitText().endsWith(QStringLiteral(" UTC")));

        const Outcome<SubtitleCheck::Checked> file = SubtitleCheck::check(recorded(QStringLiteral("rest/file-962144.srt")), QStringLiteral("srt"), ManOfSteel);
        QVERIFY2(file, qPrintable(file.errorText()));
        QCOMPARE(file->cueCount, 1178);
        QCOMPARE(file->charset, QStringLiteral("UTF-8"));
        // The same file is turned away for a movie half as long.
        QVERIFY(!SubtitleCheck::check(recorded(QStringLiteral("rest/file-962144.srt")), QStringLiteral("srt"), ManOfSteel / 2));
    }

    void recordedXmlRpcAnswers()
    {
        if (recorded(QStringLiteral("xmlrpc/login.xml")).isEmpty())
            QSKIP("the recorded answers are not beside the repository");
        const QVariantMap login = xmlRpcAnswer(QStringLiteral("xmlrpc/login.xml"));
        QVERIFY(OpenSubsAccess::statusOk(login));
        QVERIFY(!login.value(QStringLiteral("token")).toString().isEmpty());
        QVERIFY(!OpenSubsAccess::statusOk({{QStringLiteral("status"), QStringLiteral("401 Unauthorized")},
                                           {QStringLiteral("token"), QStringLiteral("still given")}}));

        // Choose: the SubRip file ending closest before the movie's end; ties go to the earlier entry.
        const QVariantMap byImdb = xmlRpcAnswer(QStringLiteral("xmlrpc/search-imdb-ger.xml"));
        const std::optional<SubtitleChoice> closest = OpenSubsAccess::closestToEndChoice(byImdb, ManOfSteel);
        QCOMPARE(closest->fileID, 1955279635);
        const QList<SubtitleChoice> order = OpenSubsAccess::choicesWithFirst(byImdb, closest);
        QCOMPARE(order.size(), 7);
        QCOMPARE(order.at(1).fileID, 1956717408);
        QCOMPARE(OpenSubsAccess::listRecords(byImdb).size(), 6); // the ssa one is left out
        QVERIFY(OpenSubsAccess::choicesWithFirst(xmlRpcAnswer(QStringLiteral("xmlrpc/search-nomatch-eng.xml")), std::nullopt).isEmpty());
        QCOMPARE(OpenSubsAccess::firstChoice(xmlRpcAnswer(QStringLiteral("xmlrpc/search-hash-eng.xml")))->fileID, 1953767330);

        // Save: the recorded download is a French file in a Latin charset; it arrives as UTF-8.
        const QByteArray content = OpenSubsAccess::downloadedContent(xmlRpcAnswer(QStringLiteral("xmlrpc/download-1953767650.xml")));
        const Outcome<SubtitleCheck::Checked> checked = SubtitleCheck::check(content, QStringLiteral("srt"), ManOfSteel);
        QVERIFY2(checked, qPrintable(checked.errorText()));
        QVERIFY(checked->charset != QLatin1String("UTF-8"));
        QVERIFY(checked->utf8.contains("\xc3\xa9")); // é
        QCOMPARE(checked->lastCueEnd, 2 * 3600 + 22 * 60 + 59.778);
    }
};

KINOVELA_TEST_MAIN(TestSubtitleCheck)
#include "tst_subtitlecheck.moc"
