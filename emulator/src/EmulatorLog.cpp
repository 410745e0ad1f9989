#include "EmulatorLog.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace orrindale::emulator {

void emulatorLog(const char* format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    // One write per line so that lines of different threads do not interleave.
    const std::string line = std::string("orr-emulator: ") + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace orrindale::emulator
