#include "subtitles/OpenSubtitlesRest.h"

#include "base/Diagnostics.h"
#include "base/HttpClient.h"
#include "base/ServiceConfig.h"
#include "base/SearchLanguage.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

// The service asks clients over their rate to come back later; wait at most this long, once.
constexpr int MaxRetryAfterSeconds = 10;

QString searchLanguage()
{
    return SearchLanguage::current().alpha2;
}

std::optional<SubtitleChoice> choiceFrom(const Json &subtitle)
{
    const Json file = subtitle["attributes"]["files"][0];
    const std::optional<qint64> id = file["file_id"].optionalInteger();
    if (!id)
        return std::nullopt;
    return SubtitleChoice{*id, QStringLiteral("srt")};
}

Json parse(const HttpResponse &response)
{
    return response.ok() ? Json::parse(response.body) : Json();
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

std::optional<SubtitleChoice> OpenSubtitlesRest::firstHashMatch(const Json &answer)
{
    const Json data = answer["data"];
    for (qsizetype i = 0; i < data.count(); ++i) {
        if (data[i]["attributes"]["moviehash_match"].boolean())
            return choiceFrom(data[i]);
    }
    return std::nullopt;
}

std::optional<SubtitleChoice> OpenSubtitlesRest::firstResult(const Json &answer)
{
    const Json data = answer["data"];
    for (qsizetype i = 0; i < data.count(); ++i) {
        if (const auto choice = choiceFrom(data[i]))
            return choice;
    }
    return std::nullopt;
}

QList<SubtitleCandidate> OpenSubtitlesRest::listRecords(const Json &answer)
{
    QList<SubtitleCandidate> records;
    const Json data = answer["data"];
    for (qsizetype i = 0; i < data.count(); ++i) {
        const Json attributes = data[i]["attributes"];
        const std::optional<qint64> id = attributes["files"][0]["file_id"].optionalInteger();
        if (!id)
            continue;
        records.append(SubtitleCandidate{attributes["release"].text(), attributes["uploader"]["name"].text(), QString(),
                                         *id, QStringLiteral("srt")});
    }
    return records;
}

QString OpenSubtitlesRest::failureCause(const HttpResponse &response)
{
    const Json body = Json::parse(response.body);
    const QString message = body["message"].text().trimmed();
    switch (response.status) {
    case 401: return QStringLiteral("OpenSubtitles refused the API key or the log-in (401)");
    case 406:
        return QStringLiteral("OpenSubtitles download quota reached (406)")
            + (message.isEmpty() ? QString() : QStringLiteral(": ") + message)
            + (body["reset_time_utc"].text().isEmpty() ? QString()
                                                        : QStringLiteral(" (renewed at ") + body["reset_time_utc"].text()
                                                              + QLatin1Char(')'));
    case 429: return QStringLiteral("OpenSubtitles rate limit reached (429); try again later");
    default: break;
    }
    if (response.status >= 500)
        return QStringLiteral("OpenSubtitles server error (%1)").arg(response.status);
    if (response.outcome.errorKind() == ErrorKind::TimedOut)
        return QStringLiteral("OpenSubtitles did not answer in time");
    return QStringLiteral("OpenSubtitles request failed: ") + response.errorText();
}

HttpRequest OpenSubtitlesRest::request(const QString &path) const
{
    HttpRequest request;
    request.url = QUrl::fromEncoded((ServiceConfig::openSubtitlesRestUrl() + path).toUtf8());
    request.maxRetryAfterSeconds = MaxRetryAfterSeconds;
    request.headers = {{QByteArrayLiteral("Api-Key"), m_apiKey.toUtf8()},
                       {QByteArrayLiteral("User-Agent"), userAgent()},
                       {QByteArrayLiteral("Accept"), QByteArrayLiteral("application/json")}};
    if (token)
        request.headers.append({QByteArrayLiteral("Authorization"), QByteArrayLiteral("Bearer ") + token->toUtf8()});
    return request;
}

void OpenSubtitlesRest::logIn(std::function<void(bool)> completion)
{
    if (m_userName.isEmpty() || m_password.isEmpty()) {
        // The API key alone allows searches and a small number of downloads.
        QMetaObject::invokeMethod(QCoreApplication::instance(), [completion] { completion(true); }, Qt::QueuedConnection);
        return;
    }
    HttpRequest login = request(QStringLiteral("/login"));
    login.method = "POST";
    login.headers.append({QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")});
    login.body = QJsonDocument(QJsonObject{{QStringLiteral("username"), m_userName},
                                           {QStringLiteral("password"), m_password}})
                     .toJson(QJsonDocument::Compact);
    auto self = shared_from_this();
    HttpClient::forCurrentThread().send(login, QCoreApplication::instance(), [self, completion](const HttpResponse &response) {
        const QString token = parse(response)["token"].text();
        if (token.isEmpty()) {
            Diagnostics::write(failureCause(response));
            self->token.reset();
            completion(false);
            return;
        }
        self->token = token;
        completion(true);
    });
}

void OpenSubtitlesRest::search(const QList<std::pair<QString, QString>> &parameters, std::function<void(const Json &)> completion)
{
    auto self = shared_from_this();
    HttpClient::forCurrentThread().send(request(QStringLiteral("/subtitles?") + canonicalQuery(parameters)),
                                        QCoreApplication::instance(), [self, completion](const HttpResponse &response) {
                                            if (!response.ok()) {
                                                Diagnostics::write(failureCause(response));
                                                completion(Json());
                                                return;
                                            }
                                            completion(parse(response));
                                        });
}

void OpenSubtitlesRest::searchSubtitleByHash(const QString &movieHash, double fileSize,
                                             std::function<void(std::optional<SubtitleChoice>)> completion)
{
    Q_UNUSED(fileSize);
    if (movieHash.isEmpty() || movieHash == QLatin1String("0")) {
        completion(std::nullopt);
        return;
    }
    search({{QStringLiteral("moviehash"), movieHash}, {QStringLiteral("languages"), searchLanguage()}},
           [completion](const Json &answer) { completion(firstHashMatch(answer)); });
}

void OpenSubtitlesRest::searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                                             std::function<void(std::optional<SubtitleChoice>)> completion)
{
    Q_UNUSED(movieDurationInSeconds);
    const QString number = imdbNumber(imdbID);
    if (number.isEmpty()) {
        completion(std::nullopt);
        return;
    }
    search({{QStringLiteral("imdb_id"), number}, {QStringLiteral("languages"), searchLanguage()}},
           [completion](const Json &answer) { completion(firstResult(answer)); });
}

void OpenSubtitlesRest::searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion)
{
    const QString number = imdbNumber(imdbID);
    if (number.isEmpty()) {
        completion({});
        return;
    }
    search({{QStringLiteral("imdb_id"), number}, {QStringLiteral("languages"), searchLanguage()}},
           [completion](const Json &answer) { completion(listRecords(answer)); });
}

void OpenSubtitlesRest::downloadSubtitle(qint64 fileID, std::function<void(const QByteArray &)> completion)
{
    HttpRequest download = request(QStringLiteral("/download"));
    download.method = "POST";
    download.headers.append({QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")});
    download.body = QJsonDocument(QJsonObject{{QStringLiteral("file_id"), fileID}}).toJson(QJsonDocument::Compact);
    auto self = shared_from_this();
    HttpClient::forCurrentThread().send(download, QCoreApplication::instance(), [self, completion](const HttpResponse &response) {
        const QString link = parse(response)["link"].text();
        if (!response.ok() || link.isEmpty()) {
            Diagnostics::write(response.ok() ? QStringLiteral("OpenSubtitles gave no download link") : failureCause(response));
            completion({});
            return;
        }
        HttpRequest file;
        file.url = QUrl(link);
        file.headers = {{QByteArrayLiteral("User-Agent"), userAgent()}};
        HttpClient::forCurrentThread().send(file, QCoreApplication::instance(), [completion](const HttpResponse &content) {
            if (!content.ok()) {
                Diagnostics::write(failureCause(content));
                completion({});
                return;
            }
            completion(content.body);
        });
    });
}
