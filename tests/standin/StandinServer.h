#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QPair>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QUrlQuery>

#include <QtHttpServer/QAbstractHttpServer>

#include <functional>

class QHttpServerRequest;
class QJsonObject;
class QTcpSocket;

/**
 * A small web server on 127.0.0.1 (free port) that the service stand-ins
 * register their routes on. It records every request it receives and can
 * be told, per route, to fail the way real servers fail.
 */
class StandinServer : public QAbstractHttpServer
{
    Q_OBJECT
public:
    struct Reply
    {
        int status = 200;
        QByteArray contentType = QByteArrayLiteral("application/json;charset=utf-8");
        QByteArray body;
        QList<QPair<QByteArray, QByteArray>> headers;
        /** Hold this answer back for so many milliseconds (on top of setDelay). */
        int delayMs = 0;
    };

    struct Request
    {
        QString route;
        QByteArray method;
        QString path;
        QUrlQuery query;
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;
        /** When it arrived, in milliseconds since the epoch. */
        qint64 receivedMs = 0;
        QByteArray header(const QByteArray &name) const;
    };

    enum class Failure {
        None,
        Unauthorized,       // 401 with the service's own error body
        NotFound,           // 404 with the service's own error body
        TooManyRequests,    // 429 with Retry-After
        ServerError,        // 500
        InvalidJson,        // 200 with a body that does not parse
        WrongContentType,   // 200 with text/html
        NoAnswer,           // keeps the connection open and never answers
        CloseConnection,    // drops the connection without an answer
    };

    using Handler = std::function<Reply(const Request &request)>;
    /** Builds the service's error answer for a status (401, 404, 429...). */
    using ErrorReply = std::function<Reply(int status)>;
    /** What the routes of one service share: its error answers and the key check (failing it answers 401). */
    struct Service
    {
        ErrorReply errorReply;
        std::function<bool(const Request &request)> keyAccepted;
    };

    explicit StandinServer(QObject *parent = nullptr);
    ~StandinServer() override;

    /** Starts listening on 127.0.0.1; returns false when no port could be had. */
    bool start();
    quint16 port() const { return m_port; }
    /** "http://127.0.0.1:<port>" */
    QString baseUrl() const;

    /** Routes are tried in the order added; `path` must match the whole path. */
    void addRoute(const QString &name, const QByteArray &method, const QString &pathPattern, Handler handler,
                  ErrorReply errorReply = {});
    void addRoute(const QString &name, const QByteArray &method, const QString &pathPattern, Handler handler,
                  const Service &service);

    /** Makes the route fail `times` times (negative: until told otherwise). */
    void setFailure(const QString &route, Failure failure, int times = -1);
    void clearFailures();
    /** Answers of the route are sent only after this many milliseconds. */
    void setDelay(const QString &route, int milliseconds);

    const QList<Request> &requests() const { return m_requests; }
    QList<Request> requests(const QString &route) const;
    void clearRequests() { m_requests.clear(); }

    /** A compact JSON answer. */
    static Reply json(const QJsonObject &object, int status = 200);
    static Reply plain(int status, const QByteArray &contentType, const QByteArray &body);
    /** gzip data, as services send compressed files. */
    static QByteArray gzip(const QByteArray &data);
    /** Sets "NAME=value" lines as variables of this process. */
    static void exportEnvironment(const QStringList &lines);

protected:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket) override;

private:
    struct Route
    {
        QString name;
        QByteArray method;
        QRegularExpression path;
        Handler handler;
        Service service;
    };
    struct FailureSetting
    {
        Failure failure = Failure::None;
        int remaining = -1;
    };

    Failure takeFailure(const QString &route);
    static void send(const QHttpServerRequest &request, QTcpSocket *socket, const Reply &reply);

    QList<Route> m_routes;
    QHash<QString, FailureSetting> m_failures;
    QHash<QString, int> m_delays;
    QList<Request> m_requests;
    QList<QTcpSocket *> m_heldSockets;
    quint16 m_port = 0;
};
