#pragma once

#include <QStringList>

/**
 * The subcommands of kinovela-cli. Each takes the arguments after its own
 * name and returns the process exit status: 0 when everything asked for was
 * done, 1 when some file or item failed, 2 for a usage error.
 */
namespace Commands {

enum ExitStatus { Success = 0, SomeFailed = 1, UsageError = 2 };

int probe(const QStringList &arguments);
int hash(const QStringList &arguments);
int identify(const QStringList &arguments);
int search(const QStringList &arguments);
int import(const QStringList &arguments);
int create(const QStringList &arguments);
int choose(const QStringList &arguments);
int forget(const QStringList &arguments);
int undo(const QStringList &arguments);
int doctor(const QStringList &arguments);

/** Prints "kinovela-cli: <message>" and a hint to standard error; returns UsageError. */
int usageError(const QString &message);

} // namespace Commands
