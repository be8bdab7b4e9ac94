#include "standin/StandinServer.h"
#include "subtitles/FileHash.h"
#include "subtitles/Gzip.h"
#include "subtitles/OpenSubsAccess.h"
#include "subtitles/Video.h"
#include "subtitles/XmlRpc.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QProcess>

namespace {

QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &content)
{
    const QString path = dir.filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

QVariantMap entry(const char *id, const char *format, const char *last)
{
    return {{QStringLiteral("IDSubtitleFile"), QString::fromLatin1(id)},
            {QStringLiteral("SubFormat"), QString::fromLatin1(format)},
            {QStringLiteral("SubLastTS"), QString::fromLatin1(last)},
            {QStringLiteral("SubFileName"), QString(QStringLiteral("file ") + QString::fromLatin1(id))},
            {QStringLiteral("UserNickName"), QStringLiteral("someone")}};
}

} // namespace

class TestSubtitles : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_files;

private Q_SLOTS:
    void movieHash_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("hash");
        QTest::addColumn<quint64>("size");
        QByteArray middle(300000, 'a');
        const QString plain = FileHash::hashText(FileHash::getVideoHashForPath(writeFile(m_files, QStringLiteral("m.bin"), middle)).fileHash);
        middle[150000] = 'b';
        QTest::newRow("too short") << QByteArray(65535, '\0') << QStringLiteral("0") << quint64(0);
        QTest::newRow("one block of zeros") << QByteArray(65536, '\0') << QStringLiteral("10000") << quint64(65536);
        QTest::newRow("two blocks of ones") << QByteArray(131072, char(0xff)) << QStringLiteral("1c000") << quint64(131072);
        QTest::newRow("middle ignored") << middle << plain << quint64(300000);
        QTest::newRow("missing file") << QByteArray() << QStringLiteral("0") << quint64(0);
    }

    void movieHash()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, hash);
        QFETCH(quint64, size);
        const QString path = content.isNull() ? QStringLiteral("/nonexistent") : writeFile(m_files, QStringLiteral("hash.bin"), content);
        const FileHash::VideoHash result = FileHash::getVideoHashForPath(path);
        QCOMPARE(FileHash::hashText(result.fileHash), hash);
        QCOMPARE(result.fileSize, size);
        QCOMPARE(Video(path, QString(), 0).getMovieHashString(), hash);
    }

    void xmlRpcRoundTrip()
    {
        const QVariantList parameters{QStringLiteral("token"),
                                      QVariantList{OpenSubsAccess::hashQuery(QStringLiteral("eng"), QStringLiteral("abc"), 1234.0)}};
        const QByteArray call = XmlRpc::call(QStringLiteral("SearchSubtitles"), parameters);
        QVERIFY(call.contains("<methodName>SearchSubtitles</methodName>"));
        QVERIFY(call.contains("<double>"));
        QString method;
        QVariantList parsed;
        QVERIFY(XmlRpc::parseCall(call, &method, &parsed));
        QCOMPARE(method, QStringLiteral("SearchSubtitles"));
        QCOMPARE(parsed.at(1).toList().at(0).toMap().value(QStringLiteral("moviehash")).toString(), QStringLiteral("abc"));

        const QVariantMap answer{{QStringLiteral("status"), QStringLiteral("200 OK")}, {QStringLiteral("data"), QVariantList{1, 2}}};
        QCOMPARE(XmlRpc::parseResponse(XmlRpc::response(answer)).value_or(QVariant()).toMap(), answer);
        QVERIFY(!XmlRpc::parseResponse(XmlRpc::fault(3, QStringLiteral("no"))).has_value());
        QVERIFY(!XmlRpc::parseResponse("<html>nope</html>").has_value());
        QVERIFY(!XmlRpc::parseResponse(QByteArray()).has_value());
        // Entities that expand a few hundred bytes into megabytes never reach the parser.
        const QByteArray bomb = QByteArrayLiteral("<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\">"
                                                  "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
                                                  "<methodResponse><params><param><value><string>&b;</string></value>"
                                                  "</param></params></methodResponse>");
        QVERIFY(!XmlRpc::parseResponse(bomb).has_value());
    }

    void imdbQueries_data()
    {
        QTest::addColumn<QString>("imdb");
        QTest::addColumn<QVariant>("number");
        QTest::newRow("usual") << QStringLiteral("tt0111161") << QVariant(111161);
        QTest::newRow("not a number") << QStringLiteral("ttabc") << QVariant();
        QTest::newRow("empty") << QString() << QVariant();
    }

    void imdbQueries()
    {
        QFETCH(QString, imdb);
        QFETCH(QVariant, number);
        const QVariantMap query = OpenSubsAccess::imdbQuery(QStringLiteral("fre"), imdb);
        QCOMPARE(query.value(QStringLiteral("imdbid")), number);
        QCOMPARE(query.value(QStringLiteral("sublanguageid")).toString(), QStringLiteral("fre"));
        QCOMPARE(query.value(QStringLiteral("moviebytesize")).toInt(), 0);
    }

    void choosingASubtitle()
    {
        const QVariantMap answer{{QStringLiteral("data"),
                                  QVariantList{entry("1", "sub", "01:59:00"), entry("2", "srt", "01:50:00"),
                                               entry("3", "srt", "01:58:00"), entry("4", "srt", "02:30:00"),
                                               entry("5", "srt", "01:58:00")}}};
        // Duration 2 h: the srt ending closest before the end wins; ties go to the earlier.
        QCOMPARE(OpenSubsAccess::closestToEndChoice(answer, 7200.9)->fileID, 3);
        // Nothing qualifies: the first entry, whatever it is.
        QCOMPARE(OpenSubsAccess::closestToEndChoice(answer, 10.0)->fileID, 1);
        QCOMPARE(OpenSubsAccess::firstChoice(answer)->format, QStringLiteral("sub"));
        QVERIFY(!OpenSubsAccess::firstChoice({{QStringLiteral("data"), false}}).has_value());
        const QList<SubtitleCandidate> records = OpenSubsAccess::listRecords(answer);
        QCOMPARE(records.size(), 4);
        QCOMPARE(records.at(0).fileID, 2);
        QCOMPARE(records.at(0).approximateTime, QStringLiteral("01:50:00"));
    }

    void downloadedData_data()
    {
        QTest::addColumn<QByteArray>("base64");
        QTest::addColumn<QByteArray>("content");
        const QByteArray text = "1\n00:00:01,000 --> 00:00:02,000\nHello\n";
        QTest::newRow("gzip") << StandinServer::gzip(text).toBase64() << text;
        QTest::newRow("plain") << text.toBase64() << text;
        QTest::newRow("truncated gzip") << StandinServer::gzip(text).left(12).toBase64() << QByteArray();
        QTest::newRow("not base64") << QByteArray("%%%***") << QByteArray();
    }

    void downloadedData()
    {
        QFETCH(QByteArray, base64);
        QFETCH(QByteArray, content);
        const QVariantMap answer{{QStringLiteral("data"),
                                  QVariantList{QVariantMap{{QStringLiteral("data"), QString::fromLatin1(base64)}}}}};
        QCOMPARE(OpenSubsAccess::downloadedContent(answer), content);
    }

    void inflationIsCapped()
    {
        const QByteArray big(2 * 1024 * 1024, 'x');
        QVERIFY(Gzip::inflate(StandinServer::gzip(big), 1024 * 1024) == std::nullopt);
        QCOMPARE(Gzip::inflate(StandinServer::gzip(big)).value_or(QByteArray()).size(), big.size());
    }

    void subtitlePaths_data()
    {
        QTest::addColumn<QString>("video");
        QTest::addColumn<QString>("name");
        QTest::newRow("simple") << QStringLiteral("/a/b/Alien.mp4") << QStringLiteral("Alien.srt");
        QTest::newRow("dots") << QStringLiteral("/films/The.Thing.1982.avi") << QStringLiteral("The.Thing.1982.srt");
        QTest::newRow("no extension") << QStringLiteral("/films/Heat") << QStringLiteral("Heat.srt");
        QTest::newRow("dot in folder") << QStringLiteral("/my.films/Heat") << QStringLiteral("Heat.srt");
    }

    void subtitlePaths()
    {
        QFETCH(QString, video);
        QFETCH(QString, name);
        const Subtitle subtitle(video, QStringLiteral("srt"));
        QCOMPARE(subtitle.path, QDir::homePath() + QStringLiteral("/Subtitles/") + name);
        QCOMPARE(subtitle.presentedItemURL(), QUrl::fromLocalFile(subtitle.path));
        QCOMPARE(subtitle.primaryPresentedItemURL(), QUrl::fromLocalFile(video));
    }

    void hashCommand()
    {
        QProcess cli;
        const QString file = writeFile(m_files, QStringLiteral("ones.bin"), QByteArray(131072, char(0xff)));
        cli.start(qEnvironmentVariable("KINOVELA_CLI"), {QStringLiteral("hash"), file, QStringLiteral("/nonexistent.mkv")});
        QVERIFY(cli.waitForFinished(30000));
        QCOMPARE(cli.exitCode(), 1);
        QCOMPARE(cli.readAllStandardOutput(), QByteArray("1c000  131072  ") + file.toUtf8() + "\n");
        QVERIFY(cli.readAllStandardError().contains("/nonexistent.mkv"));
    }
};

KINOVELA_TEST_MAIN(TestSubtitles)
#include "tst_subtitles.moc"
