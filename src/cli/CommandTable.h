#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/**
 * Everything kinovela-cli knows about its commands and options, in one
 * table: the option parser, the help text, the manual pages and the bash
 * completion are all made from it, so they cannot disagree. A new command
 * or option is one entry here.
 */
namespace CommandTable {

/** What completes a value or a positional argument. */
enum class Completion { None, Files, Directories, Presets, Languages, Commands };

struct Option
{
    QStringList names; // {"-v", "--verbose"}; the last is the long name
    QString value;     // "FILE"; empty for a flag
    QString text;
    Completion completion = Completion::None;
    bool required = false;

    QString longName() const { return names.constLast(); }
};

struct Command
{
    QString name;
    QString arguments; // the positional arguments of the synopsis, "FILE..."
    Completion positional = Completion::None;
    QString summary;   // one line for the command list
    QString description;
    QList<Option> options;
    QString json;      // what --json prints; empty when the command has no --json
    bool usesPresets = false;
    QString example;
    QString exampleText;

    /** "create --dest DIR [--preset N] ... FILE..." */
    QString synopsis() const;
};

/** A named paragraph: a preset, a variable, an exit status, a file. */
struct Entry
{
    QString name;
    QString text;
};

/** What the program does, in a few sentences. */
QString about();
/** What happens to a source that was converted; the one place that says it. */
QString convertedSourceFate();

const QList<Command> &commands();
/** The command named `name`, or nullptr. */
const Command *find(const QString &name);
/** -v, -q, --log, --help: accepted by every command. */
const QList<Option> &globalOptions();

QList<Entry> presets();
QList<Entry> environment();
QList<Entry> exitStatuses();
QList<Entry> files();

/** The long names of a command's flags and of its options that take a value. */
QStringList flagNames(const Command &command);
QStringList valueOptionNames(const Command &command);

} // namespace CommandTable
