#include "base/Diagnostics.h"
#include "media/FileProbe.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace {

QByteArray report(const QJsonArray &streams, const QJsonObject &format = {})
{
    QJsonObject root{{QStringLiteral("streams"), streams}};
    root.insert(QStringLiteral("format"), format.isEmpty() ? QJsonObject{{QStringLiteral("duration"), QStringLiteral("5400.5")},
                                                                         {QStringLiteral("bit_rate"), QStringLiteral("1200000")}}
                                                           : format);
    return QJsonDocument(root).toJson();
}

QJsonObject stream(int index, const char *type, const char *name, const char *tag, const char *rate = "25/1",
                   int width = 0, int height = 0)
{
    QJsonObject s{{QStringLiteral("index"), index},
                  {QStringLiteral("codec_type"), QString::fromLatin1(type)},
                  {QStringLiteral("codec_tag_string"), QString::fromLatin1(tag)},
                  {QStringLiteral("avg_frame_rate"), QString::fromLatin1(rate)}};
    if (name)
        s.insert(QStringLiteral("codec_name"), QString::fromLatin1(name));
    if (width)
        s.insert(QStringLiteral("width"), width);
    if (height)
        s.insert(QStringLiteral("height"), height);
    return s;
}

QVariantMap trackAt(const FileProbe &probe, int index)
{
    return probe.tracksInfo.value(index).toMap();
}

QString metadataValue(const FileProbe &probe, const QString &key)
{
    for (const QVariant &entry : probe.metadata) {
        if (entry.toMap().value(QStringLiteral("key")).toString() == key)
            return entry.toMap().value(QStringLiteral("value")).toString();
    }
    return QStringLiteral("<missing>");
}

} // namespace

