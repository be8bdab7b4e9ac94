#pragma once

#include "base/Json.h"
#include "subtitles/SubtitleProvider.h"

#include <QUrlQuery>

#include "base/HttpClient.h"

/**
 * The OpenSubtitles REST client (api.opensubtitles.com): API key and
 * "Kinovela v<version>" on every request, optional log-in for a bearer
 * token, search by movie hash then by IMDb number, the candidate list, and
 * the download (a link, then the file). Queries are sent in the canonical
 * form the service wants (sorted, lower case). Refused key, download quota,
 * rate limit and server errors end as no answer with a diagnostic line that
 * names the cause.
 */
class OpenSubtitlesRest : public SubtitleProvider, public std::enable_shared_from_this<OpenSubtitlesRest>
{
public:
    OpenSubtitlesRest(const QString &apiKey, const QString &userName, const QString &password);

    void logIn(std::function<void(bool loggedIn)> completion) override;
    void searchSubtitleByHash(const QString &movieHash, double fileSize,
                              std::function<void(std::optional<SubtitleChoice>)> completion) override;
    void searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                              std::function<void(std::optional<SubtitleChoice>)> completion) override;
    void searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion) override;
    void downloadSubtitle(qint64 fileID, std::function<void(const QByteArray &content)> completion) override;

    std::optional<QString> token;

    // Pure parts, for tests.
    static QByteArray userAgent();
    /** "tt0111161" -> "111161"; empty when it is not an IMDb number. */
    static QString imdbNumber(const QString &imdbID);
    /** The query with its parameters sorted by name and lower-cased. */
    static QString canonicalQuery(const QList<std::pair<QString, QString>> &parameters);
    static std::optional<SubtitleChoice> firstHashMatch(const Json &answer);
    static std::optional<SubtitleChoice> firstResult(const Json &answer);
    static QList<SubtitleCandidate> listRecords(const Json &answer);
    /** Why a request failed, for the diagnostic line. */
    static QString failureCause(const HttpResponse &response);

private:
    void search(const QList<std::pair<QString, QString>> &parameters, std::function<void(const Json &)> completion);
    HttpRequest request(const QString &path) const;

    QString m_apiKey;
    QString m_userName;
    QString m_password;
};
