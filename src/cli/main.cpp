#include "base/Diagnostics.h"
#include "cli/BashCompletion.h"
#include "cli/CliSupport.h"
#include "cli/CommandTable.h"
#include "cli/Commands.h"
#include "cli/HelpText.h"
#include "cli/ManPage.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTextStream>


namespace Commands {

int usageError(const QString &message)
{
    QTextStream err(stderr);
    err << "kinovela-cli: " << message << "\n"
        << "Try 'kinovela-cli --help' for more information.\n";
    return UsageError;
}

} // namespace Commands

namespace {

int print(const QString &text)
{
    QTextStream(stdout) << text;
    return Commands::Success;
}

// The build writes the manual pages and the completion with "--write-docs DIR".
int writeDocs(const QString &folder)
{
    const std::pair<QString, QString> documents[] = {
        {QStringLiteral("kinovela-cli.1"), ManPage::commandLine()},
        {QStringLiteral("kinovela.1"), ManPage::window()},
        {QStringLiteral("kinovela-cli"), BashCompletion::script(BashCompletion::languageWords())},
    };
    QDir().mkpath(folder);
    for (const auto &[name, text] : documents) {
        QFile file(QDir(folder).filePath(name));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text.toUtf8()) < 0) {
            QTextStream(stderr) << "kinovela-cli: cannot write " << file.fileName() << ": " << file.errorString() << "\n";
            return Commands::SomeFailed;
        }
    }
    return Commands::Success;
}

int help(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return print(HelpText::overview());
    const CommandTable::Command *command = CommandTable::find(arguments.constFirst());
    if (!command || arguments.size() > 1)
        return Commands::usageError(QStringLiteral("'help' takes one COMMAND of: ") + [] {
            QStringList names;
            for (const CommandTable::Command &entry : CommandTable::commands())
                names.append(entry.name);
            return names.join(QStringLiteral(", "));
        }());
    return print(HelpText::command(*command));
}

int run(const QString &command, const QStringList &arguments)
{
    using Handler = int (*)(const QStringList &);
    const std::pair<const char *, Handler> handlers[] = {
        {"probe", Commands::probe},   {"hash", Commands::hash},     {"identify", Commands::identify},
        {"search", Commands::search}, {"import", Commands::import}, {"create", Commands::create},
        {"choose", Commands::choose}, {"forget", Commands::forget}, {"undo", Commands::undo},
        {"doctor", Commands::doctor}, {"help", help},
    };
    for (const auto &[name, handler] : handlers) {
        if (command == QLatin1String(name))
            return handler(arguments);
    }
    return Commands::usageError(QStringLiteral("unknown command '%1'").arg(command));
}

} // namespace

namespace {

// Qt's own warnings are diagnostic lines like ours: shown with --verbose, kept with --log, never in a quiet run.
void qtMessage(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtFatalMsg)
        Diagnostics::error(message);
    else
        Diagnostics::write(message);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kinovela"));
    QCoreApplication::setApplicationName(QStringLiteral("Kinovela"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KINOVELA_VERSION));
    Diagnostics::setSink(Diagnostics::Sink::StandardError);
    qInstallMessageHandler(qtMessage);

    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() == 2 && arguments.constFirst() == QLatin1String("--write-docs"))
        return writeDocs(arguments.constLast());
    const CliSupport::GlobalOptions global = CliSupport::takeGlobalOptions(arguments);
    if (!global.error.isEmpty())
        return Commands::usageError(global.error);
    if (arguments.isEmpty())
        return global.help ? print(HelpText::overview()) : Commands::usageError(QStringLiteral("no command given"));

    const QString command = arguments.takeFirst();
    if (command == QLatin1String("--version"))
        return print(QStringLiteral("kinovela-cli %1\n").arg(QStringLiteral(KINOVELA_VERSION)));
    if (global.help) {
        const CommandTable::Command *entry = CommandTable::find(command);
        return entry ? print(HelpText::command(*entry)) : Commands::usageError(QStringLiteral("unknown command '%1'").arg(command));
    }

    Diagnostics::setThreshold(global.threshold);
    CliSupport::setProgressShown(global.threshold != Diagnostics::Level::Error);
    QString error;
    if (!Diagnostics::setLogFile(global.logFile, &error))
        return Commands::usageError(error);
    Diagnostics::write(QStringLiteral("kinovela-cli %1: %2 %3")
                           .arg(QStringLiteral(KINOVELA_VERSION), command, arguments.join(QLatin1Char(' '))));
    return run(command, arguments);
}
