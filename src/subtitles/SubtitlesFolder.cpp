#include "subtitles/SubtitlesFolder.h"

#include "base/ServiceConfig.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>

#include <sys/stat.h>
#include <unistd.h>

namespace SubtitlesFolder {

namespace {

bool g_lookOnly = false;

bool isRealFolder(const QString &path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isRegularFile(const QString &path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

QStringList recordedNames()
{
    QFile file(recordPath());
    if (recordPath().isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    QStringList names;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QString name = QString::fromUtf8(line);
        // Only plain names inside the folder: nothing that climbs out of it.
        if (!name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String(".") && name != QLatin1String(".."))
            names.append(name);
    }
    return names;
}

void writeRecord(const QStringList &names)
{
    const QString path = recordPath();
    if (path.isEmpty() || !QDir().mkpath(QFileInfo(path).path()))
        return;
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(names.join(QLatin1Char('\n')).toUtf8());
        file.commit();
    }
}

} // namespace

QString recordPath()
{
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (data.isEmpty() || !QDir::isAbsolutePath(data)) {
        const QString home = qEnvironmentVariable("HOME");
        if (home.isEmpty() || !QDir::isAbsolutePath(home))
            return {};
        data = home + QStringLiteral("/.local/share");
    }
    return data + QStringLiteral("/Kinovela/saved-subtitles");
}

QString prepare()
{
    const QString folder = ServiceConfig::subtitlesFolder();
    if (folder.isEmpty())
        return {};
    const bool missing = !QFileInfo::exists(folder) && !QFileInfo(folder).isSymLink();
    if (missing && g_lookOnly)
        return folder;
    if (missing)
        QDir().mkdir(folder);
    return isRealFolder(folder) ? folder : QString();
}

QString freePath(const QString &path)
{
    const QFileInfo info(path);
    const QString name = info.fileName();
    if (!QFileInfo::exists(path) && !info.isSymLink())
        return path;
    if (recordedNames().contains(name) && isRegularFile(path))
        return path;
    for (int n = 2;; ++n) {
        const QString candidate = info.path() + QLatin1Char('/') + info.completeBaseName()
            + QStringLiteral(" (%1).").arg(n) + info.suffix();
        if (!QFileInfo::exists(candidate) && !QFileInfo(candidate).isSymLink())
            return candidate;
    }
}

void recordSaved(const QString &path)
{
    if (g_lookOnly)
        return;
    QStringList names = recordedNames();
    const QString name = QFileInfo(path).fileName();
    if (!names.contains(name)) {
        names.append(name);
        writeRecord(names);
    }
}

void removeOwnFiles()
{
    const QString folder = ServiceConfig::subtitlesFolder();
    const QStringList names = recordedNames();
    if (folder.isEmpty() || names.isEmpty() || g_lookOnly)
        return;
    // A link in the folder's place is never followed: nothing is removed through it.
    if (isRealFolder(folder)) {
        for (const QString &name : names) {
            const QString path = folder + QLatin1Char('/') + name;
            if (isRegularFile(path))
                ::unlink(QFile::encodeName(path).constData());
        }
    }
    writeRecord({});
}

void setLookOnly(bool lookOnly)
{
    g_lookOnly = lookOnly;
}

bool lookOnly()
{
    return g_lookOnly;
}

} // namespace SubtitlesFolder
