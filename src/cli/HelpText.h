#pragma once

#include "cli/CommandTable.h"

#include <QString>

/** The plain-text help of kinovela-cli, made from the command table. */
namespace HelpText {

/** `kinovela-cli --help`: what the program does, its commands and global options. */
QString overview();
/** `kinovela-cli help COMMAND`: every option, the presets, the environment, the exit statuses, an example. */
QString command(const CommandTable::Command &command);

/** `text` wrapped to lines of at most `width` characters, each indented by `indent` spaces. */
QString wrap(const QString &text, int indent, int width = 79);

} // namespace HelpText
