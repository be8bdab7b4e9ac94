#include "app/ServiceCheck.h"

#include "base/HttpClient.h"
#include "base/ServiceConfig.h"
#include "metadata/StoreGenre.h"
#include "metadata/TMDB.h"
#include "subtitles/OpenSubtitlesRest.h"
#include "subtitles/SubtitleCredentials.h"
#include "subtitles/SubtitleProvider.h"
#include "subtitles/SubtitleQuota.h"

#include <QPointer>
#include <QTimer>
#include <QUrl>

QString CheckResult::sentence() const
{
    return advice.isEmpty() ? text : text + QStringLiteral(": ") + advice;
}

QString CheckResult::stateName() const
{
    switch (state) {
    case State::Ok: return QStringLiteral("ok");
    case State::Warning: return QStringLiteral("warning");
    case State::Failed: return QStringLiteral("failed");
    }
    return {};
}

namespace ServiceCheck {
namespace {

// A check must not keep a person waiting as long as a lookup may.
constexpr int CheckTimeoutMs = 15000;

QString hostOf(const QString &url)
{
    const QString host = QUrl(url).host();
    return host.isEmpty() ? url : host;
}

CheckResult result(const QString &name, CheckResult::State state, const QString &text, const QString &advice, bool needed)
{
    return CheckResult{name, state, text, advice, needed && state == CheckResult::State::Failed};
}

/** What an answer that is not a success says about the service, the same words for every service. */
CheckResult unusable(const QString &name, const QString &serviceUrl, const HttpResponse &response, bool needed,
                     const QString &keyAdvice)
{
    const CheckResult::State failed = needed ? CheckResult::State::Failed : CheckResult::State::Warning;
    switch (response.outcome.errorKind()) {
    case ErrorKind::TimedOut:
        return result(name, failed, QStringLiteral("%1 did not answer in time").arg(hostOf(serviceUrl)),
                      QStringLiteral("check the internet connection and test again"), needed);
    case ErrorKind::Network:
        return result(name, failed, QStringLiteral("Could not reach %1: %2").arg(hostOf(serviceUrl), response.errorText()),
                      QStringLiteral("check the internet connection"), needed);
    default: break;
    }
    if (response.status == 401)
        return result(name, failed, QStringLiteral("The service refused the key (401)"), keyAdvice, needed);
    if (response.status == 429 || (response.status == 403 && keyAdvice.isEmpty()))
        return result(name, CheckResult::State::Warning,
                      QStringLiteral("%1 is throttling requests (%2)").arg(name).arg(response.status),
                      QStringLiteral("wait a minute and test again"), needed);
    if (response.status == 403)
        return result(name, failed, QStringLiteral("The service refused the key (403)"), keyAdvice, needed);
    return result(name, failed, QStringLiteral("%1 answered with an error (%2)").arg(name, response.errorText()),
                  QStringLiteral("test again later"), needed);
}

void sendCheck(HttpRequest request, QObject *context, std::function<void(const HttpResponse &)> completion)
{
    request.timeoutMs = std::min(CheckTimeoutMs, ServiceConfig::httpTimeoutMs());
    request.maxRetryAfterSeconds = 0;
    HttpClient::forCurrentThread().send(request, context, std::move(completion));
}

void answerLater(QObject *context, Completion completion, const CheckResult &result)
{
    QPointer<QObject> guard(context);
    QTimer::singleShot(0, context, [guard, completion, result] {
        if (guard)
            completion(result);
    });
}

} // namespace

void checkTmdb(const QString &key, QObject *context, Completion completion)
{
    const QString name = QStringLiteral("TMDb");
    const QString advice = QStringLiteral("check it at themoviedb.org/settings/api");
    if (key.trimmed().isEmpty()) {
        answerLater(context, completion,
                    result(name, CheckResult::State::Failed, QStringLiteral("No TMDb key is set"),
                           QStringLiteral("get one at themoviedb.org/settings/api and enter it in Settings > Services "
                                          "(or set KINOVELA_TMDB_API_KEY)"),
                           true));
        return;
    }
    const TMDB client(key.trimmed());
    const bool token = TMDB::isReadAccessToken(key.trimmed());
    QString address = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/configuration");
    if (!token)
        address += QStringLiteral("?api_key=") + TMDB::encodeQueryText(key.trimmed());
    sendCheck(client.authorizedRequest(QUrl::fromEncoded(address.toUtf8())), context,
              [completion, name, advice, token](const HttpResponse &response) {
                  if (response.ok())
                      completion(result(name, CheckResult::State::Ok,
                                        token ? QStringLiteral("Read access token accepted") : QStringLiteral("Key accepted"),
                                        {}, true));
                  else
                      completion(unusable(name, ServiceConfig::tmdbApiUrl(), response, true, advice));
              });
}

void checkStore(QObject *context, Completion completion)
{
    const QString name = QStringLiteral("Store genre (iTunes)");
    sendCheck(TMDB::jsonRequest(StoreGenre::genreSearchUrl(QStringLiteral("Inception"))), context,
              [completion, name](const HttpResponse &response) {
                  if (!response.ok()) {
                      CheckResult failed = unusable(name, ServiceConfig::itunesUrl(), response, false, {});
                      failed.advice += QStringLiteral("; until then movies get TMDb's genre");
                      completion(failed);
                      return;
                  }
                  const Outcome<Json> answer = HttpClient::jsonOf(response, false);
                  completion(answer ? result(name, CheckResult::State::Ok, QStringLiteral("Reachable"), {}, false)
                                    : result(name, CheckResult::State::Warning,
                                             QStringLiteral("The store gave an answer Kinovela can't read"),
                                             QStringLiteral("movies get TMDb's genre"), false));
              });
}

namespace {

void checkLegacyOpenSubtitles(const QString &name, QObject *context, Completion completion)
{
    const Outcome<std::shared_ptr<SubtitleProvider>> provider = SubtitleProvider::create();
    if (!provider) {
        answerLater(context, completion,
                    result(name, CheckResult::State::Warning, provider.errorText(),
                           QStringLiteral("enter the account in Settings"), false));
        return;
    }
    QPointer<QObject> guard(context);
    std::shared_ptr<SubtitleProvider> service = *provider;
    service->logIn([service, guard, completion, name](const Status &loggedIn) {
        if (!guard)
            return;
        completion(loggedIn ? result(name, CheckResult::State::Ok, QStringLiteral("Logged in (legacy service)"), {}, false)
                            : result(name, CheckResult::State::Warning, loggedIn.errorText(),
                                     QStringLiteral("check the account in Settings"), false));
    });
}

} // namespace

void checkOpenSubtitles(QObject *context, Completion completion)
{
    const QString name = QStringLiteral("OpenSubtitles");
    if (SubtitleCredentials::provider() == SubtitleCredentials::Provider::Legacy) {
        checkLegacyOpenSubtitles(name, context, std::move(completion));
        return;
    }
    const QString key = SubtitleCredentials::effectiveApiKey();
    if (key.isEmpty()) {
        answerLater(context, completion,
                    result(name, CheckResult::State::Warning, QStringLiteral("No OpenSubtitles key is set"),
                           QStringLiteral("subtitles (preset 4) need one: get it at opensubtitles.com/consumers and "
                                          "enter it in Settings"),
                           false));
        return;
    }
    HttpRequest request;
    request.url = QUrl::fromEncoded((ServiceConfig::openSubtitlesRestUrl() + QStringLiteral("/infos/formats")).toUtf8());
    request.headers = {{QByteArrayLiteral("Api-Key"), key.toUtf8()},
                       {QByteArrayLiteral("User-Agent"), OpenSubtitlesRest::userAgent()},
                       {QByteArrayLiteral("Accept"), QByteArrayLiteral("application/json")}};
    sendCheck(request, context, [completion, name](const HttpResponse &response) {
        if (!response.ok()) {
            completion(unusable(name, ServiceConfig::openSubtitlesRestUrl(), response, false,
                                QStringLiteral("check it at opensubtitles.com/consumers")));
            return;
        }
        const std::optional<SubtitleQuota> quota = SubtitleQuota::current();
        completion(result(name, CheckResult::State::Ok,
                          QStringLiteral("Key accepted")
                              + (quota ? QStringLiteral(", ") + quota->remainingText()
                                       : QStringLiteral(", download quota not known until the first download")),
                          {}, false));
    });
}

} // namespace ServiceCheck
