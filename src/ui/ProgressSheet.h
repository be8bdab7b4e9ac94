#pragma once

#include <QDialog>
#include <QElapsedTimer>

class Progress;
class QLabel;
class QProgressBar;
class QPushButton;
class QShortcut;

/**
 * The progress sheet ("progressWindow") of an import or a Save: the title
 * the work gives, the bar, "3 of 10" and the time left, and Cancel when the
 * work can be cancelled. While the work runs the sheet cannot be put away:
 * Escape and the close button are ignored, so the list behind it cannot be
 * changed under the work. The quit shortcut asks the window to quit.
 */
class ProgressSheet : public QDialog
{
    Q_OBJECT
public:
    ProgressSheet(Progress *progress, QWidget *parent);

    /** What the work counts ("movie", "file"...) and how many there are; 0 shows no count. */
    void setTotal(int total);
    /** How many are done or under way. */
    void setCurrent(int current);
    bool isRunning() const { return m_running; }
    /** The keys that quit the application (the main window's Quit): pressed on the sheet they ask to quit. */
    void setQuitKeys(const QKeySequence &keys);

    /** "About 2 minutes left" for the fraction done after @p elapsedMs; empty while too early to say. */
    static QString timeLeftText(double fractionDone, qint64 elapsedMs);

public Q_SLOTS:
    void reject() override;

Q_SIGNALS:
    void cancelRequested();
    void quitRequested();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void begin(bool cancellable);
    void updateCount();
    void end();

    Progress *m_progress;
    QLabel *m_title;
    QProgressBar *m_bar;
    QLabel *m_count;
    QPushButton *m_cancel;
    QShortcut *m_quit;
    QElapsedTimer m_clock;
    int m_total = 0;
    int m_current = 0;
    bool m_running = false;
};
