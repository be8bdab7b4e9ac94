#pragma once

#include "base/Json.h"
#include "base/Outcome.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
class QNetworkReply;

/** The largest answers read, by kind; a larger one is cut off while it arrives and reported as a failure. */
namespace AnswerLimit {
inline constexpr qint64 Json = 16 * 1000 * 1000;
inline constexpr qint64 Image = 20 * 1000 * 1000;
inline constexpr qint64 Xml = 8 * 1000 * 1000;
inline constexpr qint64 Subtitle = 10 * 1000 * 1000;
} // namespace AnswerLimit

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
    /** getJson: take the body as JSON whatever content type the server names. */
    bool anyContentType = false;
    /** The largest body read (see AnswerLimit). */
    qint64 maxBodyBytes = AnswerLimit::Json;
};

/**
 * The answer to one web request. `outcome` is a success when a 2xx answer
 * arrived; otherwise its kind says why not: Refused (a non-2xx status),
 * TimedOut, or Network (no answer at all).
 */
struct HttpResponse
{
    int status = 0;
    QByteArray body;
    QByteArray contentType;
    QList<QPair<QByteArray, QByteArray>> headers;
    Status outcome;

    bool ok() const { return outcome.ok(); }
    QString errorText() const { return outcome.errorText(); }
    QByteArray header(const QByteArray &name) const;
};

/**
 * The one HTTP stack of the application. Requests run in the background;
 * each completion is called exactly once, on the thread that owns the
 * client (the main thread for `shared()`), unless `context` was destroyed
 * meanwhile. A non-2xx status, a network failure, the time-out and an
 * answer over the request's size limit all end as a failed outcome.
 *
 * A request that carries a credential (an "Authorization" or "Api-Key"
 * header, an "api_key" parameter) follows redirects only within its own
 * origin, so neither the credential nor a body is sent to another host.
 */
class HttpClient : public QObject
{
    Q_OBJECT
public:
    using Completion = std::function<void(const HttpResponse &)>;
    using JsonCompletion = std::function<void(const Outcome<Json> &json)>;

    /** The client of the calling thread (one per thread, created on first use). */
    static HttpClient &forCurrentThread();

    void send(const HttpRequest &request, QObject *context, Completion completion);

    /**
     * A request that expects JSON: checks 2xx, a JSON content type (unless
     * the request takes any) and that the body parses. A failure says why in
     * its text, with the log lines that explain it in its details.
     */
    void getJson(const HttpRequest &request, QObject *context, JsonCompletion completion);

    /** The JSON of an answer, checked as getJson checks it (status, content type unless @p anyContentType, syntax). */
    static Outcome<Json> jsonOf(const HttpResponse &response, bool anyContentType);

    /** Number of requests started by this client (tests count requests with it). */
    int requestCount() const { return m_requestCount; }

private:
    explicit HttpClient(QObject *parent = nullptr);
    void start(const HttpRequest &request, QPointer<QObject> context, bool hasContext, Completion completion, bool mayRetry);

    QNetworkAccessManager *m_manager = nullptr;
    int m_requestCount = 0;
};
