#include "base/Diagnostics.h"
#include "cli/Commands.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

static const char *const usageText =
    "Usage:\n"
    "  kinovela-cli probe [--json] FILE...\n"
    "  kinovela-cli hash FILE...\n"
    "  kinovela-cli identify [--language L] [--json] NAME...\n"
    "  kinovela-cli search [--language L] [--json] TEXT\n"
    "  kinovela-cli import [--preset N] [--language L] [--stagger S] [--json] FILE...\n"
    "  kinovela-cli create --dest DIR [--preset N] [--language L] [--stagger S] [--json] FILE...\n"
    "  kinovela-cli --help | --version\n"
    "\n"
    "Exit status: 0 when everything was done, 1 when some file or item failed,\n"
    "2 for a usage error.\n";

namespace Commands {

int usageError(const QString &message)
{
    QTextStream err(stderr);
    err << "kinovela-cli: " << message << "\n"
        << "Try 'kinovela-cli --help' for more information.\n";
    return UsageError;
}

} // namespace Commands

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kinovela"));
    QCoreApplication::setApplicationName(QStringLiteral("Kinovela"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KINOVELA_VERSION));
    Diagnostics::setSink(Diagnostics::Sink::StandardError);

    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty())
        return Commands::usageError(QStringLiteral("no command given"));

    const QString command = arguments.takeFirst();
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        std::fputs(usageText, stdout);
        return Commands::Success;
    }
    if (command == QLatin1String("--version")) {
        std::printf("kinovela-cli %s\n", KINOVELA_VERSION);
        return Commands::Success;
    }

    using Handler = int (*)(const QStringList &);
    const std::pair<const char *, Handler> handlers[] = {
        {"probe", Commands::probe},       {"hash", Commands::hash},     {"identify", Commands::identify},
        {"search", Commands::search},     {"import", Commands::import}, {"create", Commands::create},
    };
    for (const auto &[name, handler] : handlers) {
        if (command == QLatin1String(name))
            return handler(arguments);
    }
    return Commands::usageError(QStringLiteral("unknown command '%1'").arg(command));
}
