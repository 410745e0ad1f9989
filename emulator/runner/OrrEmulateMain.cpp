// orr-emulate: runs a program with emulated cameras attached.
//
//   orr-emulate [--cameras LIST | --fl30c N] [--fps F] [--fw VERSION] -- command args...
//
// LIST names the models as qv's --emulate does ("fl30c,2", "fl30c,gm80"); --fl30c N is
// short for --cameras fl30c,N.
//
// The cameras live in this process; the command inherits the umockdev preload and
// UMOCKDEV_DIR, so libusb, libuvc, lsusb or the SDK in it see them as USB devices.
// Without a command the environment to use is printed and the cameras stay until
// SIGINT or SIGTERM. The exit status is the command's. The command also gets the open
// guard (runner/OpenGuard.cpp) ahead of the preload, when it is found.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "EmulatedFl30c.h"
#include "EmulatedUsbDevice.h"
#include "EmulatorSession.h"
#include "PreloadEnvironment.h"

using namespace orrindale::emulator;

namespace {

volatile sig_atomic_t g_signal = 0;
volatile pid_t g_child = 0;

void forward(int signal)
{
    g_signal = signal;
    if (g_child > 0) kill(g_child, signal);
}

int usage()
{
    std::fprintf(stderr,
                 "usage: orr-emulate [--cameras LIST | --fl30c N] [--fps F] [--fw VERSION] [-- command args...]\n"
                 "LIST: models with optional counts, e.g. fl30c,2 (models: %s)\n",
                 EmulatorSession::modelNames().c_str());
    return 2;
}

// Next to this program in the build tree, or where it is installed.
std::string openGuard()
{
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        self[n] = '\0';
        std::string dir(self);
        dir.erase(dir.rfind('/'));
        const std::string beside = dir + "/liborr-open-guard.so";
        if (access(beside.c_str(), R_OK) == 0) return beside;
    }
    return access(ORR_OPEN_GUARD_INSTALLED, R_OK) == 0 ? ORR_OPEN_GUARD_INSTALLED : "";
}

bool number(const char* text, int low, int high, int& out)
{
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < low || value > high) return false;
    out = int(value);
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    EmulatorSessionOptions options;
    int command = argc;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--") {
            command = i + 1;
            break;
        }
        if (i + 1 >= argc) return usage();
        if (arg == "--fl30c") {
            int count = 0;
            if (!number(argv[++i], 1, EmulatorSession::kMaxCameras, count)) return usage();
            options.groups = {{"fl30c", count}};
        } else if (arg == "--cameras") {
            const auto parsed = EmulatorSessionOptions::parse(argv[++i]);
            if (!parsed) return usage();
            options.groups = parsed->groups;
        } else if (arg == "--fps") {
            if (!number(argv[++i], 1, 60, options.fps)) return usage();
        } else if (arg == "--fw") {
            options.firmware = argv[++i];
        } else {
            return usage();
        }
    }
    if (!PreloadEnvironment::ensure(argv)) return 1;
    auto session = EmulatorSession::start(options);
    if (!session) return 1;
    for (const std::string& line : session->descriptions()) std::fprintf(stderr, "orr-emulate: %s\n", line.c_str());

    struct sigaction action{};
    action.sa_handler = forward;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    if (command >= argc) {
        std::printf("export UMOCKDEV_DIR=%s\nexport LD_PRELOAD=%s\n", session->directory().c_str(),
                    std::getenv("LD_PRELOAD"));
        std::fflush(stdout);
        while (g_signal == 0) pause();
        return 0;
    }
    const pid_t child = fork();
    if (child < 0) {
        std::fprintf(stderr, "orr-emulate: fork failed: %s\n", std::strerror(errno));
        return 1;
    }
    if (child == 0) {
        const std::string guard = openGuard();
        const char* preload = std::getenv("LD_PRELOAD");
        if (!guard.empty() && preload != nullptr) setenv("LD_PRELOAD", (guard + ":" + preload).c_str(), 1);
        execvp(argv[command], argv + command);
        std::fprintf(stderr, "orr-emulate: cannot run %s: %s\n", argv[command], std::strerror(errno));
        _exit(127);
    }
    g_child = child;
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    session.reset();
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return WEXITSTATUS(status);
}
