#include "base/Diagnostics.h"
#include "subtitles/SubtitleCredentials.h"
#include "ui/AppDelegate.h"
#include "ui/Icons.h"

#include <QApplication>
#include <QFileInfo>
#include <QTimer>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Kinovela"));
    QApplication::setApplicationName(QStringLiteral("Kinovela"));
    QApplication::setApplicationVersion(QStringLiteral(KINOVELA_VERSION));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/icon.png")));
    QApplication::setQuitOnLastWindowClosed(true);
    Diagnostics::setSink(Diagnostics::Sink::StandardOutput);
    Icons::setUp();

    AppDelegate window;
    // The subtitle account's password lives in the system keychain (its failures reach the window's log).
    SubtitleCredentials::loadPassword();
    window.applicationDidFinishLaunching();
    window.show();

    // `kinovela FILE...` imports the named files.
    QList<QUrl> files;
    for (const QString &argument : QApplication::arguments().mid(1)) {
        if (QFileInfo(argument).isFile())
            files.append(QUrl::fromLocalFile(QFileInfo(argument).absoluteFilePath()));
    }
    if (!files.isEmpty())
        QTimer::singleShot(0, &window, [&window, files] { window.openFiles(files); });
    return app.exec();
}
