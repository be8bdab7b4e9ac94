#include "subtitles/SubtitleCache.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

// A key becomes a file name: letters, digits, "-" and "." stay, everything else becomes "_".
QString fileName(const QString &key)
{
    QString name;
    for (const QChar c : key)
        name.append((c.isLetterOrNumber() && c.unicode() < 128) || c == QLatin1Char('-') || c == QLatin1Char('.') ? c : QLatin1Char('_'));
    return name.left(200);
}

std::optional<QByteArray> read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(content);
        file.commit();
    }
}

} // namespace

namespace SubtitleCache {

QString folder()
{
    QString base = qEnvironmentVariable("XDG_CACHE_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.cache");
    return base + QStringLiteral("/Kinovela/opensubtitles");
}

void ensureFolder()
{
    QDir().mkpath(folder());
}

std::optional<QByteArray> search(const QString &key)
{
    const QString path = folder() + QStringLiteral("/search/") + fileName(key) + QStringLiteral(".json");
    const QFileInfo info(path);
    if (!info.exists() || info.lastModified().daysTo(QDateTime::currentDateTime()) >= SearchLifetimeDays)
        return std::nullopt;
    return read(path);
}

void storeSearch(const QString &key, const QByteArray &answer)
{
    write(folder() + QStringLiteral("/search/") + fileName(key) + QStringLiteral(".json"), answer);
}

std::optional<QByteArray> file(qint64 fileID)
{
    return read(folder() + QStringLiteral("/files/") + QString::number(fileID));
}

void storeFile(qint64 fileID, const QByteArray &content)
{
    write(folder() + QStringLiteral("/files/") + QString::number(fileID), content);
}

void clear()
{
    QDir(folder()).removeRecursively();
}

} // namespace SubtitleCache
