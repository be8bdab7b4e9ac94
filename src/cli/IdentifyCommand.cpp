#include "cli/Commands.h"

namespace Commands {

int identify(const QStringList &)
{
    return usageError(QStringLiteral("the 'identify' command is not available in this build yet"));
}

} // namespace Commands
