#include "creation/FileMove.h"

#include "base/Diagnostics.h"

#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString lastError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

/** Renames without replacing: fails with EEXIST when @p to is taken. */
bool renameNoReplace(const QByteArray &from, const QByteArray &to)
{
#if defined(Q_OS_LINUX) && defined(RENAME_NOREPLACE)
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
#endif
    // A file system without the flag: a hard link claims the name atomically.
    if (::link(from.constData(), to.constData()) != 0) {
        if (errno == EPERM || errno == ENOTSUP) {
            if (::access(to.constData(), F_OK) == 0) {
                errno = EEXIST;
                return false;
            }
            return ::rename(from.constData(), to.constData()) == 0;
        }
        return false;
    }
    ::unlink(from.constData());
    return true;
}

/** Copies @p from to @p to (a new file), flushed to the disk. */
bool copyFlushed(const QString &from, const QString &to, QString *error)
{
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly)) {
        *error = source.errorString();
        return false;
    }
    QFile target(to);
    if (!target.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        *error = target.errorString();
        return false;
    }
    constexpr qint64 Chunk = qint64(4) * 1024 * 1024;
    QByteArray buffer(Chunk, Qt::Uninitialized);
    for (;;) {
        const qint64 got = source.read(buffer.data(), Chunk);
        if (got < 0) {
            *error = source.errorString();
            return false;
        }
        if (got == 0)
            break;
        if (target.write(buffer.constData(), got) != got) {
            *error = target.errorString();
            return false;
        }
    }
    if (!target.flush() || !FileMove::syncHandle(target.handle())) {
        *error = target.errorString().isEmpty() ? lastError() : target.errorString();
        return false;
    }
    target.setPermissions(source.permissions());
    return true;
}

} // namespace

namespace FileMove {

bool syncHandle(int fd)
{
    // A file system that cannot flush (EINVAL) or is read-only has nothing to lose.
    return ::fsync(fd) == 0 || errno == EINVAL || errno == EROFS;
}

bool syncFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && syncHandle(file.handle());
}

bool syncFolder(const QString &folder)
{
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = syncHandle(fd);
    ::close(fd);
    return ok;
}

bool moveFile(const QString &from, const QString &to, QString *error)
{
    const QByteArray nativeFrom = QFile::encodeName(from);
    const QByteArray nativeTo = QFile::encodeName(to);
    const QString folder = QFileInfo(to).absolutePath();
    if (QFileInfo::exists(to)) {
        *error = QStringLiteral("a file already exists at ") + to;
        return false;
    }
    if (renameNoReplace(nativeFrom, nativeTo)) {
        syncFolder(folder);
        return true;
    }
    if (errno == EEXIST) {
        *error = QStringLiteral("a file already exists at ") + to;
        return false;
    }
    if (errno != EXDEV) {
        *error = lastError();
        return false;
    }

    // Another file system: copy beside the new name, flush, name it, then let the original go.
    const QString part = folder + QStringLiteral("/.kinovela-move-")
        + QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".part");
    QString why;
    if (!copyFlushed(from, part, &why)) {
        QFile::remove(part);
        *error = QStringLiteral("the movie could not be copied to the destination (%1)").arg(why);
        return false;
    }
    if (!renameNoReplace(QFile::encodeName(part), nativeTo)) {
        *error = errno == EEXIST ? QStringLiteral("a file already exists at ") + to : lastError();
        QFile::remove(part);
        return false;
    }
    syncFolder(folder);
    if (::unlink(nativeFrom.constData()) != 0) {
        // Both copies exist: nothing is lost, but say so.
        Diagnostics::write(QStringLiteral("Moved %1 to %2, but the original could not be removed (%3)")
                               .arg(from, to, lastError()));
        return true;
    }
    syncFolder(QFileInfo(from).absolutePath());
    return true;
}

} // namespace FileMove
