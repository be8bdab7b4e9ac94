#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include "base/Candidates.h"

#include <functional>
#include <memory>
#include <optional>

/** One subtitle chosen by a search: the service's file id and the subtitle format ("srt"). */
struct SubtitleChoice
{
    qint64 fileID = 0;
    QString format;
};

/**
 * A subtitle service as the subtitle stage uses it: log in, search by movie
 * hash or by IMDb number, list the candidates for the subtitle window,
 * download one. Every operation answers exactly once, on the main thread;
 * a failed request answers with nothing (no token, no choice, an empty list,
 * empty bytes). One provider object serves one lookup.
 */
class SubtitleProvider
{
public:
    virtual ~SubtitleProvider() = default;

    virtual void logIn(std::function<void(bool loggedIn)> completion) = 0;
    virtual void searchSubtitleByHash(const QString &movieHash, double fileSize,
                                      std::function<void(std::optional<SubtitleChoice>)> completion) = 0;
    virtual void searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                                      std::function<void(std::optional<SubtitleChoice>)> completion) = 0;
    /** The candidates for the subtitle window, in the service's order. */
    virtual void searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion) = 0;
    virtual void downloadSubtitle(qint64 fileID, std::function<void(const QByteArray &content)> completion) = 0;

    /** The configured service for one lookup. */
    static std::shared_ptr<SubtitleProvider> create();
};
