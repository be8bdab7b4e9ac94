#include "cli/Commands.h"

namespace Commands {

int create(const QStringList &)
{
    return usageError(QStringLiteral("the 'create' command is not available in this build yet"));
}

} // namespace Commands
