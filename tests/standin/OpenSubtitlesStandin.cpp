#include "standin/OpenSubtitlesStandin.h"

#include "standin/StandinServer.h"
#include "subtitles/XmlRpc.h"

#include <QHash>
#include <QRegularExpression>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace {

struct Entry
{
    QString fileID;
    QString format;
    QString lastTime;
    QString fileName;
    QString uploader;
};

const QHash<int, QList<Entry>> &byImdb()
{
    static const QHash<int, QList<Entry>> entries = {
        {1375666,
         {{QStringLiteral("1001"), QStringLiteral("sub"), QStringLiteral("02:20:00"), QStringLiteral("Inception.sub"),
           QStringLiteral("alice")},
          {QStringLiteral("1002"), QStringLiteral("srt"), QStringLiteral("02:21:30"),
           QStringLiteral("Inception.2010.720p.srt"), QStringLiteral("bob")},
          {QStringLiteral("1003"), QStringLiteral("srt"), QStringLiteral("02:24:10"),
           QStringLiteral("Inception.2010.1080p.BluRay.srt"), QStringLiteral("carol")}}},
        {468569,
         {{QStringLiteral("2001"), QStringLiteral("srt"), QStringLiteral("02:30:00"),
           QStringLiteral("The.Dark.Knight.2008.srt"), QStringLiteral("dave")}}},
        {113277,
         {{QStringLiteral("3001"), QStringLiteral("srt"), QStringLiteral("02:48:00"), QStringLiteral("Heat.1995.srt"),
           QStringLiteral("erin")}}},
        // Files that must be turned away before the good one (OpenSubtitlesStandin::CheckedImdb).
        {4000001,
         {{QStringLiteral("4002"), QStringLiteral("srt"), QStringLiteral("03:00:00"), QStringLiteral("Other.Cut.srt"),
           QStringLiteral("frank")},
          {QStringLiteral("4004"), QStringLiteral("srt"), QStringLiteral("00:00:04"), QStringLiteral("Posing.srt"),
           QStringLiteral("gina")},
          {QStringLiteral("4003"), QStringLiteral("srt"), QStringLiteral("00:00:04"), QStringLiteral("Latin.srt"),
           QStringLiteral("hugo")}}},
    };
    return entries;
}

QHash<QString, QByteArray> g_hashSubtitles;
QStringList g_hashOrder;

// File ids of subtitles found by hash: 900000 and up, in the order they were added.
QString hashFileID(const QString &hash)
{
    return QString::number(900000 + g_hashOrder.indexOf(hash));
}
bool g_loginRefused = false;
bool g_advertisement = false;
int g_quota = 100;
const QString g_token = QStringLiteral("standin-token-8c1b5d");

QVariantMap record(const Entry &entry)
{
    return {{QStringLiteral("IDSubtitleFile"), entry.fileID}, {QStringLiteral("SubFormat"), entry.format},
            {QStringLiteral("SubLastTS"), entry.lastTime},    {QStringLiteral("SubFileName"), entry.fileName},
            {QStringLiteral("UserNickName"), entry.uploader}, {QStringLiteral("SubLanguageID"), QStringLiteral("eng")},
            {QStringLiteral("MovieReleaseName"), entry.fileName}};
}

QVariantMap status(const char *text)
{
    return {{QStringLiteral("status"), QString::fromLatin1(text)}, {QStringLiteral("seconds"), 0.004}};
}

QVariant answer(const QString &method, const QVariantList &parameters)
{
    if (method == QLatin1String("LogIn")) {
        if (parameters.size() != 4)
            return status("400 Bad Request");
        if (parameters.at(3).toString() != QLatin1String("Titlewright v1.0"))
            return status("414 Unknown User Agent");
        // The service names a refused log-in in its status, and may still hand out a token.
        QVariantMap reply = status(g_loginRefused ? "401 Unauthorized" : "200 OK");
        reply.insert(QStringLiteral("token"), g_token);
        return reply;
    }
    if (parameters.value(0).toString() != g_token)
        return status("401 Unauthorized");
    if (method == QLatin1String("SearchSubtitles")) {
        const QVariantMap query = parameters.value(1).toList().value(0).toMap();
        QVariantList data;
        const QString hash = query.value(QStringLiteral("moviehash")).toString();
        if (!hash.isEmpty() && g_hashSubtitles.contains(hash.rightJustified(16, QLatin1Char('0')))) {
            data.append(record({hashFileID(hash.rightJustified(16, QLatin1Char('0'))), QStringLiteral("srt"), QStringLiteral("00:00:02"),
                                QStringLiteral("ByHash.srt"), QStringLiteral("hasher")}));
        } else if (query.contains(QStringLiteral("imdbid"))) {
            for (const Entry &entry : byImdb().value(query.value(QStringLiteral("imdbid")).toInt()))
                data.append(record(entry));
        }
        QVariantMap reply = status("200 OK");
        // The real service answers "data": false when nothing was found.
        reply.insert(QStringLiteral("data"), data.isEmpty() ? QVariant(false) : QVariant(data));
        return reply;
    }
    if (method == QLatin1String("DownloadSubtitles")) {
        const QString id = QString::number(parameters.value(1).toList().value(0).toLongLong());
        const QByteArray text = g_advertisement ? OpenSubtitlesStandin::advertisement() : OpenSubtitlesStandin::subtitleText(id);
        if (text.isEmpty())
            return status("407 Download limit reached");
        QVariantMap reply = status("200 OK");
        reply.insert(QStringLiteral("data"),
                     QVariantList{QVariantMap{{QStringLiteral("idsubtitlefile"), id},
                                              {QStringLiteral("data"), QString::fromLatin1(StandinServer::gzip(text).toBase64())}}});
        return reply;
    }
    return {};
}

