#include "base/ToolLocator.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

namespace ToolLocator {

static QString locate(const char *variable, const QString &resourceName, const QString &programName)
{
    const QString fromEnvironment = qEnvironmentVariable(variable);
    if (!fromEnvironment.isEmpty()) {
        // An explicit setting wins even when it is wrong: the caller then
        // reports a program that cannot be started instead of silently
        // running a different one.
        if (fromEnvironment.contains(QLatin1Char('/')))
            return fromEnvironment;
        return QStandardPaths::findExecutable(fromEnvironment);
    }
    if (QCoreApplication::instance()) {
        const QFileInfo beside(QCoreApplication::applicationDirPath() + QLatin1Char('/') + resourceName);
        if (beside.isFile() && beside.isExecutable())
            return beside.absoluteFilePath();
    }
    return QStandardPaths::findExecutable(programName);
}

QString probeProgram()
{
    return locate("KINOVELA_FFPROBE", QStringLiteral("sniffer"), QStringLiteral("ffprobe"));
}

QString converterProgram()
{
    return locate("KINOVELA_FFMPEG", QStringLiteral("creator"), QStringLiteral("ffmpeg"));
}

} // namespace ToolLocator
