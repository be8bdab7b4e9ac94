#pragma once

#include "base/Outcome.h"
#include "creation/ConverterOutput.h"

#include <QObject>
#include <QProcess>
#include <QStringList>

#include <optional>

/**
 * Runs the converter (ffmpeg) on one argument list without blocking: both
 * output streams are read as one, line by line, progress lines ("time=...")
 * become progressChanged() values across the whole batch, "Conversion
 * failed!" and the converter's other lines become diagnostic lines.
 * finished() says whether the converter ran to a clean end (started, exit
 * code 0, not cancelled), with the reason when it did not.
 */
class ConverterRunner : public QObject
{
    Q_OBJECT
public:
    explicit ConverterRunner(QObject *parent = nullptr);
    ~ConverterRunner() override;

    void terminalProcessWithTerminalArgs(const QStringList &terminalArgs, double durationOfVideo, int currentCount,
                                         int totalCount);
    /** Stops the converter: terminate, then kill when it does not stop. */
    void cancel();
    bool isRunning() const { return m_process != nullptr; }

    /**
     * The progress value a line of converter output gives: the first clock
     * time in a line that holds "time=", as (current / total) * 100
     * + (elapsed / duration * 100) / total. Nothing for "Conversion failed!",
     * a line without a time, or a duration that is not positive.
     */
    static std::optional<double> progressForLine(const QString &line, double durationOfVideo, int currentCount,
                                                 int totalCount);

Q_SIGNALS:
    void progressChanged(double value);
    void finished(const Status &status);

private:
    void readOutput();
    void handleLine(const QString &line);
    void processFinished(int exitCode, QProcess::ExitStatus status);
    void failedToStart();

    QProcess *m_process = nullptr;
    ConverterOutput m_output;
    double m_duration = 0;
    int m_current = 0;
    int m_total = 1;
    bool m_cancelled = false;
    bool m_sawConversionFailed = false;
};
