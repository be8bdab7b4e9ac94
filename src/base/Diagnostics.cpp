#include "base/Diagnostics.h"

#include <QList>
#include <QMutex>
#include <QStringList>

#include <memory>

#include <cstdio>

namespace Diagnostics {
namespace {

struct State {
    QMutex mutex;
    Sink sink = Sink::StandardOutput;
    QStringList secrets;
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

} // namespace

void setSink(Sink sink)
{
    QMutexLocker lock(&state().mutex);
    state().sink = sink;
}

void addSecret(const QString &secret)
{
    if (secret.isEmpty())
        return;
    QMutexLocker lock(&state().mutex);
    if (!state().secrets.contains(secret))
        state().secrets.append(secret);
}

static QString maskedLocked(QString line)
{
    for (const QString &secret : std::as_const(state().secrets))
        line.replace(secret, QStringLiteral("***"));
    return line;
}

QString masked(const QString &line)
{
    QMutexLocker lock(&state().mutex);
    return maskedLocked(line);
}

void write(const QString &line)
{
    // Diagnostics may come from worker threads (subtitle downloads); the
    // mutex keeps lines whole.
    QMutexLocker lock(&state().mutex);
    const QString text = maskedLocked(line);
    if (state().capturing)
        state().captured.append(text);
    if (state().sink != Sink::Discard) {
        FILE *out = state().sink == Sink::StandardError ? stderr : stdout;
        const QByteArray bytes = text.toUtf8() + '\n';
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), out);
        std::fflush(out);
    }
    // Listeners are called without the lock, so one may take as long as it likes.
    const auto listeners = state().listeners;
    lock.unlock();
    for (const auto &entry : listeners)
        (*entry.second)(text);
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
