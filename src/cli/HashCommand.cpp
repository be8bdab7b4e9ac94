#include "cli/Commands.h"

namespace Commands {

int hash(const QStringList &)
{
    return usageError(QStringLiteral("the 'hash' command is not available in this build yet"));
}

} // namespace Commands
