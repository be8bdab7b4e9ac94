#include "subtitles/OpenSubtitlesRest.h"

#include "base/Diagnostics.h"
#include "base/SearchLanguage.h"
#include "base/ServiceConfig.h"
#include "subtitles/SubtitleCache.h"
#include "subtitles/SubtitleQuota.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>

namespace {

// The service asks clients over their rate to come back later; wait at most this long, once.
constexpr int MaxRetryAfterSeconds = 10;

// One log-in per run and account: the service allows 60 an hour.
struct Session
{
    QString apiKey;
    QString userName;
    QString token;
    QString baseUrl;
};
Session g_session;

qint64 g_nextRequestMs = 0;
qint64 g_nextLogInMs = 0;

// Runs `send` when the service's rate allows: requests RequestIntervalMs apart, log-ins LogInIntervalMs apart.
void paced(bool logIn, std::function<void()> send)
{
    static QElapsedTimer clock;
    if (!clock.isValid())
        clock.start();
    const qint64 now = clock.elapsed();
    qint64 at = std::max(now, g_nextRequestMs);
    if (logIn) {
        at = std::max(at, g_nextLogInMs);
        g_nextLogInMs = at + OpenSubtitlesRest::LogInIntervalMs;
    }
    g_nextRequestMs = at + OpenSubtitlesRest::RequestIntervalMs;
    if (at <= now)
        send();
    else
        QTimer::singleShot(int(at - now), QCoreApplication::instance(), std::move(send));
}

QString searchLanguage()
{
    return SearchLanguage::current().alpha2;
}

std::optional<SubtitleChoice> choiceFrom(const Json &subtitle)
{
    const std::optional<qint64> id = subtitle["attributes"]["files"][0]["file_id"].optionalInteger();
    if (!id)
        return std::nullopt;
    // The service serves every file as SubRip unless asked otherwise.
    return SubtitleChoice{*id, QStringLiteral("srt")};
}

Error refusal(const HttpResponse &response)
{
    const bool stop = response.status == 406 || response.status == 429;
    return failure(stop ? ErrorKind::Refused : ErrorKind::Network, OpenSubtitlesRest::failureCause(response));
}

} // namespace

OpenSubtitlesRest::OpenSubtitlesRest(const QString &apiKey, const QString &userName, const QString &password)
    : m_apiKey(apiKey)
    , m_userName(userName)
    , m_password(password)
{
    Diagnostics::addSecret(apiKey);
    Diagnostics::addSecret(password);
}

QByteArray OpenSubtitlesRest::userAgent()
{
    return QByteArrayLiteral("Kinovela v") + QByteArrayLiteral(KINOVELA_VERSION);
}

QString OpenSubtitlesRest::imdbNumber(const QString &imdbID)
{
    QString digits = imdbID.startsWith(QStringLiteral("tt")) ? imdbID.mid(2) : imdbID;
    if (digits.isEmpty() || !std::all_of(digits.cbegin(), digits.cend(), [](QChar c) { return c.isDigit() && c.unicode() < 128; }))
        return {};
    while (digits.size() > 1 && digits.startsWith(QLatin1Char('0')))
        digits.remove(0, 1);
    return digits == QLatin1String("0") ? QString() : digits;
}

QString OpenSubtitlesRest::moviehash(const QString &hashText)
{
    bool ok = false;
    const quint64 value = hashText.toULongLong(&ok, 16);
    if (!ok || value == 0 || hashText.size() > 16)
        return {};
    return QStringLiteral("%1").arg(value, 16, 16, QLatin1Char('0'));
}

QString OpenSubtitlesRest::canonicalQuery(const QList<std::pair<QString, QString>> &parameters)
{
    QList<std::pair<QString, QString>> sorted;
    for (const auto &[name, value] : parameters)
        sorted.append({name.toLower(), value.toLower()});
    std::sort(sorted.begin(), sorted.end());
    QStringList parts;
    for (const auto &[name, value] : std::as_const(sorted))
        parts.append(QString::fromLatin1(QUrl::toPercentEncoding(name)) + QLatin1Char('=')
                     + QString::fromLatin1(QUrl::toPercentEncoding(value, QByteArrayLiteral(","))));
    return parts.join(QLatin1Char('&'));
}

