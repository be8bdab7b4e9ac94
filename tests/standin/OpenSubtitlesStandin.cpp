#include "standin/OpenSubtitlesStandin.h"

#include "standin/StandinServer.h"
#include "subtitles/XmlRpc.h"

#include <QHash>

#include <zlib.h>

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
    };
    return entries;
}

QHash<QString, QByteArray> g_hashSubtitles;
bool g_loginRefused = false;
const QString g_token = QStringLiteral("standin-token-8c1b5d");

QByteArray gzip(const QByteArray &data)
{
    z_stream stream{};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray output(int(deflateBound(&stream, uLong(data.size()))), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(output.data());
    stream.avail_out = uInt(output.size());
    deflate(&stream, Z_FINISH);
    output.resize(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return output;
}

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
        if (g_loginRefused)
            return status("401 Unauthorized");
        QVariantMap reply = status("200 OK");
        reply.insert(QStringLiteral("token"), g_token);
        return reply;
    }
    if (parameters.value(0).toString() != g_token)
        return status("401 Unauthorized");
    if (method == QLatin1String("SearchSubtitles")) {
        const QVariantMap query = parameters.value(1).toList().value(0).toMap();
        QVariantList data;
        const QString hash = query.value(QStringLiteral("moviehash")).toString();
        if (!hash.isEmpty() && g_hashSubtitles.contains(hash)) {
            data.append(record({QStringLiteral("9") + hash, QStringLiteral("srt"), QStringLiteral("00:00:02"),
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
        const QByteArray text = OpenSubtitlesStandin::subtitleText(id);
        if (text.isEmpty())
            return status("407 Download limit reached");
        QVariantMap reply = status("200 OK");
        reply.insert(QStringLiteral("data"),
                     QVariantList{QVariantMap{{QStringLiteral("idsubtitlefile"), id},
                                              {QStringLiteral("data"), QString::fromLatin1(gzip(text).toBase64())}}});
        return reply;
    }
    return {};
}

} // namespace

QByteArray OpenSubtitlesStandin::subtitleText(const QString &fileID)
{
    if (fileID.startsWith(QLatin1Char('9'))) {
        const QString hash = fileID.mid(1);
        return g_hashSubtitles.value(hash);
    }
    for (const QList<Entry> &entries : byImdb()) {
        for (const Entry &entry : entries) {
            if (entry.fileID == fileID)
                return QByteArrayLiteral("1\n00:00:01,000 --> 00:00:02,000\nSubtitle ") + fileID.toLatin1()
                    + QByteArrayLiteral(" of ") + entry.fileName.toUtf8() + QByteArrayLiteral("\n");
        }
    }
    return {};
}

void OpenSubtitlesStandin::install(StandinServer &server)
{
    server.addRoute(QStringLiteral("xmlrpc"), "POST", QStringLiteral("/xml-rpc"), [](const StandinServer::Request &request) {
        StandinServer::Reply reply;
        reply.contentType = "text/xml";
        QString method;
        QVariantList parameters;
        if (!XmlRpc::parseCall(request.body, &method, &parameters)) {
            reply.body = XmlRpc::fault(-32700, QStringLiteral("parse error. not well formed"));
            return reply;
        }
        const QVariant value = answer(method, parameters);
        reply.body = value.isValid() ? XmlRpc::response(value)
                                     : XmlRpc::fault(-32601, QStringLiteral("server error. requested method not found"));
        return reply;
    });
}

void OpenSubtitlesStandin::addHashSubtitle(const QString &movieHash, const QByteArray &content)
{
    g_hashSubtitles.insert(movieHash, content);
}

void OpenSubtitlesStandin::clearHashSubtitles()
{
    g_hashSubtitles.clear();
}

void OpenSubtitlesStandin::setLoginRefused(bool refused)
{
    g_loginRefused = refused;
}
