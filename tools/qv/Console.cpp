#include "Console.h"

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

namespace qv {

namespace {
FILE* g_out = stdout;
FILE* g_err = stderr;

// A stream on a copy of fd, or null.
FILE* duplicate(int fd)
{
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    if (copy < 0) return nullptr;
    FILE* stream = fdopen(copy, "w");
    if (stream == nullptr) close(copy);
    return stream;
}
}  // namespace

void Console::separateLibraryLog(bool quiet)
{
    std::fflush(stdout);
    std::cout.flush();
    FILE* results = duplicate(STDOUT_FILENO);
    if (results == nullptr) return;
    g_out = results;
    if (quiet) {
        // libusb and libuvc print on standard error; qv keeps a copy of it for its own messages.
        if (FILE* messages = duplicate(STDERR_FILENO)) {
            setvbuf(messages, nullptr, _IONBF, 0);
            g_err = messages;
        }
    }
    const int target = quiet ? open("/dev/null", O_WRONLY | O_CLOEXEC) : dup(STDERR_FILENO);
    if (target >= 0) {
        dup2(target, STDOUT_FILENO);
        if (quiet && g_err != stderr) dup2(target, STDERR_FILENO);
        close(target);
    }
}

FILE* Console::out() { return g_out; }
FILE* Console::err() { return g_err; }

}  // namespace qv
