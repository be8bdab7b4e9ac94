#pragma once

#include "cli/CliSupport.h"

#include <QStringList>

class AppCore;

/** An import driven from the command line, shared by `import` and `create`. */
namespace ImportRun {

/**
 * Applies "--preset", "--language" and "--stagger" for this run; false with
 * `error` set on a bad value.
 */
bool applyOptions(const CliSupport::Arguments &arguments, double *stagger, QString *error);

/**
 * Starts the core, imports the files (made absolute) and runs the event loop
 * until every file has been listed or rejected. Returns the files that were
 * rejected, in the order given, each also named in an error line.
 */
QStringList run(AppCore &core, const QStringList &files, double stagger);

} // namespace ImportRun
