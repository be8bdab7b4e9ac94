#include "support/CliRunner.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

/**
 * `create --profile modern` on release-shaped files, read back from outside
 * with ffprobe, MediaInfo and ExifTool; the classic profile beside it.
 */
class TestModernProfile : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;
    QTemporaryDir m_destination;
    QJsonArray m_results;

    static QString s(const char *text) { return QString::fromUtf8(text); }

    static QByteArray tool(const QString &program, const QStringList &arguments, QByteArray *errors = nullptr)
    {
        QProcess process;
        process.start(program, arguments);
        process.waitForFinished(60000);
        if (errors)
            *errors = process.readAllStandardError();
        return process.readAllStandardOutput();
    }

    static QJsonObject json(const QByteArray &bytes) { return QJsonDocument::fromJson(bytes).object(); }

    QString output(const char *title) const { return m_destination.filePath(s(title) + s(".mp4")); }

    /** "kind codec tag language [default] [forced] [title]" per stream, as ffprobe reads them. */
    static QStringList streams(const QString &path)
    {
        const QJsonArray list = json(tool(s("ffprobe"), {s("-v"), s("error"), s("-of"), s("json"), s("-show_streams"), path}))
                                    .value(s("streams"))
                                    .toArray();
        QStringList lines;
        for (const QJsonValue &value : list) {
            const QJsonObject stream = value.toObject();
            const QJsonObject tags = stream[s("tags")].toObject();
            const QJsonObject disposition = stream[s("disposition")].toObject();
            if (stream[s("codec_type")].toString() == s("data") || disposition[s("attached_pic")].toInt() == 1)
                continue;
            QStringList words{stream[s("codec_type")].toString(), stream[s("codec_name")].toString(),
                              stream[s("codec_tag_string")].toString(), tags[s("language")].toString()};
            if (stream.contains(s("channels")))
                words << QString::number(stream[s("channels")].toInt()) + s("ch");
            if (disposition[s("default")].toInt() == 1)
                words << s("default");
            if (disposition[s("forced")].toInt() == 1)
                words << s("forced");
            if (tags[s("handler_name")].toString() == s("Commentary"))
                words << s("Commentary");
            lines << words.join(QLatin1Char(' '));
        }
        return lines;
    }

    QJsonObject resultFor(const char *title) const
    {
        for (const QJsonValue &value : m_results)
            if (value.toObject()[s("movieTitle")].toString() == s(title))
                return value.toObject();
        return {};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_cli.start());
        const QStringList files{m_cli.copy(s("modern.mkv"), s("The.Dark.Knight.2008.mkv")),
                                m_cli.copy(s("mpeg2-dts.mkv"), s("Heat.1995.mkv")),
                                m_cli.copy(s("h264-truehd.mkv"), s("Alien.1979.mkv"))};
        const CliRunner::Run run = m_cli.run(QStringList{s("create"), s("--dest"), m_destination.path(), s("--preset"), s("3"),
                                                         s("--profile"), s("modern"), s("--stagger"), s("0"), s("--json")}
                                             + files);
        QVERIFY2(run.exitCode == 0, run.err.constData());
        m_results = json(run.out)[s("results")].toArray();
        QCOMPARE(m_results.size(), 3);
    }

    void everyMovieIsCreatedAndPlaysOnAppleTv()
    {
        for (const QJsonValue &value : std::as_const(m_results)) {
            const QJsonObject result = value.toObject();
            QCOMPARE(result[s("outcome")].toString(), s("created"));
            QCOMPARE(result[s("verdict")].toString(), s("plays on Apple TV"));
            // Every stream decodes without a complaint.
            QByteArray errors;
            tool(s("ffmpeg"), {s("-v"), s("error"), s("-i"), result[s("outputPath")].toString(), s("-map"), s("0:v"), s("-map"),
                               s("0:a"), s("-f"), s("null"), s("-")},
                 &errors);
            QVERIFY2(errors.isEmpty(), errors.constData());
        }
        // The image subtitle is named as left out.
        const QJsonArray notes = resultFor("The Dark Knight")[s("notes")].toArray();
        QCOMPARE(notes.size(), 1);
        QVERIFY2(notes.at(0).toString().contains(s("hdmv_pgs_subtitle, fre")), qPrintable(notes.at(0).toString()));
    }

    void modernReleaseKeepsEverythingPlayable()
    {
        const QString path = output("The Dark Knight");
        QCOMPARE(streams(path), (QStringList{s("video hevc hvc1 und default"), s("audio eac3 ec-3 eng 6ch default"),
                                             s("audio aac mp4a eng 2ch Commentary"), s("subtitle mov_text tx3g eng"),
                                             s("subtitle mov_text tx3g eng forced")}));
        // HDR10 signalling stays: the colour description and the mastering display of the pictures.
        const QByteArray frame = tool(s("ffprobe"), {s("-v"), s("error"), s("-select_streams"), s("v:0"), s("-show_frames"),
                                                      s("-read_intervals"), s("%+#1"), s("-of"), s("json"), path});
        QVERIFY(frame.contains("\"color_transfer\": \"smpte2084\""));
        QVERIFY(frame.contains("Mastering display metadata"));
        QVERIFY(frame.contains("Content light level metadata"));
        // Two chapters, written once; the release's own title and comment are gone, ours are there.
        const QJsonObject probe = json(tool(s("ffprobe"), {s("-v"), s("error"), s("-of"), s("json"), s("-show_chapters"),
                                                           s("-show_format"), path}));
        QCOMPARE(probe[s("chapters")].toArray().size(), 2);
        const QJsonObject tags = probe[s("format")].toObject()[s("tags")].toObject();
        QCOMPARE(tags[s("title")].toString(), s("The Dark Knight"));
        QVERIFY(!tags[s("comment")].toString().contains(s("release group")));
    }

    void reencodesOnlyWhatPlayersCannotPlay()
    {
        QCOMPARE(streams(output("Heat")), (QStringList{s("video h264 avc1 und default"), s("audio aac mp4a und 2ch default"),
                                                        s("audio ac3 ac-3 und 6ch")}));
        QCOMPARE(streams(output("Alien")), (QStringList{s("video h264 avc1 und default"), s("audio aac mp4a eng 2ch default"),
                                                         s("audio ac3 ac-3 eng 6ch")}));
    }

    void mediaInfoAndExifToolReadTheStreamsAndTags()
    {
        const QString mediainfo = QStandardPaths::findExecutable(s("mediainfo"));
        const QString exiftool = QStandardPaths::findExecutable(s("exiftool"));
        if (mediainfo.isEmpty() || exiftool.isEmpty())
            QSKIP("mediainfo or exiftool is not installed (scripts/setup installs them)");
        const QString path = output("The Dark Knight");
        QStringList tracks;
        for (const QJsonValue &value : json(tool(mediainfo, {s("--Output=JSON"), path}))[s("media")].toObject()[s("track")].toArray()) {
            const QJsonObject track = value.toObject();
            tracks << QStringList{track[s("@type")].toString(), track[s("Format")].toString(), track[s("Language")].toString(),
                                  track[s("Default")].toString(), track[s("Forced")].toString(), track[s("HDR_Format")].toString()}
                          .join(QLatin1Char('/'));
        }
        // The forced subtitle is forced where Apple players look, its sample entry's display flags; no subtitle is on
        // unless the viewer turns it on.
        QCOMPARE(tracks, (QStringList{s("General/MPEG-4////"), s("Video/HEVC////SMPTE ST 2086"), s("Audio/E-AC-3/en/Yes//"),
                                      s("Audio/AAC/en/No//"), s("Text/Timed Text/en/No/No/"), s("Text/Timed Text/en/No/Yes/"),
                                      s("Menu/Timed Text/en///")}));

        const QJsonObject exif = QJsonDocument::fromJson(tool(exiftool, {s("-j"), s("-G1"), s("-a"), path})).array().at(0).toObject();
        QCOMPARE(exif[s("Track1:CompressorID")].toString(), s("hvc1"));
        QCOMPARE(exif[s("Track2:MediaLanguageCode")].toString(), s("eng"));
        QCOMPARE(exif[s("ItemList:Title")].toString(), s("The Dark Knight"));
        QCOMPARE(exif[s("ItemList:MediaType")].toString(), s("Movie"));
    }

    void classicProfileIsUnchanged()
    {
        QTemporaryDir destination;
        const QString source = m_cli.copy(s("modern.mkv"), s("The.Dark.Knight.Rises.2012.mkv"));
        const CliRunner::Run run = m_cli.run({s("create"), s("--dest"), destination.path(), s("--preset"), s("3"), s("--profile"),
                                              s("classic"), s("--stagger"), s("0"), s("--json"), source});
        QVERIFY2(run.exitCode == 0, run.err.constData());
        QCOMPARE(streams(destination.filePath(s("The Dark Knight Rises.mp4"))),
                 (QStringList{s("video h264 avc1 und default"), s("audio aac mp4a eng 2ch default")}));
        // The check reads what the classic profile makes of a 10-bit source, and says it.
        const QString verdict = json(run.out)[s("results")].toArray().at(0).toObject()[s("verdict")].toString();
        QCOMPARE(verdict, s("track 0 (video h264) is yuv420p10le H.264, which Apple players do not decode"));
        QVERIFY2(run.err.contains(verdict.toUtf8()), run.err.constData());
    }

    void unknownProfileIsAUsageError()
    {
        const CliRunner::Run run = m_cli.run({s("create"), s("--dest"), m_destination.path(), s("--profile"), s("fancy"),
                                              m_cli.copy(s("h264-aac.mp4"), s("Alien.1979.mp4"))});
        QCOMPARE(run.exitCode, 2);
        QVERIFY2(run.err.contains("--profile takes classic or modern, not 'fancy'"), run.err.constData());
    }
};

KINOVELA_TEST_MAIN(TestModernProfile)
#include "tst_modernprofile.moc"
