#include "cli/Commands.h"

namespace Commands {

int probe(const QStringList &)
{
    return usageError(QStringLiteral("the 'probe' command is not available in this build yet"));
}

} // namespace Commands
