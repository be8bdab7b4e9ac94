#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "subtitles/FileHash.h"

#include <QFileInfo>
#include <QTextStream>

namespace Commands {

int hash(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parse(arguments, {}, {});
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (parsed.positional.isEmpty())
        return usageError(QStringLiteral("'hash' needs at least one FILE"));

    QTextStream out(stdout);
    bool allRead = true;
    for (const QString &given : parsed.positional) {
        const QString path = CliSupport::absolutePath(given);
        const QFileInfo info(path);
        if (!info.isFile() || !info.isReadable()) {
            allRead = false;
            Diagnostics::write(QStringLiteral("Cannot read: ") + given);
            continue;
        }
        const FileHash::VideoHash hash = FileHash::getVideoHashForPath(path);
        out << FileHash::hashText(hash.fileHash) << "  " << hash.fileSize << "  " << given << "\n";
    }
    return allRead ? Success : SomeFailed;
}

} // namespace Commands
