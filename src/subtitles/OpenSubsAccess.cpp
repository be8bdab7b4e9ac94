#include "subtitles/OpenSubsAccess.h"

#include "base/Diagnostics.h"
#include "base/HttpClient.h"
#include "base/ServiceConfig.h"
#include "base/SearchLanguage.h"
#include "subtitles/Gzip.h"
#include "subtitles/XmlRpc.h"

#include <QCoreApplication>

namespace {

QString searchLanguage()
{
    return SearchLanguage::current().alpha3bOrEnglish();
}

std::optional<SubtitleChoice> choiceOf(const QVariantMap &entry)
{
    bool ok = false;
    const qint64 id = entry.value(QStringLiteral("IDSubtitleFile")).toString().toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    return SubtitleChoice{id, entry.value(QStringLiteral("SubFormat")).toString()};
}

QVariantList dataOf(const QVariantMap &answer)
{
    const QVariant data = answer.value(QStringLiteral("data"));
    return data.typeId() == QMetaType::QVariantList ? data.toList() : QVariantList();
}

qint64 lastTime(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() != 3)
        return 0;
    return parts.at(0).toLongLong() * 3600 + parts.at(1).toLongLong() * 60 + parts.at(2).toLongLong();
}

} // namespace

QString OpenSubsAccess::Constants::endpoint()
{
    return ServiceConfig::openSubtitlesUrl();
}

void OpenSubsAccess::sendXMLRPCRequest(const QString &method, const QVariantList &parameters,
                                       std::function<void(const std::optional<QVariantMap> &)> completion)
{
    HttpRequest request;
    request.url = QUrl(Constants::endpoint());
    request.method = "POST";
    request.body = XmlRpc::call(method, parameters);
    request.timeoutMs = Constants::timeoutMs;
    request.headers = {{QByteArrayLiteral("Content-Type"), QByteArrayLiteral("text/xml")},
                       {QByteArrayLiteral("User-Agent"), Constants::userAgent()}};
    HttpClient::forCurrentThread().send(request, QCoreApplication::instance(), [completion](const HttpResponse &response) {
        if (!response.ok()) {
            completion(std::nullopt);
            return;
        }
        const std::optional<QVariant> value = XmlRpc::parseResponse(response.body);
        if (!value || value->typeId() != QMetaType::QVariantMap || !statusOk(value->toMap())) {
            completion(std::nullopt);
            return;
        }
        completion(value->toMap());
    });
}

bool OpenSubsAccess::statusOk(const QVariantMap &answer)
{
    return answer.value(QStringLiteral("status")).toString().startsWith(QLatin1String("200"));
}

void OpenSubsAccess::logIn(std::function<void(const Status &)> completion)
{
    auto self = shared_from_this();
    sendXMLRPCRequest(Constants::OSMethods::logIn(),
                      {QString(), QString(), QStringLiteral("eng"), QString::fromLatin1(Constants::userAgent())},
                      [self, completion](const std::optional<QVariantMap> &answer) {
                          if (answer && answer->contains(QStringLiteral("token")))
                              self->token = answer->value(QStringLiteral("token")).toString();
                          else
                              self->token.reset();
                          if (self->token)
                              completion(Status());
                          else {
                              const QString cause = QStringLiteral("The legacy OpenSubtitles service refused the log-in");
                              Diagnostics::write(cause);
                              completion(failure(ErrorKind::Refused, cause));
                          }
                      });
}

QVariantMap OpenSubsAccess::hashQuery(const QString &language, const QString &movieHash, double fileSize)
{
    return {{QStringLiteral("sublanguageid"), language},
            {QStringLiteral("moviehash"), movieHash},
            {QStringLiteral("moviebytesize"), fileSize}};
}

QVariantMap OpenSubsAccess::imdbQuery(const QString &language, const QString &imdbID)
{
    QVariantMap query{{QStringLiteral("sublanguageid"), language},
                      {QStringLiteral("moviehash"), QString()},
                      {QStringLiteral("moviebytesize"), 0}};
    const QString rest = imdbID.mid(2);
    bool ok = false;
    const int number = rest.toInt(&ok, 10);
    if (ok && !rest.isEmpty() && !rest.startsWith(QLatin1Char('+')) && !rest.startsWith(QLatin1Char('-')))
        query.insert(QStringLiteral("imdbid"), number);
    return query;
}

std::optional<SubtitleChoice> OpenSubsAccess::firstChoice(const QVariantMap &answer)
{
    const QVariantList data = dataOf(answer);
    if (data.isEmpty())
        return std::nullopt;
    return choiceOf(data.constFirst().toMap());
}

std::optional<SubtitleChoice> OpenSubsAccess::closestToEndChoice(const QVariantMap &answer, double movieDurationInSeconds)
{
    const QVariantList data = dataOf(answer);
    if (data.isEmpty())
        return std::nullopt;
    const qint64 duration = qint64(movieDurationInSeconds);
    qsizetype best = 0;
    qint64 bestGap = 5000;
    for (qsizetype i = 0; i < data.size(); ++i) {
        const QVariantMap entry = data.at(i).toMap();
        const bool isSrt = entry.value(QStringLiteral("SubFormat")).toString() == QLatin1String("srt");
        const qint64 gap = duration - lastTime(entry.value(QStringLiteral("SubLastTS")).toString());
        if (gap < bestGap && gap > 0 && isSrt) {
            best = i;
            bestGap = gap;
        }
    }
    return choiceOf(data.at(best).toMap());
}

