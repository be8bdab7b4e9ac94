#include "creation/StreamPlan.h"

#include "creation/ConverterArguments.h"
#include "creation/VideoPlan.h"

#include <algorithm>

QList<PlannedStream> ConversionPlan::outputStreams() const
{
    QList<PlannedStream> kept;
    std::copy_if(streams.begin(), streams.end(), std::back_inserter(kept), [](const PlannedStream &s) { return s.kept(); });
    std::sort(kept.begin(), kept.end(), [](const PlannedStream &a, const PlannedStream &b) { return a.outputIndex < b.outputIndex; });
    return kept;
}

namespace StreamPlan {

namespace {

const QString Copy = QStringLiteral("copy");
const QString Encode = QStringLiteral("encode");
const QString Drop = QStringLiteral("drop");

QString text(const QVariantMap &map, const char *key)
{
    return map.value(QLatin1String(key)).toString();
}

bool marked(const QVariantMap &stream, const char *disposition)
{
    return stream.value(QStringLiteral("disposition")).toMap().value(QLatin1String(disposition)).toInt() == 1;
}

PlannedStream describe(const QVariantMap &stream)
{
    PlannedStream planned;
    planned.index = stream.value(QStringLiteral("index")).toInt();
    planned.kind = text(stream, "codec_type");
    planned.codec = text(stream, "codec_name");
    const QVariantMap tags = stream.value(QStringLiteral("tags")).toMap();
    planned.language = text(tags, "language");
    planned.title = text(tags, "title");
    planned.forced = marked(stream, "forced");
    return planned;
}

/** A stream of the plan with the converter options that make it ("%1": its output index). */
struct Entry
{
    PlannedStream stream;
    QStringList options;
    QString disposition;
    bool comment = false; ///< a commentary, marked so for players that list them apart
};

Entry dropped(const PlannedStream &stream, const QString &reason)
{
    Entry entry;
    entry.stream = stream;
    entry.stream.action = Drop;
    entry.stream.reason = reason;
    return entry;
}

Entry made(const PlannedStream &stream, const QString &action, const QString &outputCodec, const QString &reason,
           const QStringList &options)
{
    Entry entry;
    entry.stream = stream;
    entry.options = options;
    entry.stream.action = action;
    entry.stream.outputCodec = outputCodec;
    entry.stream.reason = reason;
    return entry;
}

QList<Entry> audioEntries(const QVariantMap &stream)
{
    const PlannedStream audio = describe(stream);
    static const QStringList playable{QStringLiteral("aac"), QStringLiteral("ac3"), QStringLiteral("eac3")};
    if (playable.contains(audio.codec))
        return {made(audio, Copy, audio.codec, QStringLiteral("Apple players play %1").arg(audio.codec.toUpper()),
                     {QStringLiteral("-c:%1"), Copy})};
    const int channels = stream.value(QStringLiteral("channels")).toInt();
    QList<Entry> entries{made(audio, Encode, QStringLiteral("aac"),
                              QStringLiteral("Apple players cannot play %1: stereo AAC").arg(audio.codec),
                              {QStringLiteral("-c:%1"), QStringLiteral("aac"), QStringLiteral("-ac:%1"), QStringLiteral("2")})};
    if (channels > 2) {
        const int kept = std::min(channels, 6);
        entries.append(made(audio, Encode, QStringLiteral("ac3"),
                            QStringLiteral("the %1 channels as AC-3 at 640 kb/s for receivers").arg(kept),
                            {QStringLiteral("-c:%1"), QStringLiteral("ac3"), QStringLiteral("-b:%1"), QStringLiteral("640k"),
                             QStringLiteral("-ac:%1"), QString::number(kept)}));
    }
    return entries;
}

Entry subtitleEntry(const QVariantMap &stream)
{
    const PlannedStream subtitle = describe(stream);
    static const QStringList textCodecs{QStringLiteral("subrip"), QStringLiteral("srt"),     QStringLiteral("ass"),
                                        QStringLiteral("ssa"),    QStringLiteral("webvtt"),  QStringLiteral("mov_text"),
                                        QStringLiteral("text")};
    static const QStringList imageCodecs{QStringLiteral("hdmv_pgs_subtitle"), QStringLiteral("dvd_subtitle"),
                                         QStringLiteral("dvb_subtitle"), QStringLiteral("xsub")};
    if (textCodecs.contains(subtitle.codec))
        return made(subtitle, subtitle.codec == QLatin1String("mov_text") ? Copy : Encode, QStringLiteral("mov_text"),
                    QStringLiteral("a text subtitle, as an MP4 text track"), {QStringLiteral("-c:%1"), QStringLiteral("mov_text")});
    if (imageCodecs.contains(subtitle.codec))
        return dropped(subtitle, QStringLiteral("an image subtitle (%1) cannot be an MP4 text track").arg(subtitle.codec));
    return dropped(subtitle, QStringLiteral("a subtitle of kind %1 cannot be an MP4 text track").arg(subtitle.codec));
}

/** The entries of the source's streams, in source order. */
QList<Entry> sourceEntries(const QVariantList &streams, QStringList &globalOptions)
{
    QList<Entry> entries;
    bool haveVideo = false;
    for (const QVariant &value : streams) {
        const QVariantMap stream = value.toMap();
        const QString kind = text(stream, "codec_type");
        const qsizetype first = entries.size();
        if (kind == QLatin1String("video") && marked(stream, "attached_pic")) {
            entries.append(dropped(describe(stream), QStringLiteral("a cover picture, not a movie track")));
        } else if (kind == QLatin1String("video") && haveVideo) {
            entries.append(dropped(describe(stream), QStringLiteral("only the first video is kept")));
        } else if (kind == QLatin1String("video")) {
            haveVideo = true;
            const VideoPlan::Decision video = VideoPlan::decide(stream);
            globalOptions << video.globalOptions;
            entries.append(made(describe(stream), video.action, video.outputCodec, video.reason, video.options));
        } else if (kind == QLatin1String("audio")) {
            entries.append(audioEntries(stream));
        } else if (kind == QLatin1String("subtitle")) {
            entries.append(subtitleEntry(stream));
        } else {
            entries.append(dropped(describe(stream), kind == QLatin1String("attachment")
                                                         ? QStringLiteral("attachments (fonts, covers) are not carried into MP4")
                                                         : QStringLiteral("not a picture, sound or subtitle track")));
        }
        const bool comment = marked(stream, "comment")
                             || describe(stream).title.contains(QLatin1String("commentary"), Qt::CaseInsensitive);
        for (qsizetype i = first; i < entries.size(); ++i)
            entries[i].comment = comment;
    }
    return entries;
}

/** Numbers the kept entries video first, then audio, then subtitles, and decides which play by default. */
void order(QList<Entry> &entries)
{
    int next = 0;
    for (const QString &kind : {QStringLiteral("video"), QStringLiteral("audio"), QStringLiteral("subtitle")}) {
        bool enabledOne = false;
        for (Entry &entry : entries) {
            if (entry.stream.kind != kind || entry.stream.action == Drop)
                continue;
            entry.stream.outputIndex = next++;
            // One enabled track of each kind; a subtitle only when the source marks it default.
            const bool wantsDefault = kind != QLatin1String("subtitle") || entry.stream.enabled;
            entry.stream.enabled = wantsDefault && !enabledOne;
            enabledOne = enabledOne || entry.stream.enabled;
            QStringList flags;
            if (entry.stream.enabled)
                flags << QStringLiteral("default");
            if (entry.stream.forced)
                flags << QStringLiteral("forced");
            if (entry.comment)
                flags << QStringLiteral("comment");
            entry.disposition = flags.isEmpty() ? QStringLiteral("0") : flags.join(QLatin1Char('+'));
        }
    }
}

QStringList streamArguments(const Entry &entry)
{
    const QString out = QString::number(entry.stream.outputIndex);
    const QString input = entry.stream.index < 0 ? QStringLiteral("1:s:0") : QStringLiteral("0:%1").arg(entry.stream.index);
    QStringList arguments{QStringLiteral("-map"), input};
    for (const QString &option : entry.options)
        arguments << (option.contains(QLatin1String("%1")) ? option.arg(out) : option);
    if (!entry.stream.language.isEmpty())
        arguments << QStringLiteral("-metadata:s:") + out << QStringLiteral("language=") + entry.stream.language;
    if (!entry.stream.title.isEmpty())
        arguments << QStringLiteral("-metadata:s:") + out << QStringLiteral("handler_name=") + entry.stream.title;
    arguments << QStringLiteral("-disposition:") + out << entry.disposition;
    return arguments;
}

QStringList inputArguments(const Inputs &inputs)
{
    QStringList arguments{QStringLiteral("-i"), inputs.source};
    if (!inputs.subtitlePath.isEmpty())
        arguments << QStringLiteral("-sub_charenc") << QStringLiteral("UTF-8") << QStringLiteral("-f")
                  << ConverterArguments::subtitleInputFormat(inputs.subtitlePath) << QStringLiteral("-i") << inputs.subtitlePath;
    return arguments;
}

} // namespace

ConversionPlan modern(const QVariantList &streams, const Inputs &inputs)
{
    QStringList globalOptions;
    QList<Entry> entries = sourceEntries(streams, globalOptions);
    if (!inputs.subtitlePath.isEmpty()) {
        PlannedStream downloaded;
        downloaded.kind = QStringLiteral("subtitle");
        downloaded.codec = ConverterArguments::subtitleInputFormat(inputs.subtitlePath);
        downloaded.language = inputs.subtitleLanguage;
        entries.append(made(downloaded, Encode, QStringLiteral("mov_text"), QStringLiteral("the downloaded subtitle"),
                            {QStringLiteral("-c:%1"), QStringLiteral("mov_text")}));
    }
    for (Entry &entry : entries)
        entry.stream.enabled = entry.stream.kind == QLatin1String("subtitle") && entry.stream.action != Drop && entry.stream.index >= 0
                               && marked(streams.value(entry.stream.index).toMap(), "default");
    order(entries);

    ConversionPlan plan;
    plan.arguments = inputArguments(inputs);
    QList<Entry> kept;
    for (const Entry &entry : entries) {
        plan.streams.append(entry.stream);
        if (entry.stream.kept())
            kept.append(entry);
        else if (entry.stream.kind == QLatin1String("subtitle") || entry.stream.kind == QLatin1String("audio")
                 || entry.stream.reason.startsWith(QLatin1String("only the first video")))
            plan.notes.append(QStringLiteral("left out: %1 #%2 (%3): %4")
                                  .arg(entry.stream.kind, QString::number(entry.stream.index),
                                       entry.stream.language.isEmpty() ? entry.stream.codec
                                                                       : entry.stream.codec + QStringLiteral(", ") + entry.stream.language,
                                       entry.stream.reason));
    }
    std::sort(kept.begin(), kept.end(), [](const Entry &a, const Entry &b) { return a.stream.outputIndex < b.stream.outputIndex; });
    for (const Entry &entry : kept)
        plan.arguments << streamArguments(entry);
    for (const PlannedStream &stream : plan.streams)
        if (stream.kind == QLatin1String("video") && stream.reason.contains(QLatin1String("cannot be written")) && stream.kept())
            plan.notes.append(stream.reason);
    plan.arguments << QStringLiteral("-map_metadata:g") << QStringLiteral("-1") << QStringLiteral("-map_chapters")
                   << QStringLiteral("0") << QStringLiteral("-movflags") << QStringLiteral("+disable_chpl") << globalOptions
                   << QStringLiteral("-y") << inputs.temporaryPath;
    return plan;
}

namespace {

/** The probe's stream object of a track entry; a minimal one when the entry lacks it. */
QVariantMap streamOf(const QVariantMap &track)
{
    QVariantMap stream = track.value(TrackKey::trackDictionary).toMap();
    if (stream.isEmpty())
        stream = {{QStringLiteral("index"), track.value(TrackKey::trackID).toInt()},
                  {QStringLiteral("codec_type"), track.value(TrackKey::trackType).toString().toLower()},
                  {QStringLiteral("codec_name"), track.value(TrackKey::trackCodec).toString()}};
    return stream;
}

} // namespace

ConversionPlan classic(const MovieItem &item, const QString &temporaryPath, const QString &subtitleLanguage)
{
    ConversionPlan plan;
    plan.arguments = ConverterArguments::converterArgumentsForItem(item, temporaryPath, subtitleLanguage);
    bool haveVideo = false;
    bool haveAudio = false;
    int next = 0;
    for (const QVariant &value : item.value(ItemKey::tracksInfo).toList()) {
        const QVariantMap track = value.toMap();
        const QString type = track.value(TrackKey::trackType).toString();
        PlannedStream stream = describe(streamOf(track));
        const bool video = type == TrackType::Video && !haveVideo;
        const bool audio = type == TrackType::Audio && !haveAudio;
        if (video) {
            stream.action = stream.codec == QLatin1String("h264") ? Copy : Encode;
            stream.outputCodec = QStringLiteral("h264");
        } else if (audio) {
            const bool copied = stream.codec == QLatin1String("aac") || stream.codec == QLatin1String("ac3");
            stream.action = copied ? Copy : Encode;
            stream.outputCodec = copied ? stream.codec : QStringLiteral("aac");
        } else {
            stream.action = Drop;
            stream.reason = QStringLiteral("the classic profile keeps the first video and the first audio only");
        }
        haveVideo = haveVideo || video;
        haveAudio = haveAudio || audio;
        stream.forced = false;
        plan.streams.append(stream);
    }
    // The converter numbers the output in mapping order: the video, the audio, the subtitle.
    for (const QString &kind : {QStringLiteral("video"), QStringLiteral("audio")}) {
        for (PlannedStream &stream : plan.streams)
            if (stream.kind == kind && stream.action != Drop) {
                stream.outputIndex = next++;
                stream.enabled = true;
            }
    }
    if (item.value(ItemKey::subtitleFound).toBool()) {
        PlannedStream downloaded;
        downloaded.kind = QStringLiteral("subtitle");
        downloaded.codec = ConverterArguments::subtitleInputFormat(item.value(ItemKey::downloadedSubtitlePath).toString());
        downloaded.language = subtitleLanguage;
        downloaded.action = Encode;
        downloaded.reason = QStringLiteral("the downloaded subtitle");
        downloaded.outputCodec = QStringLiteral("mov_text");
        downloaded.outputIndex = next;
        downloaded.enabled = true;
        plan.streams.append(downloaded);
    }
    return plan;
}

ConversionPlan forItem(const MovieItem &item, ConversionProfile profile, const QString &temporaryPath,
                       const QString &subtitleLanguage)
{
    if (profile == ConversionProfile::Classic)
        return classic(item, temporaryPath, subtitleLanguage);
    QVariantList streams;
    for (const QVariant &track : item.value(ItemKey::tracksInfo).toList())
        streams.append(streamOf(track.toMap()));
    Inputs inputs;
    inputs.source = item.value(ItemKey::filePath).toString();
    inputs.temporaryPath = temporaryPath;
    if (item.value(ItemKey::subtitleFound).toBool()) {
        inputs.subtitlePath = item.value(ItemKey::downloadedSubtitlePath).toString();
        inputs.subtitleLanguage = subtitleLanguage;
    }
    return modern(streams, inputs);
}

} // namespace StreamPlan
