#pragma once

#include "base/Diagnostics.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonValue>
#include <QSet>
#include <QStringList>
#include <QTextStream>
#include <QVariant>

class Progress;

/** What the subcommands share: option parsing, JSON output, run-only settings. */
namespace CliSupport {

/** A rating string as people know it ("mpaa|R|400|" -> "R"); the string itself when it is none of the US ratings. */
QString ratingLabel(const QString &rating);

struct Arguments
{
    QHash<QString, QString> values; // "--language" -> "fr"
    QSet<QString> flags;            // "--json"
    QStringList positional;
    QString error;                  // not empty: a usage error

    bool has(const QString &flag) const { return flags.contains(flag); }
    QString value(const QString &option) const { return values.value(option); }
};

/**
 * Splits arguments into flags, options with a value ("--x V" or "--x=V")
 * and positional arguments. "--" ends the options. An unknown option or a
 * missing value is a usage error.
 */
Arguments parse(const QStringList &arguments, const QStringList &flagNames, const QStringList &valueOptions);

/** Splits the arguments of the command named `command` (see CommandTable) as parse() does, with that command's options. */
Arguments parseFor(const QString &command, const QStringList &arguments);

/** What the options of every command asked for; they may stand anywhere before "--". */
struct GlobalOptions
{
    Diagnostics::Level threshold = Diagnostics::Level::Result;
    QString logFile;
    bool help = false;
    QString error; // not empty: a usage error
};

/** Removes -v/--verbose, -q/--quiet, --log FILE and -h/--help from `arguments`. */
GlobalOptions takeGlobalOptions(QStringList &arguments);

/** The absolute form of a path given on the command line. */
QString absolutePath(const QString &path);
/** A path as a person reads it: relative to the current folder when it lies below it, else absolute. */
QString displayPath(const QString &path);

/**
 * JSON form of an item value: maps and lists recursively, file URLs as
 * strings, images as {"width", "height", "resource"} (resource only for the
 * application's own images).
 */
QJsonValue toJson(const QVariant &value);

/** The JSON forms of movie items, in order. */
QJsonArray toJsonArray(const QList<QVariantMap> &items);

namespace Detail {
struct TextBuffer
{
    QString text;
};
} // namespace Detail

/**
 * Text for standard output: collected as with any QTextStream and written
 * when it goes out of scope, with what could steer a terminal replaced
 * (Diagnostics::printable): titles, reasons and file names come from
 * services and files nobody checked.
 */
class TextOut : private Detail::TextBuffer, public QTextStream
{
public:
    TextOut() : QTextStream(&text) {}
    ~TextOut() override;
    TextOut(const TextOut &) = delete;
    TextOut &operator=(const TextOut &) = delete;
};

/** Writes one JSON document (indented) on standard output. */
void printJson(const QJsonValue &value);

/** Applies "--language L" for this run only; false with `error` set when L is not in the language list. */
bool applyLanguage(const QString &language, QString *error);
/** Applies "--preset N" (1 to 4) for this run only; false with `error` set when N is not valid. */
bool applyPreset(const QString &preset, QString *error);

/** Shows a progress bar on standard error for `progress` while it runs, when standard error is a terminal and progress is shown. */
void showProgressOnTerminal(Progress *progress);
/** Whether long work shows a progress bar; -q turns it off. */
void setProgressShown(bool shown);

} // namespace CliSupport