QList<SubtitleChoice> OpenSubtitlesRest::hashMatches(const Json &answer)
{
    QList<SubtitleChoice> choices;
    const Json data = answer["data"];
    for (qsizetype i = 0; i < data.count(); ++i) {
        if (data[i]["attributes"]["moviehash_match"].boolean())
            if (const auto choice = choiceFrom(data[i]))
                choices.append(*choice);
    }
    return choices;
}

QList<SubtitleChoice> OpenSubtitlesRest::results(const Json &answer)
{
    QList<SubtitleChoice> choices;
    const Json data = answer["data"];
    for (qsizetype i = 0; i < data.count(); ++i) {
        if (const auto choice = choiceFrom(data[i]))
            choices.append(*choice);
    }
    return choices;
}

QList<SubtitleCandidate> OpenSubtitlesRest::listRecords(const Json &answer)
{
    QList<SubtitleCandidate> records;
    const Json data = answer["data"];
    for (qsizetype i = 0; i < data.count(); ++i) {
        const Json attributes = data[i]["attributes"];
        const std::optional<SubtitleChoice> choice = choiceFrom(data[i]);
        if (!choice)
            continue;
        records.append(SubtitleCandidate{attributes["release"].text(), attributes["uploader"]["name"].text(),
                                         attributes["upload_date"].text(), choice->fileID, choice->format});
    }
    return records;
}

QString OpenSubtitlesRest::failureCause(const HttpResponse &response)
{
    const Json body = Json::parse(response.body);
    switch (response.status) {
    case 400: return QStringLiteral("OpenSubtitles refused the request (400)");
    case 401: return QStringLiteral("OpenSubtitles refused the API key or the log-in (401)");
    case 406: {
        const std::optional<SubtitleQuota> quota = SubtitleQuota::fromAnswer(body);
        return QStringLiteral("OpenSubtitles ") + (quota ? quota->limitText() : QStringLiteral("download limit reached"))
            + QStringLiteral(" (406)");
    }
    case 429: return QStringLiteral("OpenSubtitles rate limit reached (429): too many requests, try again in a minute");
    default: break;
    }
    if (response.status >= 500)
        return QStringLiteral("OpenSubtitles server error (%1)").arg(response.status);
    if (response.outcome.errorKind() == ErrorKind::TimedOut)
        return QStringLiteral("OpenSubtitles did not answer in time");
    return QStringLiteral("OpenSubtitles request failed: ") + response.errorText();
}

QString OpenSubtitlesRest::apiUrl(const QString &baseUrl)
{
    QUrl url(ServiceConfig::openSubtitlesRestUrl());
    if (baseUrl.isEmpty())
        return url.toString();
    const QUrl given = QUrl::fromUserInput(baseUrl);
    if (given.host().isEmpty())
        return url.toString();
    url.setHost(given.host());
    if (given.port() > 0)
        url.setPort(given.port());
    return url.toString();
}

bool OpenSubtitlesRest::isServiceLink(const QUrl &link)
{
    if (!link.isValid() || link.host().isEmpty() || !link.userInfo().isEmpty())
        return false;
    const QString host = link.host().toLower();
    const bool serviceHost = host == QLatin1String("opensubtitles.com") || host == QLatin1String("opensubtitles.org")
        || host.endsWith(QLatin1String(".opensubtitles.com")) || host.endsWith(QLatin1String(".opensubtitles.org"));
    if (link.scheme() == QLatin1String("https") && serviceHost)
        return true;
    auto sameOrigin = [&link](const QUrl &api) {
        return api.scheme() == link.scheme() && api.host().compare(link.host(), Qt::CaseInsensitive) == 0
            && api.port(api.scheme() == QLatin1String("https") ? 443 : 80)
                   == link.port(link.scheme() == QLatin1String("https") ? 443 : 80);
    };
    return (link.scheme() == QLatin1String("https") || link.scheme() == QLatin1String("http"))
        && (sameOrigin(QUrl(apiUrl({}))) || (!g_session.baseUrl.isEmpty() && sameOrigin(QUrl(apiUrl(g_session.baseUrl)))));
}

