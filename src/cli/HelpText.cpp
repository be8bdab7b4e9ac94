#include "cli/HelpText.h"

#include <QStringList>

namespace HelpText {

namespace {

using CommandTable::Entry;
using CommandTable::Option;

constexpr int wideColumn = 24;
constexpr int narrowColumn = 5;

// "  name    text", the text wrapped at `column`; a long name puts the text on the next line.
QString entry(const QString &name, const QString &text, int column = wideColumn)
{
    const QString head = QStringLiteral("  ") + name;
    QString body = wrap(text, column);
    if (head.size() + 2 <= column)
        return head + body.mid(head.size());
    return head + QLatin1Char('\n') + body;
}

QString optionName(const Option &option)
{
    const QString names = option.names.join(QStringLiteral(", "));
    return option.value.isEmpty() ? names : names + QLatin1Char(' ') + option.value;
}

QString options(const QString &title, const QList<Option> &list)
{
    QString out = title + QStringLiteral(":\n");
    for (const Option &option : list)
        out += entry(optionName(option), option.text);
    return out;
}

QString entries(const QString &title, const QList<Entry> &list, int column = wideColumn)
{
    QString out = title + QStringLiteral(":\n");
    for (const Entry &item : list)
        out += entry(item.name, item.text, column);
    return out;
}

// "Usage: kinovela-cli create --dest DIR [--preset N] ...", continued lines indented.
QString usage(const QString &synopsis)
{
    return QStringLiteral("Usage:") + wrap(QStringLiteral("kinovela-cli ") + synopsis, 7).mid(6);
}

} // namespace

QString wrap(const QString &text, int indent, int width)
{
    const QString margin(indent, QLatin1Char(' '));
    QString out;
    QString line;
    for (const QString &word : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (!line.isEmpty() && indent + line.size() + 1 + word.size() > width) {
            out += margin + line + QLatin1Char('\n');
            line.clear();
        }
        line += (line.isEmpty() ? QString() : QStringLiteral(" ")) + word;
    }
    if (!line.isEmpty())
        out += margin + line + QLatin1Char('\n');
    return out;
}

QString overview()
{
    QString out = QStringLiteral("Usage: kinovela-cli [-v | -q] [--log FILE] COMMAND [OPTION...] [ARGUMENT...]\n\n");
    out += wrap(CommandTable::about(), 0) + QLatin1Char('\n');
    QList<Entry> list;
    for (const CommandTable::Command &command : CommandTable::commands())
        list.append({command.name, command.summary});
    out += entries(QStringLiteral("Commands"), list) + QLatin1Char('\n');
    out += options(QStringLiteral("Options of every command"), CommandTable::globalOptions());
    out += entry(QStringLiteral("--version"), QStringLiteral("Print the version and exit.")) + QLatin1Char('\n');
    out += wrap(QStringLiteral("'kinovela-cli help COMMAND' explains a command's options, the presets, the environment "
                               "and the exit statuses. See also kinovela-cli(1)."),
                0);
    return out;
}

QString command(const CommandTable::Command &command)
{
    QString out = usage(command.synopsis()) + QLatin1Char('\n');
    out += wrap(command.description, 0) + QLatin1Char('\n');
    if (!command.options.isEmpty())
        out += options(QStringLiteral("Options"), command.options) + QLatin1Char('\n');
    out += options(QStringLiteral("Options of every command"), CommandTable::globalOptions()) + QLatin1Char('\n');
    if (command.usesPresets) {
        out += entries(QStringLiteral("Presets"), CommandTable::presets(), narrowColumn);
        out += wrap(CommandTable::convertedSourceFate(), 2) + QLatin1Char('\n');
    }
    if (!command.json.isEmpty())
        out += QStringLiteral("With --json:\n") + wrap(command.json, 2) + QLatin1Char('\n');
    out += entries(QStringLiteral("Environment"), CommandTable::environment()) + QLatin1Char('\n');
    out += entries(QStringLiteral("Exit status"), CommandTable::exitStatuses(), narrowColumn) + QLatin1Char('\n');
    out += QStringLiteral("Example:\n  ") + command.example + QLatin1Char('\n') + wrap(command.exampleText, 2);
    return out;
}

} // namespace HelpText
