#include "media/FileProbe.h"

#include "base/Diagnostics.h"
#include "base/MovieItemKeys.h"
#include "base/ToolLocator.h"
#include "media/Utils.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QProcess>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace {

// A probe normally takes a fraction of a second; one that hangs (a stalled
// network mount, a broken file) must not hold up an import for ever.
constexpr int ProbeTimeoutMs = 60000;

struct Attributes
{
    bool ok = false;
    bool hasSize = false;
    quint64 size = 0;
};

Attributes attributesOf(const QString &path)
{
    Attributes attributes;
    struct stat info;
    const QByteArray native = QFile::encodeName(path);
    if (path.isEmpty() || ::stat(native.constData(), &info) != 0) {
        const QString reason = path.isEmpty() ? QStringLiteral("No such file or directory")
                                              : QString::fromLocal8Bit(std::strerror(errno));
        Diagnostics::write(QStringLiteral("Failed to get file attributes for local path: ") + path
                           + QStringLiteral(" with error: ") + reason);
        return attributes;
    }
    attributes.ok = true;
    attributes.hasSize = S_ISREG(info.st_mode) || S_ISDIR(info.st_mode) || S_ISLNK(info.st_mode);
    attributes.size = quint64(info.st_size);
    if (!attributes.hasSize)
        Diagnostics::write(QStringLiteral("Failed to get a size attribute from path: ") + path);
    return attributes;
}

// File-size style with decimal units: bytes, whole kilobytes, then one
// decimal for megabytes and two from gigabytes on.
QString humanSize(quint64 bytes)
{
    if (bytes == 0)
        return QStringLiteral("Zero KB");
    if (bytes < 1000)
        return bytes == 1 ? QStringLiteral("1 byte") : QString::number(bytes) + QStringLiteral(" bytes");
    static const char *const units[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
    double value = double(bytes) / 1000.0;
    int unit = 0;
    while (value >= 999.995 && unit < 5) {
        value /= 1000.0;
        ++unit;
    }
    const int decimals = unit == 0 ? 0 : (unit == 1 ? 1 : 2);
    QString number = QString::number(value, 'f', decimals);
    if (decimals > 0) {
        while (number.endsWith(QLatin1Char('0')))
            number.chop(1);
        if (number.endsWith(QLatin1Char('.')))
            number.chop(1);
    }
    return number + QLatin1Char(' ') + QLatin1String(units[unit]);
}

QByteArray runProbe(const QString &path)
{
    const QString program = ToolLocator::probeProgram();
    if (program.isEmpty()) {
        Diagnostics::warn(QStringLiteral("The probe program (ffprobe) was not found; install ffmpeg or set KINOVELA_FFPROBE."));
        Diagnostics::write(QStringLiteral("Not probed: ") + path);
        return {};
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, FileProbe::probeArguments(path), QIODevice::ReadOnly);
    if (!process.waitForStarted(ProbeTimeoutMs)) {
        Diagnostics::warn(QStringLiteral("Could not start the probe program ") + program + QStringLiteral(": ")
                           + process.errorString());
        return {};
    }
    QByteArray output;
    QDeadlineTimer deadline(ProbeTimeoutMs);
    while (process.state() != QProcess::NotRunning) {
        if (deadline.hasExpired()) {
            process.kill();
            process.waitForFinished(5000);
            Diagnostics::write(QStringLiteral("The probe program did not finish in time, skipping: ") + path);
            return {};
        }
        process.waitForReadyRead(int(qMin<qint64>(deadline.remainingTime(), 1000)));
        output += process.readAllStandardOutput();
    }
    output += process.readAllStandardOutput();
    return output;
}

QVariantMap metadataEntry(const char *label, const QString &value)
{
    return {{QStringLiteral("key"), QString::fromLatin1(label)}, {QStringLiteral("value"), value}};
}

void setFrameSize(FileProbe &probe, std::optional<qint64> width, std::optional<qint64> height)
{
    probe.videoWidth = width;
    probe.videoHeight = height;
    if (width && height)
        probe.videoRatio = double(*width) / double(*height);
    else
        probe.videoRatio.reset();
}

QString sizeText(const std::optional<qint64> &value)
{
    return value ? QString::number(*value) : QString();
}

void fillMetadata(FileProbe &probe, const Json &report)
{
    const Json tags = report["format"]["tags"];
    probe.metadata = {
        metadataEntry("Title", tags["title"].text()),
        metadataEntry("Tagline", tags["description"].text()),
        metadataEntry("Synopsis", tags["synopsis"].text()),
        metadataEntry("Release Date", tags["date"].text()),
        metadataEntry("Genre", tags["genre"].text()),
        metadataEntry("HD", tags["hd_video"].integer() == 1 ? QStringLiteral("Yes") : QStringLiteral("No")),
        metadataEntry("Media Kind", tags["media_type"].integer() == 9 ? QStringLiteral("Movie") : QString()),
        metadataEntry("Composer", tags["composer"].text()),
        metadataEntry("Rating", tags["iTunEXTC"].text()),
        metadataEntry("Encoder", tags["encoder"].text()),
        metadataEntry("Copyright", tags["copyright"].text()),
        metadataEntry("Comment", tags["comment"].text()),
    };
}

void fillTracks(FileProbe &probe, const Json &report, const QString &path)
{
    const Json streams = report["streams"];
    const qsizetype count = streams.count();
    for (qsizetype i = 0; i < count; ++i) {
        const Json s = streams[i];
        const bool video = s["codec_type"] == "video";
        const bool audio = s["codec_type"] == "audio";
        const bool subtitle = s["codec_type"] == "subtitle";
        const Json name = s["codec_name"];
        const Json tag = s["codec_tag_string"];

        QString type = TrackType::Other;
        bool takesFrameSize = false;
        if (video && name == "mjpeg" && tag == "jpeg") {
            type = TrackType::Other;
        } else if (video && (name == "h264" || name == "theora" || (name == "wmv3" && tag == "WMV3"))) {
            type = TrackType::Video;
            takesFrameSize = true;
        } else if (video && !(s["avg_frame_rate"] == "0/0")) {
            type = TrackType::Video;
        } else if (audio) {
            type = TrackType::Audio;
        } else if (subtitle && !(tag == "text") && !name.isNull()) {
            type = TrackType::Subtitle;
        } else if (video && tag == "[0][0][0][0]" && (name == "mjpeg" || name == "png")) {
            type = TrackType::Poster;
        }

        if (takesFrameSize) {
            probe.hasVideoTrack = true;
            setFrameSize(probe, s["width"].optionalInteger(), s["height"].optionalInteger());
        }

        QString special;
        if (type == TrackType::Video)
            special = sizeText(probe.videoWidth) + QLatin1Char('x') + sizeText(probe.videoHeight);
        else if (type == TrackType::Audio)
            special = s["channel_layout"].text();
        else if (type == TrackType::Subtitle)
            special = s["tags"]["language"].text();
        else if (type == TrackType::Poster)
            special = s["width"].text() + QLatin1Char('x') + s["height"].text();
        else
            special = tag.text();

        const double trackDuration = s["duration"].real();
        probe.tracksInfo.append(QVariantMap{
            {TrackKey::trackType, type},
            {TrackKey::trackCodec, name.text()},
            {TrackKey::trackID, s["index"].text()},
            {TrackKey::trackPresentInfile, path},
            {TrackKey::trackSpecialInfo, special},
            {TrackKey::trackDuration, trackDuration},
            {TrackKey::trackDurationHuman, Utils::getTimeStringFromSeconds(trackDuration)},
            {TrackKey::trackLanguage, s["tags"]["language"].text()},
            {TrackKey::trackDictionary, s.object().toVariantMap()},
        });
    }
}

template<typename Predicate>
Json firstStream(const Json &streams, Predicate matches)
{
    const qsizetype count = streams.count();
    for (qsizetype i = 0; i < count; ++i) {
        const Json s = streams[i];
        if (matches(s))
            return s;
    }
    return Json();
}

} // namespace

