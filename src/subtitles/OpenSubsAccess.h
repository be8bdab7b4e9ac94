#pragma once

#include "subtitles/SubtitleProvider.h"

#include <QVariant>

/**
 * The OpenSubtitles XML-RPC client, "legacy (members only)": since 2024
 * the service gives real subtitles to paying members only and an
 * advertisement to everyone else (SubtitleCheck turns that away).
 * Anonymous log-in, search by movie hash or IMDb number, the candidate
 * list, and the download (base64, gzip).
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

    void logIn(std::function<void(const Status &)> completion) override;
    void searchSubtitleByHash(const QString &movieHash, double fileSize,
                              std::function<void(const SubtitleChoices &)> completion) override;
    void searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                              std::function<void(const SubtitleChoices &)> completion) override;
    void searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion) override;
    void downloadSubtitle(qint64 fileID, std::function<void(const Outcome<QByteArray> &)> completion) override;

    /**
     * One method call; the answer's top-level structure, or nothing: a
     * transport error, a fault, an answer that is not a structure, or one
     * whose "status" does not begin with "200" (the service answers
     * "401 Unauthorized", "407 Download limit reached"... inside a 200).
     */
    void sendXMLRPCRequest(const QString &method, const QVariantList &parameters,
                           std::function<void(const std::optional<QVariantMap> &)> completion);

    // Pure parts, for tests.
    static QVariantMap hashQuery(const QString &language, const QString &movieHash, double fileSize);
    /** The IMDb query; "imdbid" only when the id after its first two characters is a decimal number. */
    static QVariantMap imdbQuery(const QString &language, const QString &imdbID);
    static std::optional<SubtitleChoice> firstChoice(const QVariantMap &answer);
    /** The "srt" entry whose last line ends closest before the movie's end (within 5000 s), else the first entry. */
    static std::optional<SubtitleChoice> closestToEndChoice(const QVariantMap &answer, double movieDurationInSeconds);
    /** Every entry of the answer, `preferred` first, then the others in the answer's order. */
    static QList<SubtitleChoice> choicesWithFirst(const QVariantMap &answer, const std::optional<SubtitleChoice> &preferred);
    /** True when the answer's "status" begins with "200". */
    static bool statusOk(const QVariantMap &answer);
    static QList<SubtitleCandidate> listRecords(const QVariantMap &answer);
    /** The subtitle bytes of a download answer: base64 decoded and, when gzip, inflated (capped). */
    static QByteArray downloadedContent(const QVariantMap &answer);
};
