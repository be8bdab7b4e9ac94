#pragma once

#include "base/Candidates.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <optional>

/** Outcome of a movie's subtitle stage. */
enum class SubtitleStauts { notSearched, found, notFound };

/** A subtitle file saved for a movie in the subtitles folder ("Heat.1995.mkv" + "srt" -> ~/Subtitles/Heat.1995.srt). */
class Subtitle
{
public:
    Subtitle(const QString &videoPath, const QString &ext);

    QString path;
    QString ext;
    QString videoPath;

    QUrl presentedItemURL() const;
    QUrl primaryPresentedItemURL() const;

    /** The subtitle file's path for a movie path and an extension. */
    static QString pathFor(const QString &videoPath, const QString &ext);
};

/**
 * One movie's subtitle stage: what the subtitle service needs (path, IMDb
 * id, duration), the search and download, and the saved file. Operations
 * are asynchronous and answer once, on the main thread, with the updated
 * record; they are skipped when `context` is gone.
 */
class Video
{
public:
    Video(const QString &path, const QString &imdbID, double movieDurationInSeconds);

    QString path;
    QString imdbID;
    double movieDurationInSeconds = 0;
    std::optional<SubtitleStauts> subStatus = SubtitleStauts::notSearched;
    std::optional<Subtitle> subtitle;
    QString downloadedSubtitlePath;

    /** The movie hash text of the file. */
    QString getMovieHashString() const;

    using Completion = std::function<void(const Video &updated)>;
    /** Log in, search by hash, then by IMDb id, download and save. */
    void searchAndDownloadSubtitle(QObject *context, Completion completion) const;
    /** Download and save the subtitle the user chose. */
    void downloadSubtitleWithFileID(const QString &fileID, const QString &ext, QObject *context,
                                    Completion completion) const;
    /** The candidates for the subtitle window. */
    static void getSubtitleList(const QString &imdbID, QObject *context,
                                std::function<void(const QList<SubtitleCandidate> &)> completion);

    /** Saves `content` as the subtitle with extension `ext`; found when the file then exists. */
    void save(const QByteArray &content, const QString &ext);
};
