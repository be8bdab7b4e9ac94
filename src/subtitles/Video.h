#pragma once

#include "base/Candidates.h"
#include "base/Outcome.h"

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
    /** Why the stage ended as it did, for the person (a missing key, the download limit, a rejected file); empty when found. */
    QString statusText;

    /** Subtitles downloaded (or taken from the cache) for one movie at most; a rejected one makes room for the next candidate. */
    static constexpr int MaxDownloadsPerMovie = 3;

    /** The movie hash text of the file. */
    QString getMovieHashString() const;

    using Completion = std::function<void(const Video &updated)>;
    /**
     * Log in, search by hash, then by IMDb id; download the candidates in
     * turn until one passes SubtitleCheck, and save it as UTF-8 text with its
     * format's extension. Without a configured service: notSearched, with
     * the reason in `statusText`.
     */
    void searchAndDownloadSubtitle(QObject *context, Completion completion) const;
    /** Download, check and save the subtitle the user chose; a file that fails the check is not saved. */
    void downloadSubtitleWithFileID(const QString &fileID, const QString &ext, QObject *context,
                                    Completion completion) const;
    /** The candidates for the subtitle window. */
    static void getSubtitleList(const QString &imdbID, QObject *context,
                                std::function<void(const QList<SubtitleCandidate> &)> completion);

    /** Saves `content` as the subtitle with extension `ext`; found when the file then exists. */
    void save(const QByteArray &content, const QString &ext);
    /**
     * Checks downloaded bytes (SubtitleCheck) and saves them as UTF-8 with
     * their format's extension; an error (Invalid: turned away, Io: not
     * written) with the reason also in `statusText`.
     */
    Status saveChecked(const QByteArray &content, const QString &claimedFormat, qint64 fileID);
};
