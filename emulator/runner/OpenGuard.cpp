// Preloaded by orr-emulate ahead of umockdev's preload into the programs it runs. That
// preload keeps a table of 50 wrapped descriptors per process: every open of a /dev
// path takes an entry, a failed open too (never given back), and the 51st aborts the
// process ("fd_map_add(): overflow"). Here a /dev path that does not exist fails at
// once without reaching the table, and past 48 open /dev descriptors an open fails with
// EMFILE, as a process out of descriptors would see it.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace {

constexpr int kMaxTracked = 4096;
constexpr int kLimit = 48;
std::atomic<bool> g_tracked[kMaxTracked];
std::atomic<int> g_open{0};

bool devicePath(const char* path) { return path != nullptr && std::strncmp(path, "/dev/", 5) == 0; }

template <class Next>
int guarded(const char* path, int flags, mode_t mode, Next next)
{
    if (!devicePath(path) || (flags & O_CREAT) != 0) return next(mode);
    if (access(path, F_OK) != 0) return -1;  // errno from access(), seen through the preload
    if (g_open.load() >= kLimit) {
        errno = EMFILE;
        return -1;
    }
    const int fd = next(mode);
    if (fd >= 0 && fd < kMaxTracked && !g_tracked[fd].exchange(true)) ++g_open;
    return fd;
}

mode_t modeOf(int flags, va_list args) { return (flags & (O_CREAT | O_TMPFILE)) ? mode_t(va_arg(args, int)) : 0; }

template <class F>
F nextOf(const char* name)
{
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define ORR_EXPORT extern "C" __attribute__((visibility("default")))

ORR_EXPORT int open(const char* path, int flags, ...)
{
    static auto next = nextOf<int (*)(const char*, int, ...)>("open");
    va_list args;
    va_start(args, flags);
    const mode_t mode = modeOf(flags, args);
    va_end(args);
    return guarded(path, flags, mode, [&](mode_t m) { return next(path, flags, m); });
}

ORR_EXPORT int open64(const char* path, int flags, ...)
{
    static auto next = nextOf<int (*)(const char*, int, ...)>("open64");
    va_list args;
    va_start(args, flags);
    const mode_t mode = modeOf(flags, args);
    va_end(args);
    return guarded(path, flags, mode, [&](mode_t m) { return next(path, flags, m); });
}

ORR_EXPORT int __open_2(const char* path, int flags) { return open(path, flags); }
ORR_EXPORT int __open64_2(const char* path, int flags) { return open64(path, flags); }

ORR_EXPORT int close(int fd)
{
    static auto next = nextOf<int (*)(int)>("close");
    if (fd >= 0 && fd < kMaxTracked && g_tracked[fd].exchange(false)) --g_open;
    return next(fd);
}
