#include "creation/WriteBehind.h"

#include <QFile>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <atomic>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int RoundMs = 500;

} // namespace

struct WriteBehind::State
{
    QByteArray path;
    int fd = -1;
    std::atomic<bool> busy{false};

    ~State()
    {
        if (fd >= 0)
            ::close(fd);
    }

    // Runs on a worker thread, one round at a time.
    void writeDirtyPages()
    {
#if defined(Q_OS_LINUX) && defined(SYNC_FILE_RANGE_WRITE)
        if (fd < 0)
            fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0)
            ::sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
        busy = false;
    }
};

WriteBehind::WriteBehind(QObject *parent)
    : QObject(parent)
    , m_timer(new QTimer(this))
{
    m_timer->setInterval(RoundMs);
    connect(m_timer, &QTimer::timeout, this, &WriteBehind::round);
}

WriteBehind::~WriteBehind() = default;

void WriteBehind::start(const QString &path)
{
    stop();
    m_state = std::make_shared<State>();
    m_state->path = QFile::encodeName(path);
    m_timer->start();
}

void WriteBehind::stop()
{
    m_timer->stop();
    // A round still running keeps its own reference; the file is closed when it ends.
    m_state.reset();
}

void WriteBehind::round()
{
    if (!m_state || m_state->busy.exchange(true))
        return;
    std::shared_ptr<State> state = m_state;
    (void)QtConcurrent::run([state] { state->writeDirtyPages(); });
}
