#pragma once

#include "subtitles/SubtitleProvider.h"

#include <QVariant>

/**
 * The OpenSubtitles XML-RPC client: anonymous log-in, search by movie hash
 * or IMDb number, the candidate list, and the download (base64, gzip).
 * Requests are asynchronous; the order of effects is that of the calls.
 */
class OpenSubsAccess : public SubtitleProvider, public std::enable_shared_from_this<OpenSubsAccess>
{
public:
    struct Constants
    {
        struct OSMethods
        {
            static QString logIn() { return QStringLiteral("LogIn"); }
            static QString searchSubtitles() { return QStringLiteral("SearchSubtitles"); }
            static QString downloadSubtitles() { return QStringLiteral("DownloadSubtitles"); }
        };
        static QByteArray userAgent() { return QByteArrayLiteral("Titlewright v1.0"); }
        static constexpr int timeoutMs = 30000;
        /** The endpoint (KINOVELA_OPENSUBTITLES_URL). */
        static QString endpoint();
    };

    std::optional<QString> token;
    QString subLanguage = QStringLiteral("eng");

    void logIn(std::function<void(bool loggedIn)> completion) override;
    void searchSubtitleByHash(const QString &movieHash, double fileSize,
                              std::function<void(std::optional<SubtitleChoice>)> completion) override;
    void searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                              std::function<void(std::optional<SubtitleChoice>)> completion) override;
    void searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion) override;
    void downloadSubtitle(qint64 fileID, std::function<void(const QByteArray &content)> completion) override;

    /** One method call; the answer's top-level structure, or nothing (transport error, fault, not a structure). */
    void sendXMLRPCRequest(const QString &method, const QVariantList &parameters,
                           std::function<void(const std::optional<QVariantMap> &)> completion);

    // Pure parts, for tests.
    static QVariantMap hashQuery(const QString &language, const QString &movieHash, double fileSize);
    /** The IMDb query; "imdbid" only when the id after its first two characters is a decimal number. */
    static QVariantMap imdbQuery(const QString &language, const QString &imdbID);
    static std::optional<SubtitleChoice> firstChoice(const QVariantMap &answer);
    /** The "srt" entry whose last line ends closest before the movie's end (within 5000 s), else the first entry. */
    static std::optional<SubtitleChoice> closestToEndChoice(const QVariantMap &answer, double movieDurationInSeconds);
    static QList<SubtitleCandidate> listRecords(const QVariantMap &answer);
    /** The subtitle bytes of a download answer: base64 decoded and, when gzip, inflated (capped). */
    static QByteArray downloadedContent(const QVariantMap &answer);
};
