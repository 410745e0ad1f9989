#include "PreloadEnvironment.h"

#include <link.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "EmulatorLog.h"

// ThreadSanitizer reads these at start-up. GLib and umockdev are not instrumented and
// synchronise with futexes the sanitizer cannot see: their internals are not ours to judge.
// libusb, also not instrumented, hands a synchronous transfer's completion from the thread
// that handles events to the waiting thread through a plain flag, so freeing the transfer
// looks unordered with the event thread's last use of its lock.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions()
{
    return "race:libglib-2.0.so\n"
           "race:libgobject-2.0.so\n"
           "race:libgio-2.0.so\n"
           "race:libumockdev.so\n"
           "race:libumockdev-preload.so\n"
           "race:libusb_free_transfer\n";
}

namespace orrindale::emulator {

namespace {

constexpr const char* kPreload = "libumockdev-preload.so.0";
constexpr const char* kGuard = "ORR_EMULATOR_REEXECUTED";

struct ObjectSearch {
    std::vector<const char*> parts;
    std::string found;  // paths, each followed by ':'
};

// The loaded objects whose path contains one of parts.
std::string loadedObjects(std::vector<const char*> parts)
{
    ObjectSearch search{std::move(parts), {}};
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* out) {
            auto* search = static_cast<ObjectSearch*>(out);
            const char* name = info->dlpi_name;
            for (const char* part : search->parts)
                if (name != nullptr && std::strstr(name, part) != nullptr) {
                    search->found += std::string(name) + ":";
                    break;
                }
            return 0;
        },
        &search);
    return search.found;
}

// A sanitizer runtime preloaded into a child such as lsusb would judge that program
// (and report its leaks); instrumented children load their own runtime and need only
// not insist on it coming first.
void leaveSanitizersOutOfChildren()
{
    const char* preload = std::getenv("LD_PRELOAD");
    if (preload == nullptr) return;
    std::string kept;
    std::string list = preload;
    size_t start = 0;
    while (start <= list.size()) {
        const size_t end = std::min(list.find(':', start), list.size());
        const std::string entry = list.substr(start, end - start);
        if (!entry.empty() && entry.find("/libasan.so") == std::string::npos &&
            entry.find("/libtsan.so") == std::string::npos)
            kept += (kept.empty() ? "" : ":") + entry;
        start = end + 1;
    }
    if (kept == list) return;
    setenv("LD_PRELOAD", kept.c_str(), 1);
    const char* options = std::getenv("ASAN_OPTIONS");
    std::string asan = options != nullptr ? options : "";
    if (asan.find("verify_asan_link_order") == std::string::npos)
        setenv("ASAN_OPTIONS", (asan.empty() ? "" : asan + ":").append("verify_asan_link_order=0").c_str(), 1);
}

void raiseOpenFileLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t wanted = limit.rlim_max == RLIM_INFINITY ? 65536 : std::min<rlim_t>(limit.rlim_max, 65536);
    if (limit.rlim_cur < wanted) {
        limit.rlim_cur = wanted;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

}  // namespace

bool PreloadEnvironment::active()
{
    // Loaded, not merely named: LD_PRELOAD may also name another architecture's copy.
    return !loadedObjects({"/libumockdev-preload.so"}).empty();
}

bool PreloadEnvironment::ensure(char** argv)
{
    raiseOpenFileLimit();
    if (active()) {
        unsetenv(kGuard);  // children that drop the preload may re-execute themselves
        leaveSanitizersOutOfChildren();
        return true;
    }
    if (std::getenv(kGuard) != nullptr) {
        emulatorLog("the umockdev preload did not load (is the umockdev package installed?)");
        return false;
    }
    const char* old = std::getenv("LD_PRELOAD");
    // A sanitizer runtime insists on being the first library; keep it ahead of the preload.
    std::string preload = loadedObjects({"/libasan.so", "/libtsan.so"}) + kPreload;
    if (old != nullptr && *old != '\0') preload += std::string(":") + old;
    setenv("LD_PRELOAD", preload.c_str(), 1);
    setenv(kGuard, "1", 1);
    execv("/proc/self/exe", argv);
    if (errno == ENOEXEC)  // a user-mode emulator without binfmt_misc cannot start us again
        emulatorLog("cannot re-execute under the umockdev preload here: give this architecture's "
                    "libumockdev-preload.so.0 in LD_PRELOAD");
    else
        emulatorLog("re-executing under the umockdev preload failed: %s", std::strerror(errno));
    return false;
}

}  // namespace orrindale::emulator
