#pragma once

#include <QObject>
#include <QProcess>
#include <QStringDecoder>
#include <QStringList>

#include <optional>

/**
 * Runs the converter (ffmpeg) on one argument list without blocking: both
 * output streams are read as one, progress lines ("time=...") become
 * progressChanged() values across the whole batch, "Conversion failed!" and
 * the converter's other messages become diagnostic lines. finished() says
 * whether the converter ran to a clean end (started, exit code 0, not
 * cancelled), with a reason when it did not.
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
     * The progress value a chunk of converter output gives: the first clock
     * time anywhere in a chunk that holds "time=", as (current / total) * 100
     * + (elapsed / duration * 100) / total. Nothing for "Conversion failed!",
     * a chunk without a time, or a duration that is not positive.
     */
    static std::optional<double> progressForChunk(const QString &text, double durationOfVideo, int currentCount,
                                                  int totalCount);

Q_SIGNALS:
    void progressChanged(double value);
    void finished(bool succeeded, const QString &reason);

private:
    void readOutput();
    void processFinished(int exitCode, QProcess::ExitStatus status);
    void failedToStart();

    QProcess *m_process = nullptr;
    QStringDecoder m_decoder{QStringDecoder::Utf8};
    double m_duration = 0;
    int m_current = 0;
    int m_total = 1;
    bool m_cancelled = false;
    bool m_sawConversionFailed = false;
};
