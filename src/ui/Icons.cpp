#include "ui/Icons.h"

#include <QDir>
#include <QStandardPaths>

#include <utility>

namespace Icons {

void setUp()
{
    static bool done = false;
    if (std::exchange(done, true))
        return;
    static const QString fallback = QStringLiteral("Adwaita");
    QStringList paths = QIcon::themeSearchPaths();
    for (const QString &folder : QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("icons"),
                                                           QStandardPaths::LocateDirectory)) {
        if (!paths.contains(folder))
            paths.append(folder);
    }
    if (!paths.contains(QStringLiteral("/usr/share/icons")) && QDir(QStringLiteral("/usr/share/icons")).exists())
        paths.append(QStringLiteral("/usr/share/icons"));
    QIcon::setThemeSearchPaths(paths);
    QIcon::setFallbackThemeName(fallback);
    // "hicolor" is what Qt names when no desktop theme is known: it holds application icons only.
    const QString theme = QIcon::themeName();
    if (theme.isEmpty() || theme == QLatin1String("hicolor"))
        QIcon::setThemeName(fallback);
}

QIcon named(const QString &name, const QString &otherName)
{
    setUp();
    if (otherName.isEmpty() || QIcon::hasThemeIcon(name))
        return QIcon::fromTheme(name);
    return QIcon::fromTheme(otherName);
}

} // namespace Icons
