#include "base/Diagnostics.h"

#include <QMutex>
#include <QStringList>

#include <cstdio>

namespace Diagnostics {
namespace {

struct State {
    QMutex mutex;
    Sink sink = Sink::StandardOutput;
    QStringList secrets;
    bool capturing = false;
    QStringList captured;
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
    if (state().sink == Sink::Discard)
        return;
    FILE *out = state().sink == Sink::StandardError ? stderr : stdout;
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), out);
    std::fflush(out);
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
