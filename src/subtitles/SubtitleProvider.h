#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include "base/Candidates.h"
#include "base/Outcome.h"

#include <functional>
#include <memory>
#include <optional>

/** One subtitle chosen by a search: the service's file id and the subtitle format ("srt"). */
struct SubtitleChoice
{
    qint64 fileID = 0;
    QString format;
};

/** The choices of a search, best first; an error names why the service gave none. */
using SubtitleChoices = Outcome<QList<SubtitleChoice>>;

/**
 * A subtitle service as the subtitle stage uses it: log in, search by movie
 * hash or by IMDb number, list the candidates for the subtitle window,
 * download one. Every operation answers exactly once, on the main thread;
 * a failure carries a text a person can act on (a refused key, the download
 * limit and when it ends, the rate limit). One provider object serves one
 * lookup.
 */
class SubtitleProvider
{
public:
    virtual ~SubtitleProvider() = default;

    virtual void logIn(std::function<void(const Status &loggedIn)> completion) = 0;
    virtual void searchSubtitleByHash(const QString &movieHash, double fileSize,
                                      std::function<void(const SubtitleChoices &)> completion) = 0;
    virtual void searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                                      std::function<void(const SubtitleChoices &)> completion) = 0;
    /** The candidates for the subtitle window, in the service's order. */
    virtual void searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion) = 0;
    /** The file's bytes; an error when it could not be had (ErrorKind::Refused for the download limit). */
    virtual void downloadSubtitle(qint64 fileID, std::function<void(const Outcome<QByteArray> &content)> completion) = 0;

    /**
     * The configured service for one lookup: the REST service with the
     * user's key or the application's, the XML-RPC service when the
     * "legacy (members only)" provider is chosen; an error saying why there
     * is none (no key).
     */
    static Outcome<std::shared_ptr<SubtitleProvider>> create();
};