using Reply = StandinServer::Reply;

Reply restError(int status)
{
    const auto answer = [status](const char *message, bool withStatus) {
        QJsonObject body{{QStringLiteral("message"), QString::fromLatin1(message)}};
        if (withStatus)
            body.insert(QStringLiteral("status"), status);
        return StandinServer::json(body, status);
    };
    if (status == 401)
        return answer("You cannot consume this service", true);
    if (status == 429)
        return answer("Throttle limit reached. Retry later.", false);
    return answer("Internal server error", true);
}

const StandinServer::Service rest{restError, [](const StandinServer::Request &request) {
    return request.header("Api-Key") == OpenSubtitlesStandin::restApiKey();
}};

QJsonObject restSubtitle(const QString &fileID, const QString &release, const QString &uploader, int imdb, bool hashMatch)
{
    return {{QStringLiteral("id"), fileID},
            {QStringLiteral("type"), QStringLiteral("subtitle")},
            {QStringLiteral("attributes"),
             QJsonObject{{QStringLiteral("subtitle_id"), fileID},
                         {QStringLiteral("language"), QStringLiteral("en")},
                         {QStringLiteral("download_count"), 1234},
                         {QStringLiteral("release"), release},
                         {QStringLiteral("moviehash_match"), hashMatch},
                         {QStringLiteral("uploader"), QJsonObject{{QStringLiteral("uploader_id"), 7},
                                                                  {QStringLiteral("name"), uploader},
                                                                  {QStringLiteral("rank"), QStringLiteral("trusted")}}},
                         {QStringLiteral("feature_details"), QJsonObject{{QStringLiteral("imdb_id"), imdb},
                                                                         {QStringLiteral("feature_type"), QStringLiteral("Movie")}}},
                         {QStringLiteral("files"), QJsonArray{QJsonObject{{QStringLiteral("file_id"), fileID.toInt()},
                                                                          {QStringLiteral("cd_number"), 1},
                                                                          {QStringLiteral("file_name"), QString(release + QStringLiteral(".srt"))}}}}}}};
}

Reply restSearch(const StandinServer::Request &request)
{
    // The service redirects any query that is not sorted and in lower case.
    QList<std::pair<QString, QString>> items = request.query.queryItems(QUrl::FullyDecoded);
    QList<std::pair<QString, QString>> canonical;
    for (const auto &[name, value] : items)
        canonical.append({name.toLower(), value.toLower()});
    std::sort(canonical.begin(), canonical.end());
    if (canonical != items) {
        QUrlQuery query;
        query.setQueryItems(canonical);
        Reply reply = StandinServer::plain(301, "text/html", {});
        reply.headers.append({QByteArrayLiteral("Location"),
                              (QStringLiteral("/api/v1/subtitles?") + query.toString(QUrl::FullyEncoded)).toUtf8()});
        return reply;
    }
    QJsonArray data;
    const QString hash = request.query.queryItemValue(QStringLiteral("moviehash"));
    // The service wants exactly 16 hexadecimal digits, and answers 400 with an empty body otherwise.
    static const QRegularExpression sixteenDigits(QStringLiteral("^[0-9a-f]{16}$"));
    if (request.query.hasQueryItem(QStringLiteral("moviehash")) && !sixteenDigits.match(hash).hasMatch())
        return StandinServer::plain(400, "application/json", {});
    if (!hash.isEmpty() && g_hashSubtitles.contains(hash))
        data.append(restSubtitle(hashFileID(hash), QStringLiteral("ByHash"), QStringLiteral("hasher"), 0, true));
    const int imdb = request.query.queryItemValue(QStringLiteral("imdb_id")).toInt();
    for (const Entry &entry : byImdb().value(imdb)) {
        if (entry.format == QLatin1String("srt"))
            data.append(restSubtitle(entry.fileID, entry.fileName.section(QLatin1Char('.'), 0, -2), entry.uploader, imdb, false));
    }
    return StandinServer::json({{QStringLiteral("total_pages"), 1},
                                {QStringLiteral("total_count"), data.size()},
                                {QStringLiteral("per_page"), 60},
                                {QStringLiteral("page"), 1},
                                {QStringLiteral("data"), data}});
}

