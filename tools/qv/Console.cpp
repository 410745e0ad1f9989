#include "Console.h"

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

namespace qv {

namespace {
FILE* g_out = stdout;
}

void Console::separateLibraryLog(bool quiet)
{
    std::fflush(stdout);
    std::cout.flush();
    const int results = dup(STDOUT_FILENO);
    if (results < 0) return;
    FILE* stream = fdopen(results, "w");
    if (stream == nullptr) {
        close(results);
        return;
    }
    g_out = stream;
    const int target = quiet ? open("/dev/null", O_WRONLY | O_CLOEXEC) : dup(STDERR_FILENO);
    if (target >= 0) {
        dup2(target, STDOUT_FILENO);
        close(target);
    }
}

FILE* Console::out() { return g_out; }
FILE* Console::err() { return stderr; }

}  // namespace qv
