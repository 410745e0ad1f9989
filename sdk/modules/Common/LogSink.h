// Where log lines go when the application asked for them (QV_SDK_SetLogCallback)
// instead of standard output.
#pragma once

#include <string>

#include "qv_common.h"

namespace orrindale::log {

class LogSink {
public:
    // Returns once no call of the previous receiver runs, so its user data may be freed;
    // -1 when called from inside a receiver (it would wait for itself).
    static int set(QV_LOG_CALLBACK callback, void* user);
    // Hands the line (without its newline) to the receiver; false when there is none, or
    // when the receiver itself logged (that line goes to standard output, not back to it).
    static bool deliver(LogLevel level, const std::string& line);
};

}  // namespace orrindale::log
