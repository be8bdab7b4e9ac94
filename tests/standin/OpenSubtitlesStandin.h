#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class StandinServer;

/**
 * The OpenSubtitles XML-RPC service (LogIn, SearchSubtitles,
 * DownloadSubtitles) on a StandinServer at /xml-rpc. Subtitles are known for
 * the IMDb ids 1375666 (Inception), 468569 (The Dark Knight) and 113277
 * (Heat); tests can add subtitles found by movie hash. Downloads are base64
 * gzip data, as the real service sends them. Route name: "xmlrpc".
 *
 * The REST service (api.opensubtitles.com/api/v1) is served under /api/v1:
 * POST /login, GET /subtitles (a non-canonical query is answered with a 301
 * to the canonical one), POST /download (a link, then GET of the file).
 * Requests need the "Api-Key" restApiKey(). Route names: "rest-login",
 * "rest-search", "rest-download", "rest-file". As the real service: a
 * moviehash that is not 16 hexadecimal digits is answered 400; the log-in
 * of "moviefan"/"s3cret" gives a base_url naming another host
 * ("localhost:<port>"); each download answer carries "remaining" and
 * "reset_time_utc", and a spent allowance a 406 with the same members.
 *
 * IMDb number CheckedImdb offers, in this order, a file that runs three
 * hours (4002), the head of an MP4 file posing as a subtitle (4004) and a
 * good Windows-1252 file (4003). Every other subtitle is a small UTF-8
 * SubRip file of three cues, the first saying "Subtitle <file id>".
 */
class OpenSubtitlesStandin
{
public:
    static void install(StandinServer &server);
    /** "NAME=value" lines pointing Kinovela at both services on the server. */
    static QStringList environment(const StandinServer &server);
    /** A subtitle found by this movie hash text; `content` is what the download gives. */
    static void addHashSubtitle(const QString &movieHash, const QByteArray &content);
    static void clearHashSubtitles();
    /** Makes LogIn answer "401 Unauthorized" (with a token, as the service may) until told otherwise. */
    static void setLoginRefused(bool refused);
    /** Every download gives the service's one-line advertisement, as the XML-RPC service does for non-members. */
    static void setAdvertisement(bool advertisement);
    static QByteArray advertisement();
    static constexpr int CheckedImdb = 4000001;
    /** The subtitle text served for a file id. */
    static QByteArray subtitleText(const QString &fileID);

    static QByteArray restApiKey() { return QByteArrayLiteral("standin-rest-key-5f2a"); }
    /** Downloads left before the service answers 406. */
    static void setDownloadQuota(int remaining);
};
