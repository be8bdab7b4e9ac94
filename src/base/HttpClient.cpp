#include "base/HttpClient.h"

#include "base/ServiceConfig.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThreadStorage>
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
    QNetworkReply *reply = m_manager->sendCustomRequest(networkRequest, request.method, request.body);

    auto timedOut = std::make_shared<bool>(false);
    auto *timer = new QTimer(reply);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, reply, [reply, timedOut] {
        *timedOut = true;
        reply->abort();
    });
    timer->start(request.timeoutMs > 0 ? request.timeoutMs : ServiceConfig::httpTimeoutMs());

    connect(reply, &QNetworkReply::finished, this, [this, reply, request, context, hasContext, completion, mayRetry, timedOut] {
        reply->deleteLater();
        HttpResponse response;
        response.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        response.body = reply->readAll();
        response.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
        for (const auto &pair : reply->rawHeaderPairs())
            response.headers.append(pair);
        response.timedOut = *timedOut;
        if (*timedOut) {
            response.error = QStringLiteral("The request timed out.");
        } else if (response.status != 0 && (response.status < 200 || response.status > 299)) {
            response.error = QStringLiteral("Response status code was unacceptable: %1.").arg(response.status);
        } else if (reply->error() != QNetworkReply::NoError) {
            response.error = reply->errorString();
        }

        if (response.status == 429 && mayRetry && !*timedOut) {
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
    send(request, context, [completion = std::move(completion)](const HttpResponse &response) {
        if (!response.ok()) {
            completion(Json(), response.error);
            return;
        }
        const QByteArray type = response.contentType.toLower();
        if (!type.startsWith("application/json") && !type.contains("+json") && !type.startsWith("text/javascript")) {
            completion(Json(), QStringLiteral("Response Content-Type \"%1\" was unacceptable.").arg(QString::fromLatin1(response.contentType)));
            return;
        }
        QJsonParseError parseError{};
        const QJsonDocument document = QJsonDocument::fromJson(response.body, &parseError);
        if (parseError.error != QJsonParseError::NoError) {
            completion(Json(), QStringLiteral("JSON could not be serialized because of error: %1").arg(parseError.errorString()));
            return;
        }
        completion(Json(document), QString());
    });
}