void OpenSubtitlesRest::forgetSession()
{
    g_session = Session();
}

QString OpenSubtitlesRest::token() const
{
    const bool ours = !m_userName.isEmpty() && g_session.userName == m_userName && g_session.apiKey == m_apiKey;
    return ours ? g_session.token : QString();
}

HttpRequest OpenSubtitlesRest::request(const QString &path) const
{
    HttpRequest request;
    request.url = QUrl::fromEncoded((apiUrl(token().isEmpty() ? QString() : g_session.baseUrl) + path).toUtf8());
    request.maxRetryAfterSeconds = MaxRetryAfterSeconds;
    request.headers = {{QByteArrayLiteral("Api-Key"), m_apiKey.toUtf8()},
                       {QByteArrayLiteral("User-Agent"), userAgent()},
                       {QByteArrayLiteral("Accept"), QByteArrayLiteral("application/json")}};
    if (!token().isEmpty())
        request.headers.append({QByteArrayLiteral("Authorization"), QByteArrayLiteral("Bearer ") + token().toUtf8()});
    return request;
}

void OpenSubtitlesRest::logIn(std::function<void(const Status &)> completion)
{
    if (m_userName.isEmpty() || m_password.isEmpty() || !token().isEmpty()) {
        // The API key alone allows searches and a few downloads; a log-in of this run is reused.
        QMetaObject::invokeMethod(QCoreApplication::instance(), [completion] { completion(Status()); }, Qt::QueuedConnection);
        return;
    }
    HttpRequest login = request(QStringLiteral("/login"));
    login.method = "POST";
    login.headers.append({QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")});
    login.body = QJsonDocument(QJsonObject{{QStringLiteral("username"), m_userName},
                                           {QStringLiteral("password"), m_password}})
                     .toJson(QJsonDocument::Compact);
    auto self = shared_from_this();
    paced(true, [self, login, completion] {
        HttpClient::forCurrentThread().send(login, QCoreApplication::instance(), [self, completion](const HttpResponse &response) {
            const Json body = response.ok() ? Json::parse(response.body) : Json();
            const QString token = body["token"].text();
            if (token.isEmpty()) {
                const QString cause = response.ok() ? QStringLiteral("OpenSubtitles gave no log-in token") : failureCause(response);
                Diagnostics::write(cause);
                completion(failure(ErrorKind::Refused, cause));
                return;
            }
            Diagnostics::addSecret(token);
            g_session = Session{self->m_apiKey, self->m_userName, token, body["base_url"].text()};
            completion(Status());
        });
    });
}

void OpenSubtitlesRest::search(const QList<std::pair<QString, QString>> &parameters, std::function<void(const Outcome<Json> &)> completion)
{
    const QString query = canonicalQuery(parameters);
    if (const std::optional<QByteArray> cached = SubtitleCache::search(query)) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [completion, body = *cached] { completion(Json::parse(body)); },
                                  Qt::QueuedConnection);
        return;
    }
    const HttpRequest search = request(QStringLiteral("/subtitles?") + query);
    auto self = shared_from_this();
    paced(false, [self, search, query, completion] {
        HttpClient::forCurrentThread().send(search, QCoreApplication::instance(), [self, query, completion](const HttpResponse &response) {
            const Json answer = response.ok() ? Json::parse(response.body) : Json();
            if (!response.ok() || !answer["data"].isArray()) {
                const QString cause = response.ok() ? QStringLiteral("OpenSubtitles gave an answer that is not a search result") : failureCause(response);
                Diagnostics::write(cause);
                completion(failure(response.ok() ? ErrorKind::Invalid : refusal(response).kind, cause));
                return;
            }
            SubtitleCache::storeSearch(query, response.body);
            completion(answer);
        });
    });
}

void OpenSubtitlesRest::searchSubtitleByHash(const QString &movieHash, double fileSize,
                                             std::function<void(const SubtitleChoices &)> completion)
{
    Q_UNUSED(fileSize);
    const QString hash = moviehash(movieHash);
    if (hash.isEmpty()) {
        completion(QList<SubtitleChoice>());
        return;
    }
    search({{QStringLiteral("moviehash"), hash}, {QStringLiteral("languages"), searchLanguage()}},
           [completion](const Outcome<Json> &answer) {
               completion(answer ? SubtitleChoices(hashMatches(*answer)) : SubtitleChoices(answer.error()));
           });
}

