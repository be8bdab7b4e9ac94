#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "subtitles/FileHash.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

namespace Commands {

int hash(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parseFor(QStringLiteral("hash"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (parsed.positional.isEmpty())
        return usageError(QStringLiteral("'hash' needs at least one FILE"));

    const bool json = parsed.has(QStringLiteral("--json"));
    CliSupport::TextOut out;
    QJsonArray array;
    bool allRead = true;
    for (const QString &given : parsed.positional) {
        const QString path = CliSupport::absolutePath(given);
        const QFileInfo info(path);
        if (!info.isFile() || !info.isReadable()) {
            allRead = false;
            Diagnostics::error(given + QStringLiteral(": cannot be read"));
            continue;
        }
        const FileHash::VideoHash hash = FileHash::getVideoHashForPath(path);
        const QString text = FileHash::hashText(hash.fileHash);
        if (json)
            array.append(QJsonObject{{QStringLiteral("file"), given},
                                     {QStringLiteral("hash"), text},
                                     {QStringLiteral("size"), double(hash.fileSize)}});
        else
            out << text << "  " << hash.fileSize << "  " << given << "\n";
    }
    if (json)
        CliSupport::printJson(array);
    return allRead ? Success : SomeFailed;
}

} // namespace Commands
