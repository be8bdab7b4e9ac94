#pragma once

#include <QString>

#include <functional>

class QObject;

/** The outcome of one check, in words a person can act on. */
struct CheckResult
{
    enum class State { Ok, Warning, Failed };

    QString name;   ///< what was checked: "TMDb", "ffmpeg", "cache folder"
    State state = State::Ok;
    QString text;   ///< what happened: "Key accepted", "The service refused the key (401)"
    QString advice; ///< what to do about it; empty when there is nothing to do
    /** Kinovela cannot do its work while this check fails (a warning is never needed). */
    bool needed = false;

    bool ok() const { return state == State::Ok; }
    /** "text: advice", or the text alone. */
    QString sentence() const;
    /** "ok", "warning" or "failed". */
    QString stateName() const;
};

/**
 * One request to each web service, to tell a person whether it can be used:
 * reachable, the key accepted, the subtitle quota left. The settings sheet's
 * Test buttons and `kinovela-cli doctor` both ask these. Each answers once,
 * on the main thread, unless @p context is destroyed first.
 */
namespace ServiceCheck {

using Completion = std::function<void(const CheckResult &result)>;

/** TMDb with this credential (a v3 key or a v4 read access token); empty: none is set. */
void checkTmdb(const QString &key, QObject *context, Completion completion);
/** The store genre search (the iTunes Search API); its failures are warnings: TMDb's genre is used instead. */
void checkStore(QObject *context, Completion completion);
/** The chosen subtitle service with the configured key or account, and the download quota when it is known. */
void checkOpenSubtitles(QObject *context, Completion completion);

} // namespace ServiceCheck
