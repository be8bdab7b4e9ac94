#pragma once

#include "base/Json.h"

#include <QString>
#include <QUrl>
#include <QVariantList>

#include <optional>

/**
 * What ffprobe says about one file: whether it is a valid, unencrypted
 * media file with a real video track, its duration, frame size, size on
 * disk, the twelve tag entries ("metadata") and one track entry per stream
 * ("tracksInfo"). Built once, synchronously, by running the probe program;
 * read-only afterwards. Never fails: every problem shows in the fields.
 *
 * `fromReport` classifies a report given as JSON text without running
 * anything, so crafted reports can be checked.
 */
class FileProbe
{
public:
    /** Runs the probe program on `path` and reads its report. */
    explicit FileProbe(const QString &path);

    /** Classifies an already obtained report for `path` (the file's size is still read from disk). */
    static FileProbe fromReport(const QString &path, const QByteArray &report);

    static quint64 getSizeOfFileAtPath(const QString &path);
    static QString getHumanSizeOfFileAtPath(const QString &path);

    /** The probe program's arguments for `path`, in order. */
    static QStringList probeArguments(const QString &path);

    /** The file may be listed: valid, no error, not encrypted, with a video track. */
    bool isAcceptable() const { return isValidMediaFile && !hasErrors && !isEncrypted && hasVideoTrack; }

    Json jsonDictionary;
    bool hasErrors = false;
    bool isValidMediaFile = false;
    bool isEncrypted = false;
    qint64 numberOfStreams = 0;
    bool hasVideoTrack = false;
    bool hasAudioTrack = false;
    bool hasSubtitleTrack = false;
    bool hasAudioTrackWhichHasMoreThanTwoChannels = false;
    double duration = 0;
    qint64 bitRate = 0;
    std::optional<qint64> videoWidth;
    std::optional<qint64> videoHeight;
    std::optional<double> videoRatio;
    QVariantList tracksInfo; // of QVariantMap track entries (TrackKey)
    QVariantList metadata;   // of QVariantMap {"key", "value"}
    std::optional<quint64> fileSize;
    std::optional<QString> fileSizeHuman;
    std::optional<QString> fileFullPath;
    std::optional<QUrl> fileFullURL;

private:
    FileProbe() = default;
};
