#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "media/FileProbe.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

namespace Commands {

namespace {

template<typename T>
QJsonValue optionalValue(const std::optional<T> &value)
{
    if (!value)
        return QJsonValue(QJsonValue::Null);
    if constexpr (std::is_same_v<T, QUrl>)
        return value->toString();
    else if constexpr (std::is_same_v<T, QString>)
        return *value;
    else
        return QJsonValue(double(*value));
}

QJsonObject probeToJson(const FileProbe &probe)
{
    QJsonObject object;
    object.insert(QStringLiteral("fileFullPath"), optionalValue(probe.fileFullPath));
    object.insert(QStringLiteral("fileFullURL"), optionalValue(probe.fileFullURL));
    object.insert(QStringLiteral("fileSize"), optionalValue(probe.fileSize));
    object.insert(QStringLiteral("fileSizeHuman"), optionalValue(probe.fileSizeHuman));
    object.insert(QStringLiteral("hasErrors"), probe.hasErrors);
    object.insert(QStringLiteral("isValidMediaFile"), probe.isValidMediaFile);
    object.insert(QStringLiteral("isEncrypted"), probe.isEncrypted);
    object.insert(QStringLiteral("numberOfStreams"), double(probe.numberOfStreams));
    object.insert(QStringLiteral("hasVideoTrack"), probe.hasVideoTrack);
    object.insert(QStringLiteral("hasAudioTrack"), probe.hasAudioTrack);
    object.insert(QStringLiteral("hasSubtitleTrack"), probe.hasSubtitleTrack);
    object.insert(QStringLiteral("hasAudioTrackWhichHasMoreThanTwoChannels"),
                  probe.hasAudioTrackWhichHasMoreThanTwoChannels);
    object.insert(QStringLiteral("duration"), probe.duration);
    object.insert(QStringLiteral("bitRate"), double(probe.bitRate));
    object.insert(QStringLiteral("videoWidth"), optionalValue(probe.videoWidth));
    object.insert(QStringLiteral("videoHeight"), optionalValue(probe.videoHeight));
    object.insert(QStringLiteral("videoRatio"), optionalValue(probe.videoRatio));
    object.insert(QStringLiteral("metadata"), CliSupport::toJson(probe.metadata));
    object.insert(QStringLiteral("tracksInfo"), CliSupport::toJson(probe.tracksInfo));
    object.insert(QStringLiteral("acceptable"), probe.isAcceptable());
    return object;
}

void printText(const FileProbe &probe)
{
    CliSupport::TextOut out;
    out << probe.fileFullPath.value_or(QString()) << "\n";
    out << "    " << (probe.isAcceptable() ? "movie" : "not a movie") << ", " << probe.fileSizeHuman.value_or(QString());
    if (probe.isValidMediaFile)
        out << ", " << probe.numberOfStreams << " streams";
    out << "\n";
    if (!probe.isValidMediaFile)
        return;
    if (probe.videoWidth && probe.videoHeight)
        out << "    frame: " << *probe.videoWidth << "x" << *probe.videoHeight << "\n";
    out << "    duration: " << probe.duration << " s\n";
    for (const QVariant &track : probe.tracksInfo) {
        const QVariantMap entry = track.toMap();
        out << "    #" << entry.value(QStringLiteral("trackID")).toString() << " "
            << entry.value(QStringLiteral("trackType")).toString() << " "
            << entry.value(QStringLiteral("trackCodec")).toString() << " "
            << entry.value(QStringLiteral("trackSpecialInfo")).toString() << "\n";
    }
}

} // namespace

int probe(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parseFor(QStringLiteral("probe"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (parsed.positional.isEmpty())
        return usageError(QStringLiteral("'probe' needs at least one FILE"));

    QJsonArray array;
    bool allAcceptable = true;
    for (const QString &given : parsed.positional) {
        const FileProbe probe(CliSupport::absolutePath(given));
        if (!probe.isAcceptable()) {
            allAcceptable = false;
            Diagnostics::error(given + QStringLiteral(": not a usable movie file"));
        }
        if (parsed.has(QStringLiteral("--json")))
            array.append(probeToJson(probe));
        else
            printText(probe);
    }
    if (parsed.has(QStringLiteral("--json")))
        CliSupport::printJson(array);
    return allAcceptable ? Success : SomeFailed;
}

} // namespace Commands
