#include "StandinServer.h"

#include <QDateTime>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

#include <QtHttpServer/QHttpServerRequest>
#include <QtHttpServer/QHttpServerResponder>

#include <zlib.h>

QByteArray StandinServer::Request::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

StandinServer::StandinServer(QObject *parent) : QAbstractHttpServer(parent) {}

StandinServer::~StandinServer() = default;

bool StandinServer::start()
{
    m_port = listen(QHostAddress::LocalHost, 0);
    return m_port != 0;
}

QString StandinServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

void StandinServer::addRoute(const QString &name, const QByteArray &method, const QString &pathPattern, Handler handler,
                             ErrorReply errorReply)
{
    addRoute(name, method, pathPattern, std::move(handler), Service{std::move(errorReply), {}});
}

void StandinServer::addRoute(const QString &name, const QByteArray &method, const QString &pathPattern, Handler handler,
                             const Service &service)
{
    m_routes.append(Route{name, method, QRegularExpression(QRegularExpression::anchoredPattern(pathPattern)),
                          std::move(handler), service});
}

StandinServer::Reply StandinServer::json(const QJsonObject &object, int status)
{
    return plain(status, QByteArrayLiteral("application/json;charset=utf-8"), QJsonDocument(object).toJson(QJsonDocument::Compact));
}

StandinServer::Reply StandinServer::plain(int status, const QByteArray &contentType, const QByteArray &body)
{
    Reply reply;
    reply.status = status;
    reply.contentType = contentType;
    reply.body = body;
    return reply;
}

QByteArray StandinServer::gzip(const QByteArray &data)
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

void StandinServer::exportEnvironment(const QStringList &lines)
{
    for (const QString &line : lines)
        qputenv(line.section(QLatin1Char('='), 0, 0).toUtf8().constData(), line.section(QLatin1Char('='), 1).toUtf8());
}

void StandinServer::setFailure(const QString &route, Failure failure, int times)
{
    m_failures.insert(route, FailureSetting{failure, times});
}

void StandinServer::clearFailures()
{
    m_failures.clear();
    m_delays.clear();
}

void StandinServer::setDelay(const QString &route, int milliseconds)
{
    m_delays.insert(route, milliseconds);
}

QList<StandinServer::Request> StandinServer::requests(const QString &route) const
{
    QList<Request> result;
    for (const Request &request : m_requests) {
        if (request.route == route)
            result.append(request);
    }
    return result;
}

StandinServer::Failure StandinServer::takeFailure(const QString &route)
{
    auto it = m_failures.find(route);
    if (it == m_failures.end() || it->failure == Failure::None || it->remaining == 0)
        return Failure::None;
    if (it->remaining > 0)
        --it->remaining;
    return it->failure;
}

static QByteArray methodName(const QHttpServerRequest &request)
{
    switch (request.method()) {
    case QHttpServerRequest::Method::Get: return "GET";
    case QHttpServerRequest::Method::Post: return "POST";
    case QHttpServerRequest::Method::Put: return "PUT";
    case QHttpServerRequest::Method::Delete: return "DELETE";
    case QHttpServerRequest::Method::Head: return "HEAD";
    default: return "OTHER";
    }
}

static void writeReply(QHttpServerResponder &responder, const StandinServer::Reply &reply)
{
    responder.writeStatusLine(QHttpServerResponder::StatusCode(reply.status));
    responder.writeHeader(QByteArrayLiteral("Content-Type"), reply.contentType);
    responder.writeHeader(QByteArrayLiteral("Content-Length"), QByteArray::number(reply.body.size()));
    for (const auto &[name, value] : reply.headers)
        responder.writeHeader(name, value);
    responder.writeBody(reply.body);
}

void StandinServer::send(const QHttpServerRequest &request, QTcpSocket *socket, const Reply &reply)
{
    QHttpServerResponder responder = makeResponder(request, socket);
    writeReply(responder, reply);
}

bool StandinServer::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket)
{
    const QByteArray method = methodName(request);
    const QString path = request.url().path();
    for (const Route &route : std::as_const(m_routes)) {
        if (route.method != method || !route.path.match(path).hasMatch())
            continue;
        Request recorded{route.name, method, path, request.query(), request.headers(), request.body(),
                         QDateTime::currentMSecsSinceEpoch()};
        m_requests.append(recorded);

        const auto errorReply = [&route](int status) {
            if (route.service.errorReply)
                return route.service.errorReply(status);
            return plain(status, Reply().contentType, QByteArrayLiteral("{\"error\":\"stand-in failure\"}"));
        };

        Reply reply;
        switch (takeFailure(route.name)) {
        case Failure::None:
            if (route.service.keyAccepted && !route.service.keyAccepted(recorded))
                reply = errorReply(401);
            else
                reply = route.handler(recorded);
            break;
        case Failure::Unauthorized: reply = errorReply(401); break;
        case Failure::NotFound: reply = errorReply(404); break;
        case Failure::TooManyRequests:
            reply = errorReply(429);
            reply.headers.append({QByteArrayLiteral("Retry-After"), QByteArrayLiteral("1")});
            break;
        case Failure::ServerError: reply = errorReply(500); break;
        case Failure::InvalidJson: reply.body = QByteArrayLiteral("{\"results\": [ this is not json"); break;
        case Failure::WrongContentType:
            reply.contentType = QByteArrayLiteral("text/html; charset=utf-8");
            reply.body = QByteArrayLiteral("<html><body>Service unavailable</body></html>");
            break;
        case Failure::NoAnswer:
            m_heldSockets.append(socket);
            return true;
        case Failure::CloseConnection:
            socket->abort();
            return true;
        }

        const int delay = m_delays.value(route.name, 0) + reply.delayMs;
        if (delay > 0) {
            // The responder must be made now, while the request is current;
            // the socket may be gone by the time the timer fires.
            QPointer<QTcpSocket> guard(socket);
            auto responder = std::make_shared<QHttpServerResponder>(makeResponder(request, socket));
            QTimer::singleShot(delay, this, [guard, responder, reply] {
                if (guard)
                    writeReply(*responder, reply);
            });
            return true;
        }
        send(request, socket, reply);
        return true;
    }
    return false;
}

void StandinServer::missingHandler(const QHttpServerRequest &request, QTcpSocket *socket)
{
    send(request, socket, plain(404, QByteArrayLiteral("text/plain"), QByteArrayLiteral("no such route in the stand-in")));
}
