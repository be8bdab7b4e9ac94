#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QTimer;

/**
 * Has the disk write a growing file's data while the file is still being
 * written (the converter's output), so that flushing it at the end waits only
 * for the last part instead of the whole movie. Each round asks the kernel to
 * start writing the pages that are dirty, off the main thread; it never waits
 * for them. Where the system has no such request, it does nothing.
 */
class WriteBehind : public QObject
{
    Q_OBJECT
public:
    explicit WriteBehind(QObject *parent = nullptr);
    ~WriteBehind() override;

    /** Starts following @p path; the file may not exist yet. */
    void start(const QString &path);
    void stop();

    struct State;

private:
    void round();

    QTimer *m_timer = nullptr;
    std::shared_ptr<State> m_state;
};
