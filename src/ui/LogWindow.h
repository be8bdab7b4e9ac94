#pragma once

#include <QDialog>
#include <QStringList>

class QPlainTextEdit;

/**
 * Every diagnostic line of the session (Help ▸ Show Log): the lines also go
 * to standard output, which a desktop user never sees. Lines written on
 * other threads arrive through the event loop.
 */
class LogWindow : public QDialog
{
    Q_OBJECT
public:
    explicit LogWindow(QWidget *parent = nullptr);
    ~LogWindow() override;

    QStringList lines() const { return m_lines; }

Q_SIGNALS:
    void lineAdded(const QString &line);

private:
    void append(const QString &line);

    QPlainTextEdit *m_text;
    QStringList m_lines;
    int m_listener = 0;
};
