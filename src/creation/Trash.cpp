#include "creation/Trash.h"

#include "base/Diagnostics.h"
#include "creation/FileMove.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QUrl>

#include <cctype>
#include <optional>
#include <unistd.h>
#include <utility>

namespace {

const QLatin1String InfoSuffix(".trashinfo");

/** @p path with its folder's symbolic links resolved, so that two spellings of one place compare equal. */
QString normalized(const QString &path)
{
    const QFileInfo info(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    const QString canonical = QFileInfo(info.path()).canonicalFilePath();
    return QDir(canonical.isEmpty() ? info.path() : canonical).filePath(info.fileName());
}

/** A Trash folder and the folder its relative Path= entries start from. */
struct TrashFolder
{
    QString path;
    QString base;
};

/** What an information file says. */
struct TrashInfo
{
    QStringList originalPaths; ///< absolute: the path as written and, when it is percent-encoded, decoded; empty when it names none
    QDateTime deleted;

    bool names(const QString &path) const
    {
        const QString wanted = normalized(path);
        for (const QString &original : originalPaths)
            if (normalized(original) == wanted)
                return true;
        return false;
    }
};

Error noTrash()
{
    return failure(ErrorKind::Failed, QStringLiteral("there is no Trash for it on its disk"));
}

QString dataFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

/** Creates the home Trash when it is missing, as the freedesktop.org Trash rules allow. */
void prepareHomeTrash()
{
    const QString data = dataFolder();
    if (!data.isEmpty()) {
        QDir().mkpath(data + QStringLiteral("/Trash/files"));
        QDir().mkpath(data + QStringLiteral("/Trash/info"));
    }
}

bool present(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

/** The Trash folder holding @p trashedPath (the parent of its "files" folder); empty when it is in none. */
QString trashFolderOf(const QString &trashedPath)
{
    const QFileInfo trashed(QFileInfo(trashedPath).absoluteFilePath());
    if (trashed.dir().dirName() != QLatin1String("files"))
        return {};
    return QFileInfo(trashed.path()).path();
}

QString infoPathOf(const QString &trashedPath)
{
    const QString folder = trashFolderOf(trashedPath);
    return folder.isEmpty() ? QString() : folder + QStringLiteral("/info/") + QFileInfo(trashedPath).fileName() + InfoSuffix;
}

/** Where relative Path= entries of a Trash folder start: the folder that holds it, $topdir for $topdir/.Trash/$uid. */
QString baseOf(const QString &trashFolder)
{
    const QFileInfo folder(trashFolder);
    const QString parent = folder.path();
    return QFileInfo(parent).fileName() == QLatin1String(".Trash") ? QFileInfo(parent).path() : parent;
}

/** Whether every "%" of @p value starts an escape of two hex digits. */
bool isPercentEncoded(const QByteArray &value)
{
    const auto isHex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    for (qsizetype at = value.indexOf('%'); at >= 0; at = value.indexOf('%', at + 1))
        if (at + 2 >= value.size() || !isHex(value.at(at + 1)) || !isHex(value.at(at + 2)))
            return false;
    return value.contains('%');
}

TrashInfo readInfo(const QString &infoPath, const QString &base)
{
    TrashInfo info;
    QFile file(infoPath);
    if (!file.open(QIODevice::ReadOnly))
        return info;
    bool inSection = false;
    for (const QByteArray &raw : file.read(64 * 1024).split('\n')) {
        // Not trimmed: a file name may end in a space.
        const QByteArray line = raw.endsWith('\r') ? raw.chopped(1) : raw;
        if (line.startsWith('[')) {
            inSection = line == "[Trash Info]";
        } else if (inSection && line.startsWith("Path=")) {
            // Percent-encoded by the Trash rules, but Qt 6.4 writes the path as it is: take either.
            const QByteArray value = line.mid(5);
            QStringList paths{QString::fromUtf8(value)};
            if (isPercentEncoded(value))
                paths.append(QUrl::fromPercentEncoding(value));
            for (const QString &path : std::as_const(paths)) {
                const QString absolute = QDir::cleanPath(QDir::isAbsolutePath(path) ? path : base + QLatin1Char('/') + path);
                if (!path.isEmpty() && !info.originalPaths.contains(absolute))
                    info.originalPaths.append(absolute);
            }
        } else if (inSection && line.startsWith("DeletionDate=")) {
            info.deleted = QDateTime::fromString(QString::fromLatin1(line.mid(13)), Qt::ISODate);
        }
    }
    return info;
}

/** The folder, or the nearest folder above it that exists. */
QString existingFolderOf(const QString &path)
{
    QString folder = QFileInfo(path).absolutePath();
    while (!QFileInfo(folder).isDir() && folder != QDir::rootPath())
        folder = QFileInfo(folder).path();
    return folder;
}

/** The Trash folders a file trashed from @p originalPath may be in: the home Trash and those at the top of its disk. */
QList<TrashFolder> trashFoldersFor(const QString &originalPath)
{
    QList<TrashFolder> folders;
    const QString data = dataFolder();
    if (!data.isEmpty())
        folders.append({data + QStringLiteral("/Trash"), data});
    const QStorageInfo disk(existingFolderOf(originalPath));
    if (disk.isValid()) {
        const QString top = QDir(disk.rootPath()).absolutePath();
        const QString uid = QString::number(::getuid());
        folders.append({QDir(top).filePath(QStringLiteral(".Trash/") + uid), top});
        folders.append({QDir(top).filePath(QStringLiteral(".Trash-") + uid), top});
    }
    QList<TrashFolder> existing;
    QStringList seen;
    for (const TrashFolder &folder : std::as_const(folders)) {
        const QString canonical = QFileInfo(folder.path).canonicalFilePath();
        if (!canonical.isEmpty() && !seen.contains(canonical)) {
            seen.append(canonical);
            existing.append(folder);
        }
    }
    return existing;
}

void syncFolders(const QStringList &folders)
{
    for (const QString &folder : folders)
        (void)FileMove::syncFolder(folder);
}

} // namespace

namespace Trash {

Outcome<QString> moveToTrash(const QString &path)
{
    const QFileInfo source(path);
    if (!present(path))
        return failure(ErrorKind::Missing, QStringLiteral("no file at ") + path);
    prepareHomeTrash();
    QString inTrash;
    if (!QFile::moveToTrash(path, &inTrash))
        return noTrash();
    if (QDir::isRelativePath(inTrash)) {
        // Qt found no Trash folder and used the working folder's "files" instead: put the file back.
        const QString misplaced = QFileInfo(inTrash).absoluteFilePath();
        const QString info = infoPathOf(misplaced);
        if (const Status back = FileMove::moveFile(misplaced, source.absoluteFilePath()); !back)
            Diagnostics::write(QStringLiteral("%1 could not be put back from %2: %3").arg(path, misplaced, back.errorText()));
        else if (!info.isEmpty())
            QFile::remove(info);
        return noTrash();
    }
    const QString info = infoPathOf(inTrash);
    if (!info.isEmpty())
        (void)FileMove::syncFile(info);
    const QString folder = trashFolderOf(inTrash);
    syncFolders({source.absolutePath(), folder + QStringLiteral("/files"), folder + QStringLiteral("/info")});
    return inTrash;
}

Outcome<QString> find(const QString &originalPath)
{
    std::optional<QString> newest;
    std::pair<QDateTime, QDateTime> newestWhen; // the deletion date, then the information file's time
    for (const TrashFolder &folder : trashFoldersFor(originalPath)) {
        const QDir infoFolder(folder.path + QStringLiteral("/info"));
        const QStringList names = infoFolder.entryList({QStringLiteral("*") + InfoSuffix}, QDir::Files | QDir::Hidden);
        for (const QString &name : names) {
            const QString infoPath = infoFolder.filePath(name);
            const TrashInfo info = readInfo(infoPath, folder.base);
            if (!info.names(originalPath))
                continue;
            const QString trashed = folder.path + QStringLiteral("/files/") + name.chopped(InfoSuffix.size());
            if (!present(trashed))
                continue;
            const std::pair<QDateTime, QDateTime> when{info.deleted, QFileInfo(infoPath).lastModified()};
            if (!newest || newestWhen < when) {
                newest = trashed;
                newestWhen = when;
            }
        }
    }
    if (!newest)
        return failure(ErrorKind::Missing, QStringLiteral("the Trash no longer holds it (it was emptied or restored)"));
    return *newest;
}

Status restore(const QString &trashedPath, const QString &originalPath)
{
    const QString target = QFileInfo(originalPath).absoluteFilePath();
    const QString inItsPlace = QStringLiteral("a file named \"%1\" is in its place").arg(QFileInfo(target).fileName());
    QString trashed;
    if (present(trashedPath) && !trashFolderOf(trashedPath).isEmpty()) {
        // The name may have been taken since by a file trashed from elsewhere: its information file says.
        const TrashInfo info = readInfo(infoPathOf(trashedPath), baseOf(trashFolderOf(trashedPath)));
        if (info.originalPaths.isEmpty() || info.names(target))
            trashed = QFileInfo(trashedPath).absoluteFilePath();
    }
    if (trashed.isEmpty()) {
        const Outcome<QString> found = find(target);
        if (!found)
            return present(target) ? failure(ErrorKind::Missing, found.errorText() + QStringLiteral("; ") + inItsPlace)
                                   : found.error();
        trashed = *found;
    }
    if (present(target))
        return failure(ErrorKind::Exists, inItsPlace);
    if (!QFileInfo(QFileInfo(target).path()).isDir())
        return failure(ErrorKind::Missing, QStringLiteral("its folder is no longer there: ") + QFileInfo(target).path());
    if (const Status moved = FileMove::moveFile(trashed, target); !moved)
        return moved.errorKind() == ErrorKind::Exists
            ? failure(ErrorKind::Exists, inItsPlace)
            : failure(moved.errorKind(), QStringLiteral("it could not be put back (") + moved.errorText() + QLatin1Char(')'));
    const QString info = infoPathOf(trashed);
    if (QFile::exists(info) && !QFile::remove(info))
        Diagnostics::write(QStringLiteral("%1 is back, but the Trash's note of it could not be removed: %2").arg(target, info));
    const QString folder = trashFolderOf(trashed);
    syncFolders({QFileInfo(target).path(), folder + QStringLiteral("/files"), folder + QStringLiteral("/info")});
    return {};
}

} // namespace Trash
