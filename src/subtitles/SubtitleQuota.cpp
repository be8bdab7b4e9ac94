#include "subtitles/SubtitleQuota.h"

#include "base/Json.h"
#include "subtitles/SubtitleCache.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>

namespace {

QString quotaPath()
{
    return SubtitleCache::folder() + QStringLiteral("/quota.json");
}

} // namespace

std::optional<SubtitleQuota> SubtitleQuota::fromAnswer(const Json &body)
{
    const std::optional<qint64> remaining = body["remaining"].optionalInteger();
    QDateTime reset = QDateTime::fromString(body["reset_time_utc"].text(), Qt::ISODateWithMs);
    if (!remaining || !reset.isValid())
        return std::nullopt;
    reset.setTimeSpec(Qt::UTC);
    return SubtitleQuota{int(std::clamp<qint64>(*remaining, -1, 1000000)), reset};
}

std::optional<SubtitleQuota> SubtitleQuota::current()
{
    QFile file(quotaPath());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const std::optional<SubtitleQuota> quota = fromAnswer(Json::parse(file.readAll()));
    if (!quota || quota->resetTimeUtc <= QDateTime::currentDateTimeUtc())
        return std::nullopt;
    return quota;
}

void SubtitleQuota::record(const SubtitleQuota &quota)
{
    SubtitleCache::ensureFolder();
    QSaveFile file(quotaPath());
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(QJsonDocument(QJsonObject{{QStringLiteral("remaining"), quota.remaining},
                                         {QStringLiteral("reset_time_utc"), quota.resetTimeUtc.toString(Qt::ISODateWithMs)}})
                   .toJson(QJsonDocument::Compact));
    file.commit();
}

void SubtitleQuota::forget()
{
    QFile::remove(quotaPath());
}

QString SubtitleQuota::resetText() const
{
    const QDateTime reset = resetTimeUtc.toUTC();
    const bool soon = reset.secsTo(QDateTime::currentDateTimeUtc()) > -24 * 3600;
    return reset.toString(soon ? QStringLiteral("HH:mm") : QStringLiteral("yyyy-MM-dd HH:mm")) + QStringLiteral(" UTC");
}

QString SubtitleQuota::limitText() const
{
    return QStringLiteral("download limit reached until ") + resetText();
}

QString SubtitleQuota::statusLine(SubtitleCredentials::Provider provider)
{
    if (provider != SubtitleCredentials::Provider::Rest)
        return QStringLiteral("The legacy service serves subtitles to its paying members only.");
    if (const std::optional<SubtitleQuota> quota = current())
        return QStringLiteral("OpenSubtitles: ") + quota->remainingText() + QLatin1Char('.');
    return QStringLiteral("OpenSubtitles says how many downloads are left with the first download of the day "
                          "(about 5 a day without an account, 20 with a free one).");
}

QString SubtitleQuota::remainingText() const
{
    if (exhausted())
        return limitText();
    return QStringLiteral("%1 %2 left until %3")
        .arg(remaining)
        .arg(remaining == 1 ? QStringLiteral("download") : QStringLiteral("downloads"), resetText());
}
