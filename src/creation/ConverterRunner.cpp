#include "creation/ConverterRunner.h"

#include "base/Diagnostics.h"
#include "base/ToolLocator.h"
#include "media/Utils.h"

#include <QPointer>
#include <QTimer>

#include <cmath>

namespace {

const QString ProgressPattern = QStringLiteral("([0-9][0-9]):([0-9][0-9]):([0-9][0-9]).([0-9][0-9])");
constexpr int TerminateGraceMs = 3000;

} // namespace

ConverterRunner::ConverterRunner(QObject *parent)
    : QObject(parent)
{
}

ConverterRunner::~ConverterRunner()
{
    if (m_process) {
        m_process->disconnect(this);
        m_process->kill();
        m_process->waitForFinished(TerminateGraceMs);
    }
}

std::optional<double> ConverterRunner::progressForLine(const QString &text, double durationOfVideo, int currentCount,
                                                       int totalCount)
{
    if (text.contains(QStringLiteral("Conversion failed!")) || !text.contains(QStringLiteral("time=")))
        return std::nullopt;
    if (!(durationOfVideo > 0) || totalCount <= 0)
        return std::nullopt;
    const QStringList matches = Utils::getMatchesForRegex(ProgressPattern, text);
    if (matches.isEmpty())
        return std::nullopt;
    const double elapsed = Utils::getSecondsFromTimeString(matches.constFirst());
    const double value = double(currentCount) / double(totalCount) * 100.0
        + (elapsed / durationOfVideo * 100.0) / double(totalCount);
    if (!std::isfinite(value))
        return std::nullopt;
    return value;
}

void ConverterRunner::terminalProcessWithTerminalArgs(const QStringList &terminalArgs, double durationOfVideo,
                                                      int currentCount, int totalCount)
{
    m_duration = durationOfVideo;
    m_current = currentCount;
    m_total = totalCount;
    m_cancelled = false;
    m_sawConversionFailed = false;
    m_output = ConverterOutput();

    const QString program = ToolLocator::converterProgram();
    if (program.isEmpty()) {
        // Deferred, so the caller has connected to finished() before it comes.
        QTimer::singleShot(0, this, [this] {
            Q_EMIT finished(failure(ErrorKind::Missing,
                                    QStringLiteral("the converter (ffmpeg) was not found; install ffmpeg or set KINOVELA_FFMPEG")));
        });
        return;
    }
    m_process = new QProcess(this);
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    connect(m_process, &QProcess::readyReadStandardOutput, this, &ConverterRunner::readOutput);
    connect(m_process, &QProcess::finished, this, &ConverterRunner::processFinished);
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            failedToStart();
    });
    m_process->start(program, terminalArgs);
}

void ConverterRunner::readOutput()
{
    if (!m_process)
        return;
    const QStringList lines = m_output.feed(m_process->readAllStandardOutput());
    for (const QString &line : lines)
        handleLine(line);
}

void ConverterRunner::handleLine(const QString &line)
{
    if (line.contains(QStringLiteral("Conversion failed!"))) {
        m_sawConversionFailed = true;
        Diagnostics::write(QStringLiteral("Conversion failed!"));
        return;
    }
    if (const std::optional<double> value = progressForLine(line, m_duration, m_current, m_total)) {
        Q_EMIT progressChanged(*value);
        return;
    }
    if (!line.contains(QStringLiteral("time=")))
        Diagnostics::write(QStringLiteral("Got Error: ") + line.trimmed());
}

void ConverterRunner::processFinished(int exitCode, QProcess::ExitStatus status)
{
    readOutput();
    const QStringList rest = m_output.finish();
    for (const QString &line : rest)
        handleLine(line);
    m_process->deleteLater();
    m_process = nullptr;
    Status outcome;
    if (m_cancelled)
        outcome = failure(ErrorKind::Cancelled, QStringLiteral("cancelled"));
    else if (status != QProcess::NormalExit)
        outcome = failure(ErrorKind::Failed, QStringLiteral("the converter crashed"));
    else if (exitCode != 0)
        outcome = failure(ErrorKind::Failed, QStringLiteral("the converter failed (exit code %1)").arg(exitCode));
    else if (m_sawConversionFailed)
        outcome = failure(ErrorKind::Failed, QStringLiteral("the converter reported \"Conversion failed!\""));
    Q_EMIT finished(outcome);
}

void ConverterRunner::failedToStart()
{
    if (!m_process)
        return;
    const QString error = m_process->errorString();
    m_process->deleteLater();
    m_process = nullptr;
    Q_EMIT finished(failure(ErrorKind::Missing, QStringLiteral("the converter could not be started: ") + error));
}

void ConverterRunner::cancel()
{
    if (!m_process)
        return;
    m_cancelled = true;
    m_process->terminate();
    QPointer<QProcess> process(m_process);
    QTimer::singleShot(TerminateGraceMs, this, [process] {
        if (process && process->state() != QProcess::NotRunning)
            process->kill();
    });
}
