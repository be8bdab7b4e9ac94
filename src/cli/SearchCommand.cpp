#include "cli/Commands.h"

namespace Commands {

int search(const QStringList &)
{
    return usageError(QStringLiteral("the 'search' command is not available in this build yet"));
}

} // namespace Commands
