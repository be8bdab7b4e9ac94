#pragma once

#include <QString>
#include <QTemporaryDir>

/**
 * A small file system of its own (tmpfs), for tests of a disk that fills up
 * and of moves between file systems. Mounting needs root (or a user
 * namespace's equivalent); where the machine does not allow it, isValid()
 * is false and the test skips.
 */
class SmallDisk
{
public:
    explicit SmallDisk(qint64 bytes);
    ~SmallDisk();
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    bool isValid() const { return m_mounted; }
    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }
    /** Fills the disk with a ballast file until only about @p bytes are free. */
    bool leaveFree(qint64 bytes);

private:
    QTemporaryDir m_dir;
    bool m_mounted = false;
};

#define KINOVELA_REQUIRE_SMALL_DISK(disk)                                                                              \
    do {                                                                                                               \
        if (!(disk).isValid())                                                                                         \
            QSKIP("this machine does not allow mounting a small file system");                                        \
    } while (false)
