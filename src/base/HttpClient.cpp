#include "base/HttpClient.h"

#include "base/ServiceConfig.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThreadStorage>
#include <QUrlQuery>
#include <QTimer>

#include <memory>

QByteArray HttpResponse::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

HttpClient::HttpClient(QObject *parent) : QObject(parent), m_manager(new QNetworkAccessManager(this))
{
    m_manager->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
}

HttpClient &HttpClient::forCurrentThread()
{
    static QThreadStorage<HttpClient *> clients;
    if (!clients.hasLocalData())
        clients.setLocalData(new HttpClient());
    return *clients.localData();
}

void HttpClient::send(const HttpRequest &request, QObject *context, Completion completion)
{
    start(request, QPointer<QObject>(context), context != nullptr, std::move(completion), request.maxRetryAfterSeconds > 0);
}

namespace {

/** What happened to a reply besides what it says itself. */
struct ReplyState
{
    bool timedOut = false;
    bool tooLarge = false;
};

Status outcomeOf(int status, const ReplyState &state, qint64 limit, QNetworkReply *reply)
{
    if (state.tooLarge) {
        const QString text = QStringLiteral("The answer was larger than %1 MB and was not read.").arg(limit / 1000000);
        return failure(ErrorKind::Invalid, text, {QStringLiteral("URLError occurred: ") + text});
    }
    if (state.timedOut) {
        const QString text = QStringLiteral("The request timed out.");
        return failure(ErrorKind::TimedOut, text, {QStringLiteral("URLError occurred: ") + text});
    }
    if (status != 0 && (status < 200 || status > 299)) {
        const QString text = QStringLiteral("Response status code was unacceptable: %1.").arg(status);
        return failure(ErrorKind::Refused, text,
                       {QStringLiteral("Response validation failed: ") + text, QStringLiteral("Failure Reason: ") + text,
                        QStringLiteral("Response status code was unacceptable: ") + QString::number(status),
                        QStringLiteral("Underlying error: None")});
    }
    if (reply->error() != QNetworkReply::NoError) {
        const QString text = reply->errorString();
        return failure(ErrorKind::Network, text, {QStringLiteral("URLError occurred: ") + text});
    }
    return {};
}

bool isJsonType(const QByteArray &contentType)
{
    const QByteArray type = contentType.toLower();
    return type.startsWith("application/json") || type.contains("+json") || type.startsWith("text/javascript");
}

} // namespace

Outcome<Json> HttpClient::jsonOf(const HttpResponse &response, bool anyContentType)
{
    if (!response.ok())
        return response.outcome.error();
    if (!anyContentType && !isJsonType(response.contentType)) {
        const QString received = QString::fromLatin1(response.contentType);
        const QString text = QStringLiteral("Response content type \"%1\" was unacceptable.").arg(received);
        return failure(ErrorKind::Invalid, text,
                       {QStringLiteral("Response validation failed: ") + text, QStringLiteral("Failure Reason: ") + text,
                        QStringLiteral("Response content type: ") + received
                            + QStringLiteral(" was unacceptable: application/json"),
                        QStringLiteral("Underlying error: None")});
    }
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(response.body, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        const QString text = QStringLiteral("JSON could not be serialized because of error: ") + parseError.errorString();
        return failure(ErrorKind::Invalid, text,
                       {QStringLiteral("Response serialization failed: ") + text, QStringLiteral("Failure Reason: ") + text,
                        QStringLiteral("Underlying error: None")});
    }
    return Json(document);
}

namespace {

bool carriesCredential(const HttpRequest &request)
{
    for (const auto &[name, value] : request.headers) {
        if (name.compare("Authorization", Qt::CaseInsensitive) == 0 || name.compare("Api-Key", Qt::CaseInsensitive) == 0)
            return true;
    }
    return QUrlQuery(request.url).hasQueryItem(QStringLiteral("api_key"));
}

} // namespace

static int retryAfterSeconds(const HttpResponse &response, int cap)
{
    bool ok = false;
    const int seconds = response.header(QByteArrayLiteral("Retry-After")).trimmed().toInt(&ok);
    if (!ok || seconds < 0)
        return 1;
    return std::min(seconds, cap);
}

void HttpClient::start(const HttpRequest &request, QPointer<QObject> context, bool hasContext, Completion completion, bool mayRetry)
{
    ++m_requestCount;
    QNetworkRequest networkRequest(request.url);
    for (const auto &[name, value] : request.headers)
        networkRequest.setRawHeader(name, value);
    if (carriesCredential(request))
        networkRequest.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);
    QNetworkReply *reply = m_manager->sendCustomRequest(networkRequest, request.method, request.body);

    auto state = std::make_shared<ReplyState>();
    auto *timer = new QTimer(reply);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, reply, [reply, state] {
        state->timedOut = true;
        reply->abort();
    });
    // Checked as the answer arrives: an endless or huge body is cut off, never held whole.
    const qint64 limit = request.maxBodyBytes > 0 ? request.maxBodyBytes : AnswerLimit::Json;
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply, state, limit](qint64 received, qint64 total) {
        if (!state->tooLarge && (received > limit || total > limit)) {
            state->tooLarge = true;
            reply->abort();
        }
    });
    timer->start(request.timeoutMs > 0 ? request.timeoutMs : ServiceConfig::httpTimeoutMs());

    connect(reply, &QNetworkReply::finished, this, [this, reply, request, context, hasContext, completion, mayRetry, state, limit] {
        reply->deleteLater();
        HttpResponse response;
        response.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        response.body = state->tooLarge ? QByteArray() : reply->readAll();
        response.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
        for (const auto &pair : reply->rawHeaderPairs())
            response.headers.append(pair);
        response.outcome = outcomeOf(response.status, *state, limit, reply);

        if (response.status == 429 && mayRetry && !state->timedOut) {
            const int wait = retryAfterSeconds(response, request.maxRetryAfterSeconds);
            QTimer::singleShot(wait * 1000, this, [this, request, context, hasContext, completion] {
                start(request, context, hasContext, completion, false);
            });
            return;
        }
        if (hasContext && !context)
            return;
        completion(response);
    });
}

void HttpClient::getJson(const HttpRequest &request, QObject *context, JsonCompletion completion)
{
    send(request, context, [completion = std::move(completion), anyType = request.anyContentType](const HttpResponse &response) {
        completion(jsonOf(response, anyType));
    });
}
