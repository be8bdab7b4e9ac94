#include "base/Diagnostics.h"

#include <QDateTime>
#include <QFile>
#include <QList>
#include <QMutex>
#include <QSet>
#include <QStringList>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace Diagnostics {
namespace {

// Erases the terminal's current line (where a status line is drawn).
constexpr char clearLine[] = "\r\033[K";

struct State {
    QMutex mutex;
    Sink sink = Sink::StandardOutput;
    Level threshold = Level::Diagnostic;
    QStringList secrets;
    QSet<QString> shownWarnings;
    std::unique_ptr<QFile> log;
    QString status;
    bool capturing = false;
    QStringList captured;
    using Listener = std::shared_ptr<const std::function<void(const QString &)>>;
    QList<std::pair<int, Listener>> listeners;
    int nextListenerId = 1;
};

State &state()
{
    static State s;
    return s;
}

QString maskedLocked(QString line)
{
    for (const QString &secret : std::as_const(state().secrets))
        line.replace(secret, QStringLiteral("***"));
    return line;
}

void put(FILE *out, const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), out);
    std::fflush(out);
}

bool showsStatusLocked()
{
    return state().sink == Sink::StandardError && isatty(STDERR_FILENO);
}

void logLocked(const QString &text)
{
    if (!state().log)
        return;
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss  "));
    state().log->write((stamp + text).toUtf8() + '\n');
    state().log->flush();
}

bool sinkShowsLocked(Level level, const QString &text)
{
    if (state().sink == Sink::Discard || level < state().threshold)
        return false;
    if (level == Level::Warning && state().sink == Sink::StandardError) {
        if (state().shownWarnings.contains(text))
            return false;
        state().shownWarnings.insert(text);
    }
    return true;
}

} // namespace

void setSink(Sink sink)
{
    QMutexLocker lock(&state().mutex);
    state().sink = sink;
}

void setThreshold(Level level)
{
    QMutexLocker lock(&state().mutex);
    state().threshold = level;
}

bool setLogFile(const QString &path, QString *error)
{
    QMutexLocker lock(&state().mutex);
    state().log.reset();
    if (path.isEmpty())
        return true;
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        if (error)
            *error = QStringLiteral("cannot write the log file %1: %2").arg(path, file->errorString());
        return false;
    }
    state().log = std::move(file);
    return true;
}

QString logFile()
{
    QMutexLocker lock(&state().mutex);
    return state().log ? state().log->fileName() : QString();
}

void addSecret(const QString &secret)
{
    if (secret.isEmpty())
        return;
    QMutexLocker lock(&state().mutex);
    if (!state().secrets.contains(secret))
        state().secrets.append(secret);
}

QString printable(const QString &text)
{
    QString shown = text;
    for (QChar &c : shown) {
        const char16_t u = c.unicode();
        const bool steers = (u < 0x20 && u != u'\n' && u != u'\t') || (u >= 0x7f && u <= 0x9f)
            || (u >= 0x202a && u <= 0x202e) || (u >= 0x2066 && u <= 0x2069);
        if (steers)
            c = QChar(0xfffd);
    }
    return shown;
}

QString masked(const QString &line)
{
    QMutexLocker lock(&state().mutex);
    return maskedLocked(line);
}

void write(Level level, const QString &line)
{
    // Lines may come from worker threads (probes, subtitle downloads); the
    // mutex keeps them whole.
    QMutexLocker lock(&state().mutex);
    const QString text = printable(maskedLocked(line));
    if (state().capturing)
        state().captured.append(text);
    logLocked(text);
    if (sinkShowsLocked(level, text)) {
        if (state().sink == Sink::StandardOutput)
            put(stdout, text.toUtf8() + '\n');
        else if (!state().status.isEmpty() && showsStatusLocked())
            put(stderr, clearLine + text.toUtf8() + '\n' + state().status.toUtf8());
        else
            put(stderr, text.toUtf8() + '\n');
    }
    // Listeners (the window's log view) hear every line, whatever the level; they are called without the lock.
    const auto listeners = state().listeners;
    lock.unlock();
    for (const auto &entry : listeners)
        (*entry.second)(text);
}

void write(const QString &line)
{
    write(Level::Diagnostic, line);
}

void result(const QString &line)
{
    write(Level::Result, line);
}

void warn(const QString &line)
{
    write(Level::Warning, line);
}

void error(const QString &line)
{
    write(Level::Error, line);
}

void setStatus(const QString &text)
{
    QMutexLocker lock(&state().mutex);
    if (!showsStatusLocked() || printable(text) == state().status)
        return;
    state().status = printable(text);
    put(stderr, clearLine + text.toUtf8());
}

int addListener(std::function<void(const QString &line)> listener)
{
    QMutexLocker lock(&state().mutex);
    const int id = state().nextListenerId++;
    state().listeners.append({id, std::make_shared<const std::function<void(const QString &)>>(std::move(listener))});
    return id;
}

void removeListener(int id)
{
    QMutexLocker lock(&state().mutex);
    state().listeners.removeIf([id](const auto &entry) { return entry.first == id; });
}

void startCapture()
{
    QMutexLocker lock(&state().mutex);
    state().capturing = true;
    state().captured.clear();
}

QStringList stopCapture()
{
    QMutexLocker lock(&state().mutex);
    state().capturing = false;
    return std::exchange(state().captured, {});
}

} // namespace Diagnostics