class TestFileProbe : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validity_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<bool>("errors");
        QTest::addColumn<qint64>("streams");
        const QByteArray one = report({stream(0, "video", "h264", "avc1", "25/1", 640, 480)});
        QTest::newRow("movie") << QStringLiteral("/x/movie.mkv") << one << true << false << qint64(1);
        QTest::newRow("no extension") << QStringLiteral("/x/movie") << one << true << false << qint64(1);
        QTest::newRow("text file in capitals") << QStringLiteral("/x/notes.TXT") << one << false << false << qint64(1);
        QTest::newRow("no streams") << QStringLiteral("/x/a.mkv") << QByteArray(R"({"streams": []})") << false << false
                                    << qint64(0);
        QTest::newRow("error") << QStringLiteral("/x/a.mkv")
                               << QByteArray(R"({"error": {"code": -1094995529, "string": "Invalid data"}, "streams": [{}]})")
                               << false << true << qint64(0);
        QTest::newRow("not json") << QStringLiteral("/x/a.mkv") << QByteArray("garbage{") << false << false << qint64(0);
        QTest::newRow("empty output") << QStringLiteral("/x/a.mkv") << QByteArray() << false << false << qint64(0);
    }

    void validity()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, json);
        QFETCH(bool, valid);
        QFETCH(bool, errors);
        QFETCH(qint64, streams);
        Diagnostics::startCapture(); // the crafted paths do not exist
        const FileProbe probe = FileProbe::fromReport(path, json);
        Diagnostics::stopCapture();
        QCOMPARE(probe.isValidMediaFile, valid);
        QCOMPARE(probe.hasErrors, errors);
        QCOMPARE(probe.numberOfStreams, streams);
        QCOMPARE(probe.fileSize.value_or(99), quint64(0));
        QCOMPARE(probe.fileSizeHuman.value_or(QString()), QStringLiteral("Unknown File Size"));
        if (!valid)
            QVERIFY(probe.tracksInfo.isEmpty());
    }

    void classification_data()
    {
        QTest::addColumn<QJsonObject>("s");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("special");
        QTest::newRow("mjpeg jpeg is other") << stream(0, "video", "mjpeg", "jpeg", "25/1", 10, 10) << QStringLiteral("Other")
                                             << QStringLiteral("jpeg");
        QTest::newRow("h264") << stream(0, "video", "h264", "avc1", "0/0", 1920, 1080) << QStringLiteral("Video")
                              << QStringLiteral("1920x1080");
        QTest::newRow("theora") << stream(0, "video", "theora", "[0][0][0][0]", "0/0", 320, 240) << QStringLiteral("Video")
                                << QStringLiteral("320x240");
        QTest::newRow("wmv3") << stream(0, "video", "wmv3", "WMV3", "0/0", 720, 480) << QStringLiteral("Video")
                              << QStringLiteral("720x480");
        QTest::newRow("wmv3 other tag falls through") << stream(0, "video", "wmv3", "wmv3", "0/0", 720, 480)
                                                      << QStringLiteral("Other") << QStringLiteral("wmv3");
        QTest::newRow("png cover") << stream(0, "video", "png", "[0][0][0][0]", "0/0", 200, 300) << QStringLiteral("Poster")
                                   << QStringLiteral("200x300");
        QTest::newRow("png with frame rate") << stream(0, "video", "png", "[0][0][0][0]", "25/1", 200, 300)
                                             << QStringLiteral("Video") << QStringLiteral("200x300");
        QTest::newRow("text subtitle") << stream(0, "subtitle", "mov_text", "text") << QStringLiteral("Other")
                                       << QStringLiteral("text");
        QTest::newRow("data") << stream(0, "data", "bin_data", "rtp ") << QStringLiteral("Other") << QStringLiteral("rtp ");
    }

    void classification()
    {
        QFETCH(QJsonObject, s);
        QFETCH(QString, type);
        QFETCH(QString, special);
        const FileProbe probe = FileProbe::fromReport(QStringLiteral("/nonexistent/a.mkv"), report({s}));
        QCOMPARE(trackAt(probe, 0).value(QStringLiteral("trackType")).toString(), type);
        QCOMPARE(trackAt(probe, 0).value(QStringLiteral("trackSpecialInfo")).toString(), special);
        QCOMPARE(trackAt(probe, 0).size(), 9);
    }

    void frameSizeComesFromTheRightStream()
    {
        // A cover picture first, then the movie: the movie's size wins.
        QJsonObject subtitle = stream(3, "subtitle", "mov_text", "tx3g");
        subtitle.insert(QStringLiteral("tags"), QJsonObject{{QStringLiteral("language"), QStringLiteral("eng")}});
        QJsonObject audio = stream(2, "audio", "aac", "mp4a");
        audio.insert(QStringLiteral("channels"), 6);
        audio.insert(QStringLiteral("channel_layout"), QStringLiteral("5.1"));
        const FileProbe probe = FileProbe::fromReport(
            QStringLiteral("/nonexistent/a.mp4"),
            report({stream(0, "video", "mjpeg", "[0][0][0][0]", "0/0", 600, 900),
                    stream(1, "video", "mpeg4", "FMP4", "24000/1001", 1280, 720), audio, subtitle}));
        QCOMPARE(probe.videoWidth.value_or(0), 1280);
        QCOMPARE(probe.videoHeight.value_or(0), 720);
        QVERIFY(qFuzzyCompare(probe.videoRatio.value_or(0), 1280.0 / 720.0));
        QVERIFY(probe.hasVideoTrack && probe.hasAudioTrack && probe.hasSubtitleTrack);
        QVERIFY(probe.hasAudioTrackWhichHasMoreThanTwoChannels);
        QVERIFY(!probe.isEncrypted);
        QCOMPARE(probe.duration, 5400.5);
        QCOMPARE(probe.bitRate, 1200000);
        QCOMPARE(trackAt(probe, 0).value(QStringLiteral("trackType")).toString(), QStringLiteral("Poster"));
        QCOMPARE(trackAt(probe, 1).value(QStringLiteral("trackSpecialInfo")).toString(), QStringLiteral("1280x720"));
        QCOMPARE(trackAt(probe, 2).value(QStringLiteral("trackSpecialInfo")).toString(), QStringLiteral("5.1"));
        QCOMPARE(trackAt(probe, 3).value(QStringLiteral("trackSpecialInfo")).toString(), QStringLiteral("eng"));
        QCOMPARE(trackAt(probe, 3).value(QStringLiteral("trackLanguage")).toString(), QStringLiteral("eng"));
    }

    void encryptionAndStereo()
    {
        QJsonObject stereo = stream(2, "audio", "aac", "mp4a");
        stereo.insert(QStringLiteral("channels"), 2);
        const FileProbe probe = FileProbe::fromReport(
            QStringLiteral("/nonexistent/a.mp4"),
            report({stream(0, "video", "h264", "avc1", "25/1", 640, 480), stream(1, "video", nullptr, "drmi"), stereo}));
        QVERIFY(probe.isEncrypted);
        QVERIFY(!probe.hasAudioTrackWhichHasMoreThanTwoChannels);
        QVERIFY(!probe.isAcceptable());
    }

    void tagEntries()
    {
        QJsonObject format{{QStringLiteral("duration"), QStringLiteral("10")},
                           {QStringLiteral("tags"), QJsonObject{{QStringLiteral("title"), QStringLiteral("A Title")},
                                                                {QStringLiteral("hd_video"), QStringLiteral("1")},
                                                                {QStringLiteral("media_type"), QStringLiteral("10")},
                                                                {QStringLiteral("iTunEXTC"), QStringLiteral("mpaa|R|400|")}}}};
        const FileProbe probe = FileProbe::fromReport(QStringLiteral("/nonexistent/a.mp4"),
                                                      report({stream(0, "video", "h264", "avc1")}, format));
        QCOMPARE(probe.metadata.size(), 12);
        QCOMPARE(metadataValue(probe, QStringLiteral("Title")), QStringLiteral("A Title"));
        QCOMPARE(metadataValue(probe, QStringLiteral("HD")), QStringLiteral("Yes"));
        QCOMPARE(metadataValue(probe, QStringLiteral("Media Kind")), QString());
        QCOMPARE(metadataValue(probe, QStringLiteral("Rating")), QStringLiteral("mpaa|R|400|"));
        QCOMPARE(metadataValue(probe, QStringLiteral("Comment")), QString());
    }

    void generatedMedia_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("acceptable");
        QTest::addColumn<QString>("types");
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("surround");
        const auto row = [](const char *tag, const char *name, const char *types, int height, bool surround = false) {
            QTest::newRow(tag) << QString::fromUtf8(name) << (height > 0) << QString::fromLatin1(types) << height << surround;
        };
        row("h264 aac", "h264-aac.mp4", "Video Audio", 240);
        row("cover picture", "cover.mp4", "Video Audio Poster", 240);
        row("mpeg4 avi", "mpeg4-mp3.avi", "Video Audio", 240);
        row("srt in mkv", "h264-ac3-srt.mkv", "Video Audio Subtitle", 240);
        row("mov_text", "movtext.mp4", "Video Audio Subtitle", 240);
        row("hevc", "hevc.mkv", "Video Audio", 240);
        row("5.1 audio", "surround51.mp4", "Video Audio", 240, true);
        row("720 lines", "h720.mp4", "Video", 720);
        row("719 lines", "h719.mp4", "Video", 719);
        row("text", "text.txt", "", 0);
        row("empty", "empty.mkv", "", 0);
        row("truncated", "truncated.mp4", "", 0);
        row("spaces and accents", "dir with spaces/Amélie Ünïcode.mp4", "Video Audio", 240);
    }

    void generatedMedia()
    {
        QFETCH(QString, name);
        QFETCH(bool, acceptable);
        QFETCH(QString, types);
        QFETCH(int, height);
        QFETCH(bool, surround);
        const FileProbe probe(TestEnvironment::media(name));
        QCOMPARE(probe.isAcceptable(), acceptable);
        QStringList found;
        for (const QVariant &track : probe.tracksInfo)
            found.append(track.toMap().value(QStringLiteral("trackType")).toString());
        QCOMPARE(found.join(QLatin1Char(' ')), types);
        QCOMPARE(probe.hasAudioTrackWhichHasMoreThanTwoChannels, surround);
        if (acceptable) {
            QCOMPARE(probe.videoHeight.value_or(0), height);
            QVERIFY(probe.duration > 0.5);
            QVERIFY(probe.fileSize.value_or(0) > 0);
        }
    }

    void tagsWrittenByTheConverterAreRead()
    {
        const FileProbe probe(TestEnvironment::media(QStringLiteral("tagged.mp4")));
        QCOMPARE(metadataValue(probe, QStringLiteral("Title")), QStringLiteral("Tagged Title"));
        QCOMPARE(metadataValue(probe, QStringLiteral("Genre")), QStringLiteral("Drama"));
        QCOMPARE(metadataValue(probe, QStringLiteral("HD")), QStringLiteral("Yes"));
        QCOMPARE(metadataValue(probe, QStringLiteral("Media Kind")), QStringLiteral("Movie"));
    }

    void unreadablePathsAndAMissingProbeProgram()
    {
        Diagnostics::startCapture();
        const FileProbe missing(QStringLiteral("/nonexistent/movie.mkv"));
        qputenv("KINOVELA_FFPROBE", "/nonexistent/ffprobe");
        const FileProbe withoutTool(TestEnvironment::media(QStringLiteral("h264-aac.mp4")));
        qunsetenv("KINOVELA_FFPROBE");
        const QStringList lines = Diagnostics::stopCapture();
        QCOMPARE(missing.fileSize.value_or(9), quint64(0));
        QCOMPARE(missing.fileSizeHuman.value_or(QString()), QStringLiteral("Unknown File Size"));
        QVERIFY(!missing.isAcceptable());
        QVERIFY(!withoutTool.isAcceptable());
        QVERIFY(withoutTool.fileSize.value_or(0) > 0);
        QVERIFY(lines.contains(QStringLiteral("Failed to get file attributes for local path: /nonexistent/movie.mkv with "
                                              "error: No such file or directory")));
        bool named = false;
        for (const QString &line : lines)
            named = named || line.contains(QStringLiteral("ffprobe"));
        QVERIFY(named);
    }

    void commandLineProbe()
    {
        QTemporaryDir dir;
        QVERIFY(QFile::copy(TestEnvironment::media(QStringLiteral("h264-aac.mp4")), dir.filePath(QStringLiteral("-x.mkv"))));
        QProcess cli;
        cli.setWorkingDirectory(dir.path());
        cli.start(qEnvironmentVariable("KINOVELA_CLI"),
                  {QStringLiteral("probe"), QStringLiteral("--json"), QStringLiteral("--"), QStringLiteral("-x.mkv"),
                   TestEnvironment::media(QStringLiteral("text.txt"))});
        QVERIFY(cli.waitForFinished(60000));
        QCOMPARE(cli.exitCode(), 1);
        const QJsonArray probes = QJsonDocument::fromJson(cli.readAllStandardOutput()).array();
        QCOMPARE(probes.size(), 2);
        QCOMPARE(probes.at(0)[QStringLiteral("fileFullPath")].toString(), dir.filePath(QStringLiteral("-x.mkv")));
        QCOMPARE(probes.at(0)[QStringLiteral("isValidMediaFile")].toBool(), true);
        QCOMPARE(probes.at(0)[QStringLiteral("tracksInfo")].toArray().size(), 2);
        QCOMPARE(probes.at(0)[QStringLiteral("metadata")].toArray().size(), 12);
        QCOMPARE(probes.at(1)[QStringLiteral("isValidMediaFile")].toBool(), false);
        QVERIFY(cli.readAllStandardError().contains("text.txt"));

        QProcess usage;
        usage.start(qEnvironmentVariable("KINOVELA_CLI"), {QStringLiteral("probe")});
        QVERIFY(usage.waitForFinished(30000));
        QCOMPARE(usage.exitCode(), 2);
    }
};

KINOVELA_TEST_MAIN(TestFileProbe)
#include "tst_fileprobe.moc"
