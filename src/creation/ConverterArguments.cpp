#include "creation/ConverterArguments.h"

#include "creation/FileNames.h"

#include <QFileInfo>

namespace ConverterArguments {

namespace {

QString extensionOf(const QString &path)
{
    const QString name = path.section(QLatin1Char('/'), -1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : name.mid(dot + 1).toLower();
}

QVariantMap firstTrackOfType(const MovieItem &item, const QString &type)
{
    for (const QVariant &track : item.value(ItemKey::tracksInfo).toList()) {
        const QVariantMap entry = track.toMap();
        if (entry.value(TrackKey::trackType).toString() == type)
            return entry;
    }
    return {};
}

} // namespace

CreationAction creationActionForItem(const MovieItem &item, Preset preset)
{
    return creationActionForItem(item, preset, QFileInfo(item.value(ItemKey::filePath).toString()).isFile());
}

CreationAction creationActionForItem(const MovieItem &item, Preset preset, bool sourceExists)
{
    const QString path = item.value(ItemKey::filePath).toString();
    const bool found = item.value(ItemKey::movieFoundStatus).toBool();
    const bool mp4 = extensionOf(path) == QLatin1String("mp4");
    if (sourceExists && found && mp4 && preset == Preset::TagInPlace)
        return CreationAction::TagInPlace;
    if (sourceExists && found && mp4 && preset == Preset::TagAndMove)
        return CreationAction::TagAndMove;
    return CreationAction::Convert;
}

QString finalMoviePath(const MovieItem &item, const QString &destinationFolder)
{
    return destinationFolder + QLatin1Char('/')
        + FileNames::movieFileName(item, FileNames::rulesFor(destinationFolder));
}

QString temporaryMoviePath(const QString &finalPath, const QString &token)
{
    // Named after the movie, so that a file left by a crash says what it is.
    const QFileInfo final(finalPath);
    const QString suffix = QStringLiteral(" (unfinished %1).mp4").arg(token);
    const QString base = FileNames::cutToBytes(final.completeBaseName(), FileNames::MaxNameBytes - suffix.toUtf8().size());
    return final.path() + QLatin1Char('/') + base + suffix;
}

QString subtitleInputFormat(const QString &subtitlePath)
{
    // The subtitle stage saves each checked format with its own extension.
    const QString extension = subtitlePath.section(QLatin1Char('.'), -1).toLower();
    if (extension == QLatin1String("sub"))
        return QStringLiteral("microdvd");
    if (extension == QLatin1String("sbv"))
        return QStringLiteral("subviewer");
    if (extension == QLatin1String("vtt"))
        return QStringLiteral("webvtt");
    if (extension == QLatin1String("ass") || extension == QLatin1String("ssa"))
        return QStringLiteral("ass");
    return QStringLiteral("srt");
}

QStringList converterArgumentsForItem(const MovieItem &item, const QString &temporaryPath, const QString &subtitleLanguage)
{
    const bool subtitle = item.value(ItemKey::subtitleFound).toBool();
    QStringList arguments{QStringLiteral("-i"), item.value(ItemKey::filePath).toString()};
    if (subtitle)
        arguments << QStringLiteral("-sub_charenc") << QStringLiteral("UTF-8") << QStringLiteral("-f")
                  << subtitleInputFormat(item.value(ItemKey::downloadedSubtitlePath).toString()) << QStringLiteral("-i")
                  << item.value(ItemKey::downloadedSubtitlePath).toString();

    QStringList mapping;
    const QVariantMap video = firstTrackOfType(item, TrackType::Video);
    if (!video.isEmpty())
        mapping << QStringLiteral("-map") << QStringLiteral("0:") + video.value(TrackKey::trackID).toString()
                << QStringLiteral("-c:v")
                << (video.value(TrackKey::trackCodec).toString() == QLatin1String("h264") ? QStringLiteral("copy")
                                                                                           : QStringLiteral("libx264"));
    const QVariantMap audio = firstTrackOfType(item, TrackType::Audio);
    if (!audio.isEmpty()) {
        const QString codec = audio.value(TrackKey::trackCodec).toString();
        const QString map = QStringLiteral("0:") + audio.value(TrackKey::trackID).toString();
        if (codec == QLatin1String("aac") || codec == QLatin1String("ac3"))
            mapping << QStringLiteral("-map") << map << QStringLiteral("-c:a") << QStringLiteral("copy");
        else
            mapping << QStringLiteral("-ac") << QStringLiteral("2") << QStringLiteral("-map") << map
                    << QStringLiteral("-c:a") << QStringLiteral("aac");
    }
    arguments << mapping;

    if (subtitle)
        arguments << QStringLiteral("-map") << QStringLiteral("1:s:0") << QStringLiteral("-c:s") << QStringLiteral("mov_text")
                  << QStringLiteral("-metadata:s:") + QString::number(mapping.size() / 4)
                  << QStringLiteral("language=") + subtitleLanguage;
    arguments << QStringLiteral("-y") << temporaryPath;
    return arguments;
}

QString missingKey(const MovieItem &item)
{
    for (const QString &key : {ItemKey::filePath, ItemKey::movieTitle, ItemKey::movieFoundStatus, ItemKey::subtitleFound,
                               ItemKey::tracksInfo}) {
        if (!item.contains(key))
            return key;
    }
    if (item.value(ItemKey::subtitleFound).toBool() && !item.contains(ItemKey::downloadedSubtitlePath))
        return ItemKey::downloadedSubtitlePath;
    return {};
}

QString actionName(CreationAction action)
{
    switch (action) {
    case CreationAction::TagInPlace: return QStringLiteral("tag");
    case CreationAction::TagAndMove: return QStringLiteral("move");
    case CreationAction::Convert: return QStringLiteral("convert");
    }
    return {};
}

} // namespace ConverterArguments
