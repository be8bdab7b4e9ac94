#include "creation/OutputCheck.h"

#include "creation/Mp4TagSpace.h"
#include "media/FileProbe.h"

#include <QFile>

namespace OutputCheck {

namespace {

/** The output's movie tracks: no cover picture, no chapter or timecode track. */
QList<Json> movieTracks(const Json &report)
{
    QList<Json> tracks;
    const Json streams = report["streams"];
    for (qsizetype i = 0; i < streams.count(); ++i) {
        const Json stream = streams[i];
        if (stream["codec_type"] == "data" || stream["disposition"]["attached_pic"].integer() == 1)
            continue;
        tracks.append(stream);
    }
    return tracks;
}

QString languageOf(const QString &language)
{
    return language.isEmpty() ? QStringLiteral("und") : language;
}

QString describe(const Json &stream)
{
    return QStringLiteral("track %1 (%2 %3)")
        .arg(QString::number(stream["index"].integer()), stream["codec_type"].text(), stream["codec_name"].text());
}

QStringList tagProblems(const Json &tags)
{
    QStringList problems;
    static const QList<qint64> mediaKinds{0, 1, 2, 5, 6, 9, 10, 11, 14, 21};
    if (tags.has(QStringLiteral("media_type")) && !mediaKinds.contains(tags["media_type"].integer()))
        problems << QStringLiteral("the media kind (stik) %1 is not one Apple players know").arg(tags["media_type"].text());
    if (tags.has(QStringLiteral("hd_video")) && (tags["hd_video"].integer() < 0 || tags["hd_video"].integer() > 2))
        problems << QStringLiteral("the HD flag (hdvd) %1 is not 0, 1 or 2").arg(tags["hd_video"].text());
    return problems;
}

QString streamProblem(const Json &stream)
{
    const QString kind = stream["codec_type"].text();
    const QString codec = stream["codec_name"].text();
    const QString format = stream["pix_fmt"].text();
    if (kind == QLatin1String("video") && codec == QLatin1String("h264")
        && !(format == QLatin1String("yuv420p") || format == QLatin1String("yuvj420p")))
        return QStringLiteral("%1 is %2 H.264, which Apple players do not decode").arg(describe(stream), format);
    if (kind == QLatin1String("video") && codec == QLatin1String("hevc") && !(stream["codec_tag_string"] == "hvc1"))
        return QStringLiteral("%1 is HEVC tagged %2: Apple players need hvc1").arg(describe(stream), stream["codec_tag_string"].text());
    static const QStringList videos{QStringLiteral("h264"), QStringLiteral("hevc")};
    static const QStringList audios{QStringLiteral("aac"), QStringLiteral("ac3"), QStringLiteral("eac3"), QStringLiteral("alac"),
                                    QStringLiteral("mp3")};
    if ((kind == QLatin1String("video") && !videos.contains(codec)) || (kind == QLatin1String("audio") && !audios.contains(codec))
        || (kind == QLatin1String("subtitle") && codec != QLatin1String("mov_text")))
        return QStringLiteral("Apple players do not play %1").arg(describe(stream));
    return {};
}

} // namespace

QString Verdict::text() const
{
    if (!status)
        return status.errorText();
    return problems.isEmpty() ? QStringLiteral("plays on Apple TV") : problems.join(QStringLiteral("; "));
}

QStringList playbackProblems(const Json &report)
{
    QStringList problems;
    int enabledAudio = 0;
    for (const Json &stream : movieTracks(report)) {
        if (const QString problem = streamProblem(stream); !problem.isEmpty())
            problems << problem;
        if (stream["codec_type"] == "audio" && stream["disposition"]["default"].integer() == 1)
            ++enabledAudio;
    }
    if (enabledAudio > 1)
        problems << QStringLiteral("%1 audio tracks are enabled: Apple players play one of a group").arg(enabledAudio);
    return problems + tagProblems(report["format"]["tags"]);
}

Verdict compare(const QList<PlannedStream> &promised, const Json &report)
{
    Verdict verdict;
    const QList<Json> tracks = movieTracks(report);
    if (tracks.size() != promised.size()) {
        verdict.status = failure(ErrorKind::Invalid, QStringLiteral("the converted movie has %1 tracks where %2 were planned")
                                                         .arg(tracks.size())
                                                         .arg(promised.size()));
        return verdict;
    }
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        const Json &track = tracks.at(i);
        const PlannedStream &planned = promised.at(i);
        if (!(track["codec_type"] == planned.kind) || !(track["codec_name"] == planned.outputCodec)) {
            verdict.status = failure(ErrorKind::Invalid, QStringLiteral("the converted movie's %1 should be %2 %3")
                                                             .arg(describe(track), planned.kind, planned.outputCodec));
            return verdict;
        }
        const QString language = track["tags"]["language"].text();
        if (languageOf(language) != languageOf(planned.language))
            verdict.problems << QStringLiteral("%1 has the language %2, not %3").arg(describe(track), languageOf(language),
                                                                                     languageOf(planned.language));
        if ((track["disposition"]["default"].integer() == 1) != planned.enabled)
            verdict.problems << QStringLiteral("%1 is %2").arg(describe(track), planned.enabled ? QStringLiteral("not enabled")
                                                                                                 : QStringLiteral("enabled"));
    }
    verdict.problems << playbackProblems(report);
    return verdict;
}

Verdict check(const QString &path, const ConversionPlan *plan)
{
    const FileProbe probe(path);
    Verdict verdict;
    if (!probe.isValidMediaFile) {
        verdict.status = failure(ErrorKind::Invalid, QStringLiteral("the movie cannot be read back"));
        return verdict;
    }
    // A classic conversion that maps nothing leaves the choice of streams to the converter: nothing to compare.
    if (plan && plan->arguments.contains(QStringLiteral("-map")))
        verdict = compare(plan->outputStreams(), probe.jsonDictionary);
    else
        verdict.problems = playbackProblems(probe.jsonDictionary);
    QFile file(path);
    const Outcome<Mp4TagSpace::Layout> layout = file.open(QIODevice::ReadOnly) ? Mp4TagSpace::readLayout(file)
                                                                                : Outcome<Mp4TagSpace::Layout>(Error{});
    if (!layout || layout->indexOf("moov") < 0) {
        if (verdict.status)
            verdict.status = failure(ErrorKind::Invalid, QStringLiteral("the movie's header cannot be read"));
        return verdict;
    }
    const int mediaData = layout->indexOf("mdat");
    verdict.headerFirst = mediaData < 0 || layout->indexOf("moov") < mediaData;
    return verdict;
}

} // namespace OutputCheck
