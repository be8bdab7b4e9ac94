#include "base/Progress.h"

void Progress::begin(bool cancellable)
{
    m_running = true;
    Q_EMIT began(cancellable);
}

void Progress::setTitle(const QString &title)
{
    m_title = title;
    Q_EMIT titleChanged(title);
}

void Progress::setValue(double value)
{
    m_value = value;
    Q_EMIT valueChanged(value);
}

void Progress::end()
{
    if (!m_running)
        return;
    m_running = false;
    Q_EMIT ended();
}
