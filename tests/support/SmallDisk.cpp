#include "support/SmallDisk.h"

#include <QFile>
#include <QProcess>
#include <QStorageInfo>

#include <unistd.h>

namespace {

bool run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

SmallDisk::SmallDisk(qint64 bytes)
{
    if (!m_dir.isValid() || ::geteuid() != 0)
        return;
    m_mounted = run(QStringLiteral("mount"), {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                                             QStringLiteral("size=%1").arg(bytes), QStringLiteral("kinovela-test"),
                                             m_dir.path()});
}

SmallDisk::~SmallDisk()
{
    if (m_mounted)
        run(QStringLiteral("umount"), {QStringLiteral("-l"), m_dir.path()});
}

bool SmallDisk::leaveFree(qint64 bytes)
{
    QFile ballast(m_dir.filePath(QStringLiteral("ballast")));
    if (!ballast.open(QIODevice::WriteOnly | QIODevice::Append))
        return false;
    const QByteArray block(4096, 'b');
    while (QStorageInfo(m_dir.path()).bytesAvailable() > bytes) {
        if (ballast.write(block) != block.size() || !ballast.flush())
            return false;
    }
    return true;
}
