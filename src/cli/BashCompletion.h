#pragma once

#include <QString>
#include <QStringList>

/**
 * The bash completion of kinovela-cli, made from the command table: the
 * commands, their options, the presets, the given language codes and names,
 * folders for --dest and files for the rest. It defines `_kinovela_cli`.
 */
namespace BashCompletion {

QString script(const QStringList &languages);

/** The words a language completes to: each entry's alpha2 and alpha3-b codes and its English name when it is one word. */
QStringList languageWords();

} // namespace BashCompletion
