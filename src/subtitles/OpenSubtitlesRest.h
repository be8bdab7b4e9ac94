#pragma once

#include "base/HttpClient.h"
#include "base/Json.h"
#include "subtitles/SubtitleProvider.h"

/**
 * The OpenSubtitles REST client (api.opensubtitles.com): API key and
 * "Kinovela v<version>" on every request, a log-in (once per run and user)
 * when a user name is set, whose base_url serves the later calls, search by
 * movie hash (always 16 hexadecimal digits) then by IMDb number, the
 * candidate list, and the download (a link, then the file).
 *
 * Requests are spaced to the service's limits (at most 4 a second, one
 * log-in a second). Search answers and files come from SubtitleCache when
 * it has them; every download answer's allowance is recorded as the
 * SubtitleQuota, and a download is not asked for while that allowance is
 * spent. Queries are sent in the canonical form the service wants (sorted,
 * lower case). Failures name their cause ("download limit reached until
 * 14:00 UTC", the rate limit, a refused key).
 */
class OpenSubtitlesRest : public SubtitleProvider, public std::enable_shared_from_this<OpenSubtitlesRest>
{
public:
    OpenSubtitlesRest(const QString &apiKey, const QString &userName, const QString &password);

    void logIn(std::function<void(const Status &)> completion) override;
    void searchSubtitleByHash(const QString &movieHash, double fileSize,
                              std::function<void(const SubtitleChoices &)> completion) override;
    void searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                              std::function<void(const SubtitleChoices &)> completion) override;
    void searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion) override;
    void downloadSubtitle(qint64 fileID, std::function<void(const Outcome<QByteArray> &)> completion) override;

    static constexpr int RequestIntervalMs = 250;
    static constexpr int LogInIntervalMs = 1000;

    // Pure parts, for tests.
    static QByteArray userAgent();
    /** "tt0111161" -> "111161"; empty when it is not an IMDb number. */
    static QString imdbNumber(const QString &imdbID);
    /** A movie hash text as the service takes it: 16 lower-case hexadecimal digits; empty for no hash ("0", not hex). */
    static QString moviehash(const QString &hashText);
    /** The query with its parameters sorted by name and lower-cased. */
    static QString canonicalQuery(const QList<std::pair<QString, QString>> &parameters);
    /** The results that match the movie hash, in the service's order. */
    static QList<SubtitleChoice> hashMatches(const Json &answer);
    static QList<SubtitleChoice> results(const Json &answer);
    static QList<SubtitleCandidate> listRecords(const Json &answer);
    /** Why a request failed, in words a person can act on. */
    static QString failureCause(const HttpResponse &response);
    /** The API address served by a log-in's base_url (a host, maybe with a port); the configured one when empty. */
    static QString apiUrl(const QString &baseUrl);
    /**
     * Whether a download link may be followed: over https to the service's
     * own hosts (opensubtitles.com, opensubtitles.org and their
     * subdomains), or to the origin of the configured or logged-in API
     * address. Nothing else is fetched.
     */
    static bool isServiceLink(const QUrl &link);
    /** Forgets the log-in kept for this run. */
    static void forgetSession();

private:
    void search(const QList<std::pair<QString, QString>> &parameters, std::function<void(const Outcome<Json> &)> completion);
    void fetchFile(qint64 fileID, const QString &link, std::function<void(const Outcome<QByteArray> &)> completion);
    HttpRequest request(const QString &path) const;
    QString token() const;

    QString m_apiKey;
    QString m_userName;
    QString m_password;
};
