#include "Logger.h"

#include <atomic>
#include <ctime>
#include <iostream>

#include "LogSink.h"
#include "qv_common.h"

namespace {
std::atomic<int32_t> s_logLevel{LOG_LEVEL_INFO};
}

void setLogLevel(LogLevel level)
{
    s_logLevel = level;
    std::cout << "log level:" << static_cast<int>(level) << std::endl;
}

LogLevel getLogLevel() { return static_cast<LogLevel>(s_logLevel.load()); }

int QV_SDK_SetLogCallback(QV_LOG_CALLBACK callback, void* user)
{
    const int ret = orrindale::log::LogSink::set(callback, user);
    if (ret != 0) QV_LOGE("the log callback cannot be changed from inside itself");
    return ret;
}

std::string getSysTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr) return {};
    char text[80];
    const size_t n = std::strftime(text, sizeof text, "%F %T", &local);
    return std::string(text, n);
}

namespace orrindale::log {

void writeLine(const char* level, std::string_view source, int line, const char* function,
               const std::string& message)
{
    // The stored level does not filter: every message is printed.
    std::string text = getSysTime();
    text.reserve(text.size() + message.size() + source.size() + 64);
    text += '[';
    text += level;
    text += "] [";
    text += source;
    text += "] [";
    text += std::to_string(line);
    text += "] [";
    text += function;
    text += "] ";
    text += message;
    const LogLevel value = level[0] == 'E' ? LOG_LEVEL_ERROR : level[0] == 'W' ? LOG_LEVEL_WARN : LOG_LEVEL_INFO;
    if (LogSink::deliver(value, text)) return;
    text += '\n';
    // One write per line: stdout's own lock keeps lines of different threads whole.
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
    std::cout.flush();
}

}  // namespace orrindale::log