QStringList FileProbe::probeArguments(const QString &path)
{
    return {QStringLiteral("-v"),          QStringLiteral("quiet"),        QStringLiteral("-print_format"),
            QStringLiteral("json"),        QStringLiteral("-show_format"), QStringLiteral("-show_streams"),
            QStringLiteral("-show_chapters"), QStringLiteral("-show_error"), path};
}

quint64 FileProbe::getSizeOfFileAtPath(const QString &path)
{
    const Attributes attributes = attributesOf(path);
    return attributes.ok && attributes.hasSize ? attributes.size : 0;
}

QString FileProbe::getHumanSizeOfFileAtPath(const QString &path)
{
    const Attributes attributes = attributesOf(path);
    if (!attributes.ok || !attributes.hasSize)
        return QStringLiteral("Unknown File Size");
    return humanSize(attributes.size);
}

FileProbe::FileProbe(const QString &path)
{
    *this = fromReport(path, runProbe(path));
}

FileProbe FileProbe::fromReport(const QString &path, const QByteArray &report)
{
    FileProbe probe;
    probe.fileSize = getSizeOfFileAtPath(path);
    probe.fileSizeHuman = getHumanSizeOfFileAtPath(path);
    probe.fileFullPath = path;
    probe.fileFullURL = QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath());

    const Json json = Json::parse(report);
    probe.jsonDictionary = json;
    if (json.has(QStringLiteral("error"))) {
        probe.hasErrors = true;
    } else if (json["streams"].count() > 0) {
        probe.numberOfStreams = json["streams"].count();
        const QString fileName = path.section(QLatin1Char('/'), -1);
        const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
        const QString extension = dot < 0 ? QString() : fileName.mid(dot + 1);
        if (dot < 0 || extension.toLower() != QLatin1String("txt"))
            probe.isValidMediaFile = true;
    }
    if (!probe.isValidMediaFile)
        return probe;

    const Json streams = json["streams"];
    if (firstStream(streams, [](const Json &s) { return s["codec_type"] == "video" && s["codec_name"].isNull(); })
            .exists())
        probe.isEncrypted = true;

    const Json video = firstStream(
        streams, [](const Json &s) { return s["codec_type"] == "video" && !(s["avg_frame_rate"] == "0/0"); });
    if (video.exists()) {
        probe.hasVideoTrack = true;
        setFrameSize(probe, video["width"].integer(), video["height"].integer());
    }
    if (firstStream(streams, [](const Json &s) { return s["codec_type"] == "audio"; }).exists())
        probe.hasAudioTrack = true;
    if (firstStream(streams, [](const Json &s) {
            return !s["channels"].isNull() && s["channels"].optionalInteger().value_or(0) >= 3;
        }).exists())
        probe.hasAudioTrackWhichHasMoreThanTwoChannels = true;
    if (firstStream(streams, [](const Json &s) {
            return s["codec_type"] == "subtitle" && !(s["codec_tag_string"] == "text") && !s["codec_name"].isNull();
        }).exists())
        probe.hasSubtitleTrack = true;

    probe.duration = json["format"]["duration"].real();
    probe.bitRate = json["format"]["bit_rate"].integer();

    fillMetadata(probe, json);
    fillTracks(probe, json, path);
    return probe;
}
