#include "ui/MainWindow.h"

#include <QLabel>

MainWindow::MainWindow(QWidget *parent) : QMainWindow(parent)
{
    setWindowTitle(QStringLiteral("Kinovela"));
    auto *placeholder = new QLabel(tr("Open movie files to begin."), this);
    placeholder->setAlignment(Qt::AlignCenter);
    setCentralWidget(placeholder);
    resize(1100, 700);
}
