#pragma once

#include <QObject>
#include <QString>

/**
 * The progress sheet as signals: a long piece of work (an import, a creation
 * batch) begins, changes its title and value (0 to 100), and ends. The
 * window shows it as a sheet; the command line tool as a bar on standard
 * error. `cancellable` says whether the sheet offers a cancel button.
 */
class Progress : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    void begin(bool cancellable);
    void setTitle(const QString &title);
    void setValue(double value);
    void end();

    bool isRunning() const { return m_running; }
    QString title() const { return m_title; }
    double value() const { return m_value; }

Q_SIGNALS:
    void began(bool cancellable);
    void titleChanged(const QString &title);
    void valueChanged(double value);
    void ended();

private:
    bool m_running = false;
    QString m_title;
    double m_value = 0;
};
