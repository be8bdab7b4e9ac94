#pragma once

#include <QString>

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

/** While a capture is active, lines are also appended to the captured list. */
void startCapture();
QStringList stopCapture();

} // namespace Diagnostics