QString g_baseUrl;
QString g_memberBaseUrl;

Reply restDownload(const StandinServer::Request &request)
{
    const QString id = QString::number(QJsonDocument::fromJson(request.body).object().value(QStringLiteral("file_id")).toInteger());
    if (g_quota <= 0) {
        --g_quota; // a refused download still counts
        return StandinServer::json({{QStringLiteral("requests"), 101},
                                    {QStringLiteral("remaining"), 0},
                                    {QStringLiteral("message"), QStringLiteral("You have downloaded your allowed 100 subtitles for 24h.Your quota will be renewed in 07 hours and 31 minutes (2099-11-24 14:00:00 UTC) ")},
                                    {QStringLiteral("reset_time"), QStringLiteral("07 hours and 31 minutes")},
                                    {QStringLiteral("reset_time_utc"), QStringLiteral("2099-11-24T14:00:00.000Z")}},
                                   406);
    }
    --g_quota;
    return StandinServer::json({{QStringLiteral("link"), QString(g_baseUrl + QStringLiteral("/download/files/") + id + QStringLiteral(".srt"))},
                                {QStringLiteral("file_name"), QString(id + QStringLiteral(".srt"))},
                                {QStringLiteral("requests"), 100 - g_quota},
                                {QStringLiteral("remaining"), g_quota},
                                {QStringLiteral("message"), QStringLiteral("Your quota will be renewed in 07 hours and 31 minutes")},
                                {QStringLiteral("reset_time"), QStringLiteral("07 hours and 31 minutes")},
                                {QStringLiteral("reset_time_utc"), QStringLiteral("2099-11-24T14:00:00.000Z")}});
}

Reply restFile(const StandinServer::Request &request)
{
    const QString id = request.path.section(QLatin1Char('/'), -1).section(QLatin1Char('.'), 0, 0);
    const QByteArray text = g_advertisement ? OpenSubtitlesStandin::advertisement() : OpenSubtitlesStandin::subtitleText(id);
    return StandinServer::plain(text.isEmpty() ? 404 : 200, "application/x-subrip", text);
}

Reply restLogin(const StandinServer::Request &request)
{
    const QJsonObject body = QJsonDocument::fromJson(request.body).object();
    if (body.value(QStringLiteral("username")).toString() != QLatin1String("moviefan")
        || body.value(QStringLiteral("password")).toString() != QLatin1String("s3cret"))
        return StandinServer::json({{QStringLiteral("message"), QStringLiteral("Error, invalid username/password")}, {QStringLiteral("status"), 401}}, 401);
    return StandinServer::json({{QStringLiteral("user"), QJsonObject{{QStringLiteral("allowed_downloads"), 1000}, {QStringLiteral("level"), QStringLiteral("VIP Member")}}},
                                {QStringLiteral("base_url"), g_memberBaseUrl},
                                {QStringLiteral("token"), QStringLiteral("rest-token-b7e1")},
                                {QStringLiteral("status"), 200}});
}

} // namespace

QByteArray OpenSubtitlesStandin::advertisement()
{
    return QByteArrayLiteral("1\n00:00:01,000 --> 00:00:05,000\nBecome OpenSubtitles.org VIP member to get subtitles \xe2\x86\x92 osdb.link/vip\n");
}

