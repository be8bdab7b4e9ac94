#include "media/MovieItemFacts.h"

#include "media/FileProbe.h"
#include "media/Utils.h"

#include <QFileInfo>

namespace MovieItemFacts {

QString trackSummary(const QVariantList &tracks, const QString &type)
{
    QStringList entries;
    for (const QVariant &track : tracks) {
        const QVariantMap entry = track.toMap();
        if (entry.value(TrackKey::trackType).toString() == type)
            entries.append(entry.value(TrackKey::trackCodec).toString() + QLatin1Char('(')
                           + entry.value(TrackKey::trackSpecialInfo).toString() + QLatin1Char(')'));
    }
    return entries.join(QStringLiteral(", "));
}

MovieItem fromProbe(const FileProbe &probe, int serialNumber)
{
    const QString path = probe.fileFullPath.value_or(QString());
    const QString fileName = path.section(QLatin1Char('/'), -1);
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    const QString fileString = dot < 0 ? fileName : fileName.left(dot);
    QString searchString = fileString;
    searchString.replace(QLatin1Char('.'), QLatin1Char(' '));

    return MovieItem{
        {ItemKey::fileURL, probe.fileFullURL.value_or(QUrl::fromLocalFile(path))},
        {ItemKey::filePath, path},
        {ItemKey::fileName, fileName},
        {ItemKey::duration, probe.duration},
        {ItemKey::durationHuman, Utils::getTimeStringFromSeconds(probe.duration)},
        {ItemKey::beautifiedDuration, Utils::getBeautifiedDurationFromSeconds(probe.duration)},
        {ItemKey::tracksInfo, probe.tracksInfo},
        {ItemKey::fileString, fileString},
        {ItemKey::searchString, searchString},
        {ItemKey::serialNumber, qint64(serialNumber)},
        {ItemKey::mediaType, qint64(9)},
        {ItemKey::encodingTool, QStringLiteral("Kinovela")},
        {ItemKey::hdFlag, probe.videoHeight.value_or(0) > 719},
        {ItemKey::fileSize, probe.fileSizeHuman.value_or(QString())},
        {ItemKey::videoString, trackSummary(probe.tracksInfo, TrackType::Video)},
        {ItemKey::audioString, trackSummary(probe.tracksInfo, TrackType::Audio)},
        {ItemKey::subtitleString, trackSummary(probe.tracksInfo, TrackType::Subtitle)},
    };
}

} // namespace MovieItemFacts