QList<SubtitleChoice> OpenSubsAccess::choicesWithFirst(const QVariantMap &answer, const std::optional<SubtitleChoice> &preferred)
{
    QList<SubtitleChoice> choices;
    if (preferred)
        choices.append(*preferred);
    for (const QVariant &item : dataOf(answer)) {
        const std::optional<SubtitleChoice> choice = choiceOf(item.toMap());
        if (choice && (!preferred || choice->fileID != preferred->fileID))
            choices.append(*choice);
    }
    return choices;
}

QList<SubtitleCandidate> OpenSubsAccess::listRecords(const QVariantMap &answer)
{
    QList<SubtitleCandidate> records;
    for (const QVariant &item : dataOf(answer)) {
        const QVariantMap entry = item.toMap();
        if (entry.value(QStringLiteral("SubFormat")).toString() != QLatin1String("srt"))
            continue;
        const std::optional<SubtitleChoice> choice = choiceOf(entry);
        if (!choice)
            continue;
        records.append(SubtitleCandidate{entry.value(QStringLiteral("SubFileName")).toString(),
                                         entry.value(QStringLiteral("UserNickName")).toString(),
                                         entry.value(QStringLiteral("SubLastTS")).toString(), choice->fileID,
                                         choice->format});
    }
    return records;
}

QByteArray OpenSubsAccess::downloadedContent(const QVariantMap &answer)
{
    const QVariantList data = dataOf(answer);
    if (data.isEmpty())
        return {};
    const QByteArray text = data.constFirst().toMap().value(QStringLiteral("data")).toString().toLatin1();
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return {};
    if (!Gzip::isGzip(*decoded))
        return *decoded;
    return Gzip::inflate(*decoded).value_or(QByteArray());
}

void OpenSubsAccess::searchSubtitleByHash(const QString &movieHash, double fileSize,
                                          std::function<void(const SubtitleChoices &)> completion)
{
    if (!token) {
        completion(QList<SubtitleChoice>());
        return;
    }
    auto self = shared_from_this();
    sendXMLRPCRequest(Constants::OSMethods::searchSubtitles(),
                      {*token, QVariantList{hashQuery(searchLanguage(), movieHash, fileSize)}},
                      [self, completion](const std::optional<QVariantMap> &answer) {
                          completion(answer ? choicesWithFirst(*answer, firstChoice(*answer)) : QList<SubtitleChoice>());
                      });
}

void OpenSubsAccess::searchSubtitleByIMDB(const QString &imdbID, double movieDurationInSeconds,
                                          std::function<void(const SubtitleChoices &)> completion)
{
    if (!token || imdbID.isEmpty()) {
        completion(QList<SubtitleChoice>());
        return;
    }
    auto self = shared_from_this();
    sendXMLRPCRequest(Constants::OSMethods::searchSubtitles(),
                      {*token, QVariantList{imdbQuery(searchLanguage(), imdbID)}},
                      [self, completion, movieDurationInSeconds](const std::optional<QVariantMap> &answer) {
                          completion(answer ? choicesWithFirst(*answer, closestToEndChoice(*answer, movieDurationInSeconds))
                                            : QList<SubtitleChoice>());
                      });
}

void OpenSubsAccess::searchSubtitleList(const QString &imdbID, std::function<void(const QList<SubtitleCandidate> &)> completion)
{
    if (!token || imdbID.isEmpty()) {
        completion({});
        return;
    }
    auto self = shared_from_this();
    sendXMLRPCRequest(Constants::OSMethods::searchSubtitles(),
                      {*token, QVariantList{imdbQuery(searchLanguage(), imdbID)}},
                      [self, completion](const std::optional<QVariantMap> &answer) {
                          completion(answer ? listRecords(*answer) : QList<SubtitleCandidate>());
                      });
}

void OpenSubsAccess::downloadSubtitle(qint64 fileID, std::function<void(const Outcome<QByteArray> &)> completion)
{
    if (!token) {
        completion(failure(ErrorKind::Refused, QStringLiteral("Not logged in to the legacy OpenSubtitles service")));
        return;
    }
    auto self = shared_from_this();
    const QVariant id = fileID >= INT_MIN && fileID <= INT_MAX ? QVariant(int(fileID)) : QVariant(fileID);
    sendXMLRPCRequest(Constants::OSMethods::downloadSubtitles(), {*token, QVariantList{id}},
                      [self, completion](const std::optional<QVariantMap> &answer) {
                          const QByteArray content = answer ? downloadedContent(*answer) : QByteArray();
                          if (content.isEmpty())
                              completion(failure(ErrorKind::Network, QStringLiteral("The legacy OpenSubtitles service gave no subtitle")));
                          else
                              completion(content);
                      });
}
