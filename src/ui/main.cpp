#include "base/Diagnostics.h"
#include "ui/MainWindow.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Kinovela"));
    QApplication::setApplicationName(QStringLiteral("Kinovela"));
    QApplication::setApplicationVersion(QStringLiteral(KINOVELA_VERSION));
    QApplication::setQuitOnLastWindowClosed(true);
    Diagnostics::setSink(Diagnostics::Sink::StandardOutput);

    MainWindow window;
    window.show();
    return app.exec();
}
