#pragma once

#include <QString>

#include <functional>

/**
 * The one place every diagnostic line is written.
 *
 * The desktop application writes to standard output, the command line tool
 * to standard error (so that its standard output stays machine-readable).
 * Registered secrets (API keys, passwords) are replaced by "***" in every
 * line before it is written. Tests can capture the lines.
 */
namespace Diagnostics {

/** Where lines go; Discard is for programs nobody reads (fuzz targets); a capture still sees them. */
enum class Sink { StandardOutput, StandardError, Discard };

void setSink(Sink sink);
void write(const QString &line);

/** Every later line has this text replaced by "***". Empty texts are ignored. */
void addSecret(const QString &secret);
QString masked(const QString &line);

/**
 * Adds a function that is given every later line (secrets masked), on the
 * thread that wrote it, after the line was written to the sink; the window's
 * log view listens this way. Returns an id for removeListener(). A listener
 * must not write diagnostics itself.
 */
int addListener(std::function<void(const QString &line)> listener);
void removeListener(int id);

/** While a capture is active, lines are also appended to the captured list. */
void startCapture();
QStringList stopCapture();

} // namespace Diagnostics
