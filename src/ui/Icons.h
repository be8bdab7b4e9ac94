#pragma once

#include <QIcon>

/**
 * The window's pictures come from the desktop's icon theme, by their
 * freedesktop names (document-open, document-save, edit-find...). Where the
 * desktop names no theme (a bare X server, XFCE without one, i3, offscreen
 * tests) Adwaita is used, and it is also the fallback for names the
 * desktop's theme lacks.
 */
namespace Icons {

/**
 * Sets the theme (Adwaita when the platform names none), the fallback theme
 * and the search paths, once; the first named() does it when start-up did not.
 */
void setUp();

/** The theme's icon of the first name it has (a specific name, then a more common one); an empty icon when none. */
QIcon named(const QString &name, const QString &otherName = QString());

} // namespace Icons
