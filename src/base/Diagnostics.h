#pragma once

#include <QString>

#include <functional>

/**
 * The one place every line meant for a person is written.
 *
 * Each line has a level. The core writes diagnostic lines (what it asked a
 * service, what the converter printed) with write(), and things a person
 * must act on (a missing program) with warn(). Front ends add one line per
 * item with result() and failures with error().
 *
 * The sink shows the lines at or above its threshold: the desktop
 * application writes every line to standard output; the command line tool
 * writes to standard error (so that its standard output stays
 * machine-readable) and by default hides the diagnostic lines. A log file,
 * when set, receives every line of every level. Registered secrets (API
 * keys, passwords) are replaced by "***" in every line before it goes
 * anywhere. Tests can capture the lines.
 */
namespace Diagnostics {

/** What a line is, from the least to the most important. */
enum class Level { Diagnostic, Result, Warning, Error };

/** Where lines go; Discard is for programs nobody reads (fuzz targets); a log or a capture still sees them. */
enum class Sink { StandardOutput, StandardError, Discard };

void setSink(Sink sink);
/** The least important level the sink shows; Diagnostic (every line) unless set. */
void setThreshold(Level level);

/**
 * Appends every later line, of any level, to the file at `path` (created
 * when missing). False with `error` set when it cannot be opened. An empty
 * path stops logging.
 */
bool setLogFile(const QString &path, QString *error);
/** The log file's path, empty when there is none. */
QString logFile();

/** A diagnostic line. */
void write(const QString &line);
/** The outcome of one item (a file, a movie). */
void result(const QString &line);
/** Something a person must act on; the sink shows each distinct warning once. */
void warn(const QString &line);
/** A failure. */
void error(const QString &line);
void write(Level level, const QString &line);

/**
 * A status line (a progress bar) kept below the other lines when the sink
 * is standard error and a terminal; elsewhere it is ignored. An empty text
 * removes it.
 */
void setStatus(const QString &text);

/** Every later line has this text replaced by "***". Empty texts are ignored. */
void addSecret(const QString &secret);
QString masked(const QString &line);

/**
 * @p text with every character that could steer a terminal (control
 * characters but newline and tab, DEL, the C1 controls, the bidirectional
 * overrides) replaced by U+FFFD. Every line written here goes through it:
 * titles and reasons from a service never reach a terminal raw.
 */
QString printable(const QString &text);

/**
 * Adds a function that is given every later line (secrets masked), on the
 * thread that wrote it, after the line was written to the sink; the window's
 * log view listens this way. Returns an id for removeListener(). A listener
 * must not write diagnostics itself.
 */
int addListener(std::function<void(const QString &line)> listener);
void removeListener(int id);

/** While a capture is active, lines of every level are also appended to the captured list. */
void startCapture();
QStringList stopCapture();

} // namespace Diagnostics
