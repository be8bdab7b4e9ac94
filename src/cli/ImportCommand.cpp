#include "cli/Commands.h"

namespace Commands {

int import(const QStringList &)
{
    return usageError(QStringLiteral("the 'import' command is not available in this build yet"));
}

} // namespace Commands
