#include "base/AnswerCache.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>

#include <algorithm>
#include <atomic>

namespace {

std::atomic<bool> g_refresh = false;

QSettings settings()
{
    return QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
}

} // namespace

AnswerCache::AnswerCache(QString kind)
    : m_kind(std::move(kind))
{
}

QString AnswerCache::root()
{
    QString base = qEnvironmentVariable("XDG_CACHE_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.cache");
    return base + QStringLiteral("/Kinovela");
}

QString AnswerCache::folder() const
{
    return root() + QLatin1Char('/') + m_kind;
}

QString AnswerCache::pathOf(const QString &key) const
{
    // Keys are addresses and titles: a digest makes any of them a safe, short file name.
    const QByteArray digest = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex();
    return folder() + QLatin1Char('/') + QString::fromLatin1(digest.left(40)) + QStringLiteral(".json");
}

std::optional<QByteArray> AnswerCache::find(const QString &key) const
{
    if (ignored())
        return std::nullopt;
    const QString path = pathOf(key);
    const QFileInfo info(path);
    if (!info.isFile() || info.lastModified().addDays(lifetimeDays()) < QDateTime::currentDateTime())
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

void AnswerCache::store(const QString &key, const QByteArray &answer) const
{
    // A cache that cannot be written only costs a request next time.
    QDir().mkpath(folder());
    QSaveFile file(pathOf(key));
    if (file.open(QIODevice::WriteOnly) && file.write(answer) == answer.size())
        file.commit();
}

void AnswerCache::clear() const
{
    QDir(folder()).removeRecursively();
}

int AnswerCache::lifetimeDays()
{
    bool ok = false;
    const int days = settings().value(lifetimeKey).toInt(&ok);
    return ok && days > 0 ? std::min(days, 365) : DefaultLifetimeDays;
}

void AnswerCache::storeLifetimeDays(int days)
{
    settings().setValue(lifetimeKey, std::clamp(days, 1, 365));
}

bool AnswerCache::ignored()
{
    return g_refresh || settings().value(ignoreKey, false).toBool();
}

void AnswerCache::storeIgnored(bool ignored)
{
    settings().setValue(ignoreKey, ignored);
}

void AnswerCache::refresh(bool on)
{
    g_refresh = on;
}
