#pragma once

#include <QMainWindow>

/** The application's one window: the movie list and the selected movie's poster. */
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(QWidget *parent = nullptr);
};