QByteArray OpenSubtitlesStandin::subtitleText(const QString &fileID)
{
    if (fileID == QLatin1String("4002")) // 3 hours long: made for another cut
        return QByteArrayLiteral("1\n00:00:01,000 --> 00:00:02,000\nOne\n\n2\n00:00:03,000 --> 00:00:04,000\nTwo\n\n"
                                 "3\n02:59:58,000 --> 03:00:00,000\nThree\n");
    if (fileID == QLatin1String("4003")) // Windows-1252
        return QByteArrayLiteral("1\n00:00:01,000 --> 00:00:02,000\nCaf\xe9 cr\xe8me\n\n2\n00:00:02,500 --> 00:00:03,000\n"
                                 "\x93Na\xefve\x94 \x96 d\xe9j\xe0 vu\n\n3\n00:00:03,500 --> 00:00:04,000\nGar\xe7on, \xe0 bient\xf4t\n");
    if (fileID == QLatin1String("4004")) // the head of an MP4 file
        return QByteArray::fromHex("0000001c667479706973736f6d0000020069736f6d69736f326d703431000000086672656500")
            + QByteArray(4096, '\x01');

    for (const QString &hash : std::as_const(g_hashOrder)) {
        if (hashFileID(hash) == fileID)
            return g_hashSubtitles.value(hash);
    }
    for (const QList<Entry> &entries : byImdb()) {
        for (const Entry &entry : entries) {
            if (entry.fileID == fileID)
                return QByteArrayLiteral("1\n00:00:01,000 --> 00:00:02,000\nSubtitle ") + fileID.toLatin1()
                    + QByteArrayLiteral(" of ") + entry.fileName.toUtf8()
                    + QByteArrayLiteral("\n\n2\n00:00:02,000 --> 00:00:03,000\nSecond line\n\n"
                                        "3\n00:00:03,000 --> 00:00:04,000\nThird line\n");
        }
    }
    return {};
}

QStringList OpenSubtitlesStandin::environment(const StandinServer &server)
{
    return {QStringLiteral("KINOVELA_OPENSUBTITLES_URL=") + server.baseUrl() + QStringLiteral("/xml-rpc"),
            QStringLiteral("KINOVELA_OPENSUBTITLES_REST_URL=") + server.baseUrl() + QStringLiteral("/api/v1"),
            // Tests that need no key use the XML-RPC service; REST tests choose "rest" and set restApiKey().
            QStringLiteral("KINOVELA_OPENSUBTITLES_PROVIDER=legacy")};
}

void OpenSubtitlesStandin::install(StandinServer &server)
{
    g_baseUrl = server.baseUrl();
    // Members are served from another host; "localhost" reaches the same server under another name.
    g_memberBaseUrl = QStringLiteral("localhost:") + QString::number(server.port());
    server.addRoute(QStringLiteral("rest-login"), "POST", QStringLiteral("/api/v1/login"), restLogin, rest);
    server.addRoute(QStringLiteral("rest-search"), "GET", QStringLiteral("/api/v1/subtitles"), restSearch, rest);
    server.addRoute(QStringLiteral("rest-download"), "POST", QStringLiteral("/api/v1/download"), restDownload, rest);
    server.addRoute(QStringLiteral("rest-formats"), "GET", QStringLiteral("/api/v1/infos/formats"),
                    [](const StandinServer::Request &) {
                        return StandinServer::json({{QStringLiteral("data"),
                                                     QJsonObject{{QStringLiteral("output_formats"),
                                                                  QJsonArray{QStringLiteral("srt"), QStringLiteral("vtt")}}}}});
                    },
                    rest);
    server.addRoute(QStringLiteral("rest-file"), "GET", QStringLiteral("/download/files/[0-9A-Za-z]+\\.srt"), restFile, restError);
    server.addRoute(QStringLiteral("xmlrpc"), "POST", QStringLiteral("/xml-rpc"), [](const StandinServer::Request &request) {
        QString method;
        QVariantList parameters;
        if (!XmlRpc::parseCall(request.body, &method, &parameters))
            return StandinServer::plain(200, "text/xml", XmlRpc::fault(-32700, QStringLiteral("parse error. not well formed")));
        const QVariant value = answer(method, parameters);
        return StandinServer::plain(200, "text/xml",
                                    value.isValid() ? XmlRpc::response(value)
                                                    : XmlRpc::fault(-32601, QStringLiteral("server error. requested method not found")));
    });
}

void OpenSubtitlesStandin::setDownloadQuota(int remaining)
{
    g_quota = remaining;
}

void OpenSubtitlesStandin::addHashSubtitle(const QString &movieHash, const QByteArray &content)
{
    const QString hash = movieHash.rightJustified(16, QLatin1Char('0'));
    g_hashSubtitles.insert(hash, content);
    if (!g_hashOrder.contains(hash))
        g_hashOrder.append(hash);
}

void OpenSubtitlesStandin::setAdvertisement(bool advertisement)
{
    g_advertisement = advertisement;
}

void OpenSubtitlesStandin::clearHashSubtitles()
{
    g_hashSubtitles.clear();
    g_hashOrder.clear();
}

void OpenSubtitlesStandin::setLoginRefused(bool refused)
{
    g_loginRefused = refused;
}
