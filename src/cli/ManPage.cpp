#include "cli/ManPage.h"

#include "cli/CommandTable.h"

#include <QStringList>

namespace ManPage {

namespace {

using CommandTable::Entry;
using CommandTable::Option;

QString header(const QString &name, const QString &summary)
{
    return QStringLiteral(".TH %1 1 \"\" \"Kinovela %2\" \"User Commands\"\n.SH NAME\n%3 \\- %4\n")
        .arg(name.toUpper(), QStringLiteral(KINOVELA_VERSION), name, escaped(summary));
}

QString section(const QString &title)
{
    return QStringLiteral(".SH ") + title + QLatin1Char('\n');
}

QString paragraph(const QString &text)
{
    return QStringLiteral(".PP\n") + escaped(text) + QLatin1Char('\n');
}

// A tagged paragraph: the tag in bold on its own line, the text indented below.
QString tagged(const QString &tag, const QString &text)
{
    return QStringLiteral(".TP\n\\fB") + escaped(tag) + QStringLiteral("\\fR\n") + escaped(text) + QLatin1Char('\n');
}

QString optionTag(const Option &option)
{
    const QString names = option.names.join(QStringLiteral(", "));
    return option.value.isEmpty() ? names : names + QLatin1Char(' ') + option.value;
}

QString options(const QList<Option> &list)
{
    QString out;
    for (const Option &option : list)
        out += tagged(optionTag(option), option.text);
    return out;
}

QString entries(const QList<Entry> &list)
{
    QString out;
    for (const Entry &entry : list)
        out += tagged(entry.name, entry.text);
    return out;
}

QString commandSection(const CommandTable::Command &command)
{
    QString out = QStringLiteral(".SS \"") + escaped(QStringLiteral("kinovela-cli ") + command.synopsis())
        + QStringLiteral("\"\n") + escaped(command.description) + QLatin1Char('\n');
    if (!command.json.isEmpty())
        out += QStringLiteral(".PP\nWith \\fB\\-\\-json\\fR: ") + escaped(command.json) + QLatin1Char('\n');
    if (!command.options.isEmpty())
        out += QStringLiteral(".RS\n") + options(command.options) + QStringLiteral(".RE\n");
    return out;
}

QString presets()
{
    return section(QStringLiteral("PRESETS"))
        + paragraph(QStringLiteral("The preset decides what Save (and create) does with each file, and what happens to "
                                   "the originals."))
        + entries(CommandTable::presets()) + paragraph(CommandTable::convertedSourceFate());
}

} // namespace

QString escaped(const QString &text)
{
    QString out = text;
    out.replace(QLatin1Char('\\'), QStringLiteral("\\e"));
    out.replace(QLatin1Char('-'), QStringLiteral("\\-"));
    out.replace(QLatin1Char('\n'), QStringLiteral("\n\\&"));
    if (out.startsWith(QLatin1Char('.')) || out.startsWith(QLatin1Char('\'')))
        out.prepend(QStringLiteral("\\&"));
    return out;
}

QString commandLine()
{
    QString out = header(QStringLiteral("kinovela-cli"), QStringLiteral("turn movie files into tagged MP4 files"));
    out += section(QStringLiteral("SYNOPSIS"))
        + QStringLiteral(".B kinovela-cli\n[\\fB\\-v\\fR | \\fB\\-q\\fR] [\\fB\\-\\-log\\fR \\fIFILE\\fR] \\fICOMMAND\\fR "
                         "[\\fIOPTION\\fR...] [\\fIARGUMENT\\fR...]\n");
    out += section(QStringLiteral("DESCRIPTION")) + escaped(CommandTable::about()) + QLatin1Char('\n');
    out += section(QStringLiteral("COMMANDS"));
    for (const CommandTable::Command &command : CommandTable::commands())
        out += commandSection(command);
    out += section(QStringLiteral("OPTIONS OF EVERY COMMAND")) + options(CommandTable::globalOptions())
        + tagged(QStringLiteral("--version"), QStringLiteral("Print the version and exit."));
    out += presets();
    out += section(QStringLiteral("ENVIRONMENT")) + entries(CommandTable::environment());
    out += section(QStringLiteral("FILES")) + entries(CommandTable::files());
    out += section(QStringLiteral("EXIT STATUS")) + entries(CommandTable::exitStatuses());
    out += section(QStringLiteral("EXAMPLES"));
    for (const CommandTable::Command &command : CommandTable::commands())
        out += tagged(command.example, command.exampleText);
    out += section(QStringLiteral("SEE ALSO")) + QStringLiteral(".BR kinovela (1)\n");
    return out;
}

QString window()
{
    QString out = header(QStringLiteral("kinovela"), QStringLiteral("turn movie files into tagged MP4 files"));
    out += section(QStringLiteral("SYNOPSIS")) + QStringLiteral(".B kinovela\n[\\fIFILE\\fR...]\n");
    out += section(QStringLiteral("DESCRIPTION"))
        + escaped(QStringLiteral("Kinovela is a desktop application that turns movie files into tagged MP4 files for "
                                 "a media library. Drop files on its window (or name them on the command line): each "
                                 "is probed with ffprobe, the movie is identified on TMDb from the file name and its "
                                 "metadata completed (cast and crew, US rating, store genre, poster); with preset 4 a "
                                 "subtitle is fetched from OpenSubtitles. Any of it can be corrected. Save tags, moves "
                                 "or converts (ffmpeg) every file into the chosen folder and writes iTunes-style tags."))
        + QLatin1Char('\n')
        + paragraph(QStringLiteral("The window writes its diagnostic lines to standard output. kinovela-cli does "
                                   "the same work from the command line."));
    out += presets();
    out += section(QStringLiteral("ENVIRONMENT")) + entries(CommandTable::environment());
    out += section(QStringLiteral("FILES")) + entries(CommandTable::files());
    out += section(QStringLiteral("SEE ALSO")) + QStringLiteral(".BR kinovela\\-cli (1)\n");
    return out;
}

} // namespace ManPage
