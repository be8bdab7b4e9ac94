// Loaded with LD_PRELOAD into kinovela-cli: counts every write to one file
// (write, pwrite, writev, fwrite, ftruncate, fsync, fdatasync) and stops the
// program with SIGKILL just before the N-th, as a power cut or a "Force
// Quit" would. The tools the program starts inherit LD_PRELOAD; they are
// left alone.
//   KINOVELA_FAULT_FILE        the file whose writes are counted
//   KINOVELA_FAULT_KILL_AT     N (0 or unset: never kill)
//   KINOVELA_FAULT_COUNT_FILE  receives the number of writes counted so far
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

char g_target[PATH_MAX];
const char *g_countFile = nullptr;
long g_killAt = 0;
bool g_active = false;
std::atomic<long> g_count{0};

template <typename F>
F real(const char *name)
{
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void setUp()
{
    const char *file = std::getenv("KINOVELA_FAULT_FILE");
    if (!file || std::strcmp(program_invocation_short_name, "kinovela-cli") != 0 || !realpath(file, g_target))
        return;
    const char *killAt = std::getenv("KINOVELA_FAULT_KILL_AT");
    g_killAt = killAt ? std::atol(killAt) : 0;
    g_countFile = std::getenv("KINOVELA_FAULT_COUNT_FILE");
    g_active = true;
}

bool isTarget(int fd)
{
    char link[64];
    char path[PATH_MAX];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t size = readlink(link, path, sizeof path - 1);
    if (size <= 0)
        return false;
    path[size] = '\0';
    return std::strcmp(path, g_target) == 0;
}

void step(int fd)
{
    if (!g_active || fd < 0)
        return;
    const int savedErrno = errno;
    if (isTarget(fd)) {
        const long n = ++g_count;
        if (g_killAt > 0 && n >= g_killAt)
            raise(SIGKILL);
        if (g_countFile) {
            static auto realWrite = real<ssize_t (*)(int, const void *, size_t)>("write");
            const int out = open(g_countFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            if (out >= 0) {
                char text[32];
                const int length = std::snprintf(text, sizeof text, "%ld\n", n);
                (void)!realWrite(out, text, size_t(length));
                close(out);
            }
        }
    }
    errno = savedErrno;
}

} // namespace

extern "C" {

ssize_t write(int fd, const void *buffer, size_t count)
{
    static auto next = real<ssize_t (*)(int, const void *, size_t)>("write");
    step(fd);
    return next(fd, buffer, count);
}

ssize_t pwrite(int fd, const void *buffer, size_t count, off_t offset)
{
    static auto next = real<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite");
    step(fd);
    return next(fd, buffer, count, offset);
}

ssize_t pwrite64(int fd, const void *buffer, size_t count, off64_t offset)
{
    static auto next = real<ssize_t (*)(int, const void *, size_t, off64_t)>("pwrite64");
    step(fd);
    return next(fd, buffer, count, offset);
}

ssize_t writev(int fd, const struct iovec *vector, int count)
{
    static auto next = real<ssize_t (*)(int, const struct iovec *, int)>("writev");
    step(fd);
    return next(fd, vector, count);
}

size_t fwrite(const void *buffer, size_t size, size_t count, FILE *stream)
{
    static auto next = real<size_t (*)(const void *, size_t, size_t, FILE *)>("fwrite");
    step(fileno(stream));
    return next(buffer, size, count, stream);
}

int ftruncate(int fd, off_t length)
{
    static auto next = real<int (*)(int, off_t)>("ftruncate");
    step(fd);
    return next(fd, length);
}

int ftruncate64(int fd, off64_t length)
{
    static auto next = real<int (*)(int, off64_t)>("ftruncate64");
    step(fd);
    return next(fd, length);
}

int fsync(int fd)
{
    static auto next = real<int (*)(int)>("fsync");
    step(fd);
    return next(fd);
}

int fdatasync(int fd)
{
    static auto next = real<int (*)(int)>("fdatasync");
    step(fd);
    return next(fd);
}

} // extern "C"
