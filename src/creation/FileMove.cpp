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

ErrorKind kindOfErrno(int error)
{
    switch (error) {
    case EEXIST:
        return ErrorKind::Exists;
    case ENOSPC:
    case EDQUOT:
        return ErrorKind::NoSpace;
    case ENOENT:
        return ErrorKind::Missing;
    default:
        return ErrorKind::Io;
    }
}

Error fileError(const QFile &file)
{
    return failure(file.error() == QFileDevice::ResourceError ? ErrorKind::NoSpace : ErrorKind::Io, file.errorString());
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
Status copyFlushed(const QString &from, const QString &to)
{
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        return fileError(source);
    QFile target(to);
    if (!target.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return fileError(target);
    constexpr qint64 Chunk = qint64(4) * 1024 * 1024;
    QByteArray buffer(Chunk, Qt::Uninitialized);
    for (;;) {
        const qint64 got = source.read(buffer.data(), Chunk);
        if (got < 0)
            return fileError(source);
        if (got == 0)
            break;
        if (target.write(buffer.constData(), got) != got)
            return fileError(target);
    }
    if (!target.flush())
        return fileError(target);
    if (const Status synced = FileMove::syncHandle(target.handle()); !synced)
        return synced;
    target.setPermissions(source.permissions());
    return {};
}

} // namespace

namespace FileMove {

Status syncHandle(int fd)
{
    // A file system that cannot flush (EINVAL) or is read-only has nothing to lose.
    if (::fsync(fd) == 0 || errno == EINVAL || errno == EROFS)
        return {};
    return failure(kindOfErrno(errno), lastError());
}

Status syncFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fileError(file);
    return syncHandle(file.handle());
}

Status syncFolder(const QString &folder)
{
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return failure(kindOfErrno(errno), lastError());
    const Status synced = syncHandle(fd);
    ::close(fd);
    return synced;
}

Status moveFile(const QString &from, const QString &to)
{
    const QByteArray nativeFrom = QFile::encodeName(from);
    const QByteArray nativeTo = QFile::encodeName(to);
    const QString folder = QFileInfo(to).absolutePath();
    const Error taken = failure(ErrorKind::Exists, QStringLiteral("a file already exists at ") + to);
    if (QFileInfo::exists(to))
        return taken;
    if (renameNoReplace(nativeFrom, nativeTo)) {
        (void)syncFolder(folder);
        return {};
    }
    if (errno == EEXIST)
        return taken;
    if (errno != EXDEV)
        return failure(kindOfErrno(errno), lastError());

    // Another file system: copy beside the new name, flush, name it, then let the original go.
    const QString part = folder + QStringLiteral("/.kinovela-move-")
        + QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".part");
    if (const Status copied = copyFlushed(from, part); !copied) {
        QFile::remove(part);
        return failure(copied.errorKind(),
                       QStringLiteral("the movie could not be copied to the destination (%1)").arg(copied.errorText()));
    }
    if (!renameNoReplace(QFile::encodeName(part), nativeTo)) {
        const Error error = errno == EEXIST ? taken : failure(kindOfErrno(errno), lastError());
        QFile::remove(part);
        return error;
    }
    (void)syncFolder(folder);
    if (::unlink(nativeFrom.constData()) != 0) {
        // Both copies exist: nothing is lost, but say so.
        Diagnostics::write(QStringLiteral("Moved %1 to %2, but the original could not be removed (%3)")
                               .arg(from, to, lastError()));
        return {};
    }
    (void)syncFolder(QFileInfo(from).absolutePath());
    return {};
}

} // namespace FileMove
