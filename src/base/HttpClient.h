#pragma once

#include "base/Json.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
class QNetworkReply;

/** One web request. */
struct HttpRequest
{
    QUrl url;
    QByteArray method = QByteArrayLiteral("GET");
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    /** Total time allowed, in milliseconds; 0 takes ServiceConfig::httpTimeoutMs(). */
    int timeoutMs = 0;
    /** When the answer is 429, wait as its Retry-After header says (capped) and try once more. */
    int maxRetryAfterSeconds = 0;
};

/** The outcome of one web request. `error` is empty when a 2xx answer arrived. */
struct HttpResponse
{
    int status = 0;
    QByteArray body;
    QByteArray contentType;
    QList<QPair<QByteArray, QByteArray>> headers;
    QString error;
    bool timedOut = false;

    bool ok() const { return error.isEmpty(); }
    QByteArray header(const QByteArray &name) const;
};

/**
 * The one HTTP stack of the application. Requests run in the background;
 * each completion is called exactly once, on the thread that owns the
 * client (the main thread for `shared()`), unless `context` was destroyed
 * meanwhile. A non-2xx status, a network failure and the time-out all end
 * as a response with `error` set.
 */
class HttpClient : public QObject
{
    Q_OBJECT
public:
    using Completion = std::function<void(const HttpResponse &)>;
    using JsonCompletion = std::function<void(const Json &json, const QString &error)>;

    /** The client of the calling thread (one per thread, created on first use). */
    static HttpClient &forCurrentThread();

    void send(const HttpRequest &request, QObject *context, Completion completion);

    /**
     * GET that expects JSON: checks 2xx, a JSON content type, and that the
     * body parses. On failure `json` is null and `error` describes why.
     */
    void getJson(const HttpRequest &request, QObject *context, JsonCompletion completion);

    /** Number of requests started by this client (tests count requests with it). */
    int requestCount() const { return m_requestCount; }

private:
    explicit HttpClient(QObject *parent = nullptr);
    void start(const HttpRequest &request, QPointer<QObject> context, bool hasContext, Completion completion, bool mayRetry);

    QNetworkAccessManager *m_manager = nullptr;
    int m_requestCount = 0;
};
