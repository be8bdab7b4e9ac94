#pragma once

#include <QString>

/** The manual pages of kinovela-cli and kinovela, in roff, made from the command table. */
namespace ManPage {

/** kinovela-cli(1). */
QString commandLine();
/** kinovela(1), the window. */
QString window();

/** `text` with the characters roff treats specially escaped. */
QString escaped(const QString &text);

} // namespace ManPage
