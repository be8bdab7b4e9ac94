#include "base/Json.h"
#include "creation/ConverterArguments.h"
#include "creation/OutputCheck.h"
#include "creation/StreamPlan.h"
#include "support/TestEnvironment.h"

#include <QJsonDocument>

namespace {

// ffprobe's stream objects, abridged to what the planner reads.
const char *const HdrHevc = R"({"index":0,"codec_type":"video","codec_name":"hevc","profile":"Main 10",
    "pix_fmt":"yuv420p10le","color_primaries":"bt2020","color_transfer":"smpte2084","color_space":"bt2020nc",
    "disposition":{"default":1}})";
const char *const Eac3 = R"({"index":1,"codec_type":"audio","codec_name":"eac3","channels":6,
    "tags":{"language":"eng"},"disposition":{"default":1}})";
const char *const Commentary = R"({"index":2,"codec_type":"audio","codec_name":"aac","channels":2,
    "tags":{"language":"eng","title":"Commentary"},"disposition":{"comment":1}})";
const char *const Srt = R"({"index":3,"codec_type":"subtitle","codec_name":"subrip","tags":{"language":"eng"}})";
const char *const ForcedSrt = R"({"index":4,"codec_type":"subtitle","codec_name":"subrip",
    "tags":{"language":"eng","title":"Forced"},"disposition":{"forced":1}})";
const char *const Pgs = R"({"index":5,"codec_type":"subtitle","codec_name":"hdmv_pgs_subtitle","tags":{"language":"fre"}})";
const char *const Cover = R"({"index":6,"codec_type":"video","codec_name":"mjpeg","disposition":{"attached_pic":1}})";
const char *const Font = R"({"index":7,"codec_type":"attachment","codec_name":"ttf"})";

QVariantList streams(std::initializer_list<const char *> objects)
{
    QVariantList list;
    for (const char *object : objects)
        list.append(QJsonDocument::fromJson(QByteArray(object)).toVariant());
    return list;
}

QStringList list(std::initializer_list<const char *> texts)
{
    QStringList result;
    for (const char *text : texts)
        result << QString::fromUtf8(text);
    return result;
}

QStringList words(const QString &text)
{
    return text.simplified().split(QLatin1Char(' '));
}

StreamPlan::Inputs inputs(bool subtitle = false)
{
    StreamPlan::Inputs in;
    in.source = QStringLiteral("/in/m.mkv");
    in.temporaryPath = QStringLiteral("/out/t.mp4");
    if (subtitle) {
        in.subtitlePath = QStringLiteral("/home/u/Subtitles/m.srt");
        in.subtitleLanguage = QStringLiteral("ger");
    }
    return in;
}

const QString Tail = QStringLiteral(" -map_metadata:g -1 -map_chapters 0 -movflags +disable_chpl");

/** "kind codec action->output [enabled]" for each stream, to compare plans at a glance. */
QStringList summary(const QList<PlannedStream> &list)
{
    QStringList lines;
    for (const PlannedStream &s : list)
        lines << QStringLiteral("%1 %2 %3%4%5%6")
                     .arg(s.kind, s.codec, s.action, s.kept() ? QStringLiteral("->") + s.outputCodec : QString(),
                          s.enabled ? QStringLiteral(" enabled") : QString(), s.forced ? QStringLiteral(" forced") : QString());
    return lines;
}

} // namespace