void OpenSubtitlesRest::searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                                             std::function<void(const SubtitleChoices &)> completion)
{
    Q_UNUSED(movieDurationInSeconds);
    const QString number = imdbNumber(imdbID);
    if (number.isEmpty()) {
        completion(QList<SubtitleChoice>());
        return;
    }
    search({{QStringLiteral("imdb_id"), number}, {QStringLiteral("languages"), searchLanguage()}},
           [completion](const Outcome<Json> &answer) {
               completion(answer ? SubtitleChoices(results(*answer)) : SubtitleChoices(answer.error()));
           });
}

void OpenSubtitlesRest::searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion)
{
    const QString number = imdbNumber(imdbID);
    if (number.isEmpty()) {
        completion({});
        return;
    }
    search({{QStringLiteral("imdb_id"), number}, {QStringLiteral("languages"), searchLanguage()}},
           [completion](const Outcome<Json> &answer) { completion(answer ? listRecords(*answer) : QList<SubtitleCandidate>()); });
}

void OpenSubtitlesRest::downloadSubtitle(qint64 fileID, std::function<void(const Outcome<QByteArray> &)> completion)
{
    if (const std::optional<QByteArray> cached = SubtitleCache::file(fileID)) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [completion, content = *cached] { completion(content); },
                                  Qt::QueuedConnection);
        return;
    }
    if (const std::optional<SubtitleQuota> quota = SubtitleQuota::current(); quota && quota->exhausted()) {
        // A refused download still counts against the allowance: do not ask.
        QMetaObject::invokeMethod(QCoreApplication::instance(), [completion, text = quota->limitText()] {
            completion(failure(ErrorKind::Refused, QStringLiteral("OpenSubtitles ") + text));
        }, Qt::QueuedConnection);
        return;
    }
    HttpRequest download = request(QStringLiteral("/download"));
    download.method = "POST";
    download.headers.append({QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")});
    download.body = QJsonDocument(QJsonObject{{QStringLiteral("file_id"), fileID}}).toJson(QJsonDocument::Compact);
    auto self = shared_from_this();
    paced(false, [self, download, fileID, completion] {
        HttpClient::forCurrentThread().send(download, QCoreApplication::instance(), [self, fileID, completion](const HttpResponse &response) {
            const Json body = Json::parse(response.body);
            if (const std::optional<SubtitleQuota> quota = SubtitleQuota::fromAnswer(body))
                SubtitleQuota::record(*quota);
            const QString link = response.ok() ? body["link"].text() : QString();
            if (link.isEmpty()) {
                const QString cause = response.ok() ? QStringLiteral("OpenSubtitles gave no download link") : failureCause(response);
                Diagnostics::write(cause);
                completion(response.ok() ? failure(ErrorKind::Invalid, cause) : refusal(response));
                return;
            }
            self->fetchFile(fileID, link, completion);
        });
    });
}

void OpenSubtitlesRest::fetchFile(qint64 fileID, const QString &link, std::function<void(const Outcome<QByteArray> &)> completion)
{
    if (!isServiceLink(QUrl(link))) {
        const QString cause = QStringLiteral("OpenSubtitles gave a download link to another site (%1): not followed")
                                  .arg(QUrl(link).toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery));
        Diagnostics::write(cause);
        QMetaObject::invokeMethod(QCoreApplication::instance(), [completion, cause] {
            completion(failure(ErrorKind::Invalid, cause));
        }, Qt::QueuedConnection);
        return;
    }
    HttpRequest file;
    file.url = QUrl(link);
    file.headers = {{QByteArrayLiteral("User-Agent"), userAgent()}};
    HttpClient::forCurrentThread().send(file, QCoreApplication::instance(), [fileID, completion](const HttpResponse &content) {
        if (!content.ok()) {
            const QString cause = failureCause(content);
            Diagnostics::write(cause);
            completion(failure(ErrorKind::Network, cause));
            return;
        }
        SubtitleCache::storeFile(fileID, content.body);
        completion(content.body);
    });
}