class TestStreamPlan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void modernArguments_data()
    {
        QTest::addColumn<QVariantList>("source");
        QTest::addColumn<bool>("subtitle");
        QTest::addColumn<QString>("expected");
        QTest::newRow("2026 release: all copied, text subtitles converted")
            << streams({HdrHevc, Eac3, Commentary, Srt, ForcedSrt, Pgs, Cover, Font}) << false
            << QStringLiteral("-i /in/m.mkv -map 0:0 -c:0 copy -tag:0 hvc1 -disposition:0 default "
                              "-map 0:1 -c:1 copy -metadata:s:1 language=eng -disposition:1 default "
                              "-map 0:2 -c:2 copy -metadata:s:2 language=eng -metadata:s:2 handler_name=Commentary -disposition:2 comment "
                              "-map 0:3 -c:3 mov_text -metadata:s:3 language=eng -disposition:3 0 "
                              "-map 0:4 -c:4 mov_text -metadata:s:4 language=eng -metadata:s:4 handler_name=Forced -disposition:4 forced")
                   + Tail;
        QTest::newRow("MPEG-2 and DTS 5.1: H.264, stereo AAC plus AC-3")
            << streams({R"({"index":0,"codec_type":"video","codec_name":"mpeg2video","pix_fmt":"yuv420p"})",
                        R"({"index":1,"codec_type":"audio","codec_name":"dts","channels":6})"})
            << false
            << QStringLiteral("-i /in/m.mkv -map 0:0 -c:0 libx264 -pix_fmt:0 yuv420p -disposition:0 default "
                              "-map 0:1 -c:1 aac -ac:1 2 -disposition:1 default "
                              "-map 0:1 -c:2 ac3 -b:2 640k -ac:2 6 -disposition:2 0")
                   + Tail;
        QTest::newRow("H.264 and TrueHD 7.1, the downloaded subtitle after the source's")
            << streams({R"({"index":0,"codec_type":"video","codec_name":"h264","pix_fmt":"yuv420p"})",
                        R"({"index":1,"codec_type":"subtitle","codec_name":"ass","tags":{"language":"spa"},"disposition":{"default":1}})",
                        R"({"index":2,"codec_type":"audio","codec_name":"truehd","channels":8,"tags":{"language":"eng"}})"})
            << true
            << QStringLiteral("-i /in/m.mkv -sub_charenc UTF-8 -f srt -i /home/u/Subtitles/m.srt "
                              "-map 0:0 -c:0 copy -disposition:0 default "
                              "-map 0:2 -c:1 aac -ac:1 2 -metadata:s:1 language=eng -disposition:1 default "
                              "-map 0:2 -c:2 ac3 -b:2 640k -ac:2 6 -metadata:s:2 language=eng -disposition:2 0 "
                              "-map 0:1 -c:3 mov_text -metadata:s:3 language=spa -disposition:3 default "
                              "-map 1:s:0 -c:4 mov_text -metadata:s:4 language=ger -disposition:4 0")
                   + Tail;
        QTest::newRow("10-bit H.264 SDR becomes 8-bit H.264")
            << streams({R"({"index":0,"codec_type":"video","codec_name":"h264","profile":"High 10","pix_fmt":"yuv420p10le"})"})
            << false << QStringLiteral("-i /in/m.mkv -map 0:0 -c:0 libx264 -pix_fmt:0 yuv420p -disposition:0 default") + Tail;
        QTest::newRow("AV1 HDR10 becomes 10-bit HEVC with its mastering display and light level")
            << streams({R"({"index":0,"codec_type":"video","codec_name":"av1","pix_fmt":"yuv420p10le",
                "color_primaries":"bt2020","color_transfer":"smpte2084","color_space":"bt2020nc","side_data_list":[
                {"side_data_type":"Mastering display metadata","red_x":"34000/50000","red_y":"16000/50000",
                 "green_x":"13250/50000","green_y":"34500/50000","blue_x":"7500/50000","blue_y":"3000/50000",
                 "white_point_x":"15635/50000","white_point_y":"16450/50000","min_luminance":"50/10000",
                 "max_luminance":"10000000/10000"},
                {"side_data_type":"Content light level metadata","max_content":1000,"max_average":400}]})"})
            << false
            << QStringLiteral("-i /in/m.mkv -map 0:0 -c:0 libx265 -pix_fmt:0 yuv420p10le -tag:0 hvc1 -x265-params:0 "
                              "log-level=error:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:hdr10=1:repeat-headers=1:"
                              "master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,50):max-cll=1000,400 "
                              "-disposition:0 default")
                   + Tail;
        QTest::newRow("VP9 HLG becomes HEVC, never tone-mapped")
            << streams({R"({"index":0,"codec_type":"video","codec_name":"vp9","pix_fmt":"yuv420p10le",
                "color_primaries":"bt2020","color_transfer":"arib-std-b67","color_space":"bt2020nc"})"})
            << false
            << QStringLiteral("-i /in/m.mkv -map 0:0 -c:0 libx265 -pix_fmt:0 yuv420p10le -tag:0 hvc1 -x265-params:0 "
                              "log-level=error:colorprim=bt2020:transfer=arib-std-b67:colormatrix=bt2020nc -disposition:0 default")
                   + Tail;
        QTest::newRow("Dolby Vision profile 8 is written where the converter allows it")
            << streams({R"({"index":0,"codec_type":"video","codec_name":"hevc","pix_fmt":"yuv420p10le",
                "side_data_list":[{"side_data_type":"DOVI configuration record","dv_profile":8}]})"})
            << false << QStringLiteral("-i /in/m.mkv -map 0:0 -c:0 copy -tag:0 hvc1 -disposition:0 default") + Tail
                          + QStringLiteral(" -strict unofficial");
        QTest::newRow("a second video and the extra audios' order")
            << streams({R"({"index":0,"codec_type":"audio","codec_name":"ac3","channels":6,"tags":{"language":"fre"}})",
                        R"({"index":1,"codec_type":"video","codec_name":"h264","pix_fmt":"yuv420p"})",
                        R"({"index":2,"codec_type":"video","codec_name":"h264","pix_fmt":"yuv420p"})",
                        R"({"index":3,"codec_type":"audio","codec_name":"flac","channels":2,"tags":{"language":"eng"}})"})
            << false
            << QStringLiteral("-i /in/m.mkv -map 0:1 -c:0 copy -disposition:0 default "
                              "-map 0:0 -c:1 copy -metadata:s:1 language=fre -disposition:1 default "
                              "-map 0:3 -c:2 aac -ac:2 2 -metadata:s:2 language=eng -disposition:2 0")
                   + Tail;
    }

    void modernArguments()
    {
        QFETCH(QVariantList, source);
        QFETCH(bool, subtitle);
        QFETCH(QString, expected);
        const ConversionPlan plan = StreamPlan::modern(source, inputs(subtitle));
        QCOMPARE(plan.arguments, words(expected) + list({"-y", "/out/t.mp4"}));
    }

    void modernReleaseKeepsWhatItPromises()
    {
        const ConversionPlan plan = StreamPlan::modern(streams({HdrHevc, Eac3, Commentary, Srt, ForcedSrt, Pgs, Cover, Font}), inputs());
        // Every source stream is accounted for, in source order.
        QCOMPARE(summary(plan.streams), (list({
                                            "video hevc copy->hevc enabled", "audio eac3 copy->eac3 enabled",
                                            "audio aac copy->aac", "subtitle subrip encode->mov_text",
                                            "subtitle subrip encode->mov_text forced", "subtitle hdmv_pgs_subtitle drop",
                                            "video mjpeg drop", "attachment ttf drop"})));
        QCOMPARE(plan.outputStreams().size(), 5);
        QCOMPARE(plan.outputStreams().at(2).title, QStringLiteral("Commentary"));
        // The image subtitle is named in the result; the cover and the font are not worth a word.
        QCOMPARE(plan.notes, list({"left out: subtitle #5 (hdmv_pgs_subtitle, fre): an image subtitle "
                                   "(hdmv_pgs_subtitle) cannot be an MP4 text track"}));
    }

    void dolbyVisionWithoutMp4FormIsNamed()
    {
        const ConversionPlan plan = StreamPlan::modern(
            streams({R"({"index":0,"codec_type":"video","codec_name":"hevc","pix_fmt":"yuv420p10le","color_transfer":"smpte2084",
                "side_data_list":[{"side_data_type":"DOVI configuration record","dv_profile":7}]})"}),
            inputs());
        QVERIFY(!plan.arguments.contains(QStringLiteral("unofficial")));
        QCOMPARE(plan.notes, list({"Dolby Vision profile 7 cannot be written to MP4: the HDR10 base is kept"}));
    }

    void classicPlanDescribesTheClassicArguments()
    {
        const auto track = [](const char *type, const char *codec, int id) {
            return QVariantMap{{TrackKey::trackType, QString::fromLatin1(type)},
                               {TrackKey::trackCodec, QString::fromLatin1(codec)},
                               {TrackKey::trackID, QString::number(id)}};
        };
        const MovieItem item{{ItemKey::filePath, QStringLiteral("/in/m.mkv")},
                             {ItemKey::subtitleFound, true},
                             {ItemKey::downloadedSubtitlePath, QStringLiteral("/home/u/Subtitles/m.srt")},
                             {ItemKey::tracksInfo, QVariantList{track("Video", "mpeg2video", 0), track("Audio", "dts", 1),
                                                                track("Audio", "ac3", 2), track("Subtitle", "subrip", 3)}}};
        const ConversionPlan classic = StreamPlan::forItem(item, ConversionProfile::Classic, QStringLiteral("/out/t.mp4"),
                                                           QStringLiteral("eng"));
        QCOMPARE(classic.arguments, ConverterArguments::converterArgumentsForItem(item, QStringLiteral("/out/t.mp4"),
                                                                                  QStringLiteral("eng")));
        QCOMPARE(summary(classic.outputStreams()), (list({"video mpeg2video encode->h264 enabled",
                                                                "audio dts encode->aac enabled",
                                                                "subtitle srt encode->mov_text enabled"})));
        QCOMPARE(classic.streams.size(), 5);

        // The same item under the modern profile keeps both audios and the source's subtitle.
        const ConversionPlan modern = StreamPlan::forItem(item, ConversionProfile::Modern, QStringLiteral("/out/t.mp4"),
                                                          QStringLiteral("eng"));
        QCOMPARE(modern.outputStreams().size(), 5);
    }

    void outputCheckVerdict_data()
    {
        QTest::addColumn<QByteArray>("report");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<QString>("verdict");
        const QByteArray video = R"({"index":0,"codec_type":"video","codec_name":"hevc","codec_tag_string":"hvc1","pix_fmt":"yuv420p10le","disposition":{"default":1}})";
        const QByteArray eac3 = R"({"index":1,"codec_type":"audio","codec_name":"eac3","tags":{"language":"eng"},"disposition":{"default":1}})";
        const QByteArray aac = R"({"index":2,"codec_type":"audio","codec_name":"aac","tags":{"language":"eng"},"disposition":{"default":0}})";
        const QByteArray text = R"({"index":3,"codec_type":"subtitle","codec_name":"mov_text","tags":{"language":"eng"},"disposition":{"default":0}})";
        const QByteArray forced = R"({"index":4,"codec_type":"subtitle","codec_name":"mov_text","tags":{"language":"eng"},"disposition":{"default":0,"forced":1}})";
        const QByteArray chapters = R"({"index":5,"codec_type":"data","codec_name":"bin_data","codec_tag_string":"text"})";
        const QByteArray cover = R"({"index":6,"codec_type":"video","codec_name":"png","disposition":{"attached_pic":1}})";
        const auto report = [](const QList<QByteArray> &list, const QByteArray &tags = R"({"media_type":"9","hd_video":"0"})") -> QByteArray {
            return "{\"streams\":[" + list.join(',') + "],\"format\":{\"tags\":" + tags + "}}";
        };
        QTest::newRow("as planned") << report({video, eac3, aac, text, forced, chapters, cover}) << true << QStringLiteral("plays on Apple TV");
        QTest::newRow("a track missing")
            << report({video, eac3, text, forced}) << false << QStringLiteral("the converted movie has 4 tracks where 5 were planned");
        QTest::newRow("a track of another codec")
            << report({video, eac3, QByteArray(aac).replace("\"aac\"", "\"mp3\""), text, forced}) << false
            << QStringLiteral("the converted movie's track 2 (audio mp3) should be audio aac");
        QByteArray hev1 = video;
        QTest::newRow("HEVC tagged hev1")
            << report({hev1.replace("hvc1", "hev1"), eac3, aac, text, forced}) << true
            << QStringLiteral("track 0 (video hevc) is HEVC tagged hev1: Apple players need hvc1");
        QByteArray enabled = aac;
        QTest::newRow("two enabled audios, a language lost")
            << report({video, eac3, enabled.replace("\"default\":0", "\"default\":1").replace("eng", "und"), text, forced})
            << true
            << QStringLiteral("track 2 (audio aac) has the language und, not eng; track 2 (audio aac) is enabled; "
                              "2 audio tracks are enabled: Apple players play one of a group");
        QTest::newRow("media kind and HD flag out of range")
            << report({video, eac3, aac, text, forced}, R"({"media_type":"77","hd_video":"3"})") << true
            << QStringLiteral("the media kind (stik) 77 is not one Apple players know; the HD flag (hdvd) 3 is not 0, 1 or 2");
    }

    void outputCheckVerdict()
    {
        QFETCH(QByteArray, report);
        QFETCH(bool, kept);
        QFETCH(QString, verdict);
        const ConversionPlan plan = StreamPlan::modern(streams({HdrHevc, Eac3, Commentary, Srt, ForcedSrt, Pgs}), inputs());
        const OutputCheck::Verdict result = OutputCheck::compare(plan.outputStreams(), Json::parse(report));
        QCOMPARE(result.status.ok(), kept);
        QCOMPARE(result.text(), verdict);
    }
};

KINOVELA_TEST_MAIN(TestStreamPlan)
#include "tst_streamplan.moc"
