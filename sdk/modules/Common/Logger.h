// One log line per message on standard output:
//   <time>[LEVEL] [source] [line] [function] message
#pragma once

#include <sstream>
#include <string>
#include <string_view>

namespace orrindale::log {

// "dir/qv_camera_sdk_api.cpp" -> "qv_camera_sdk_api"
constexpr std::string_view sourceName(std::string_view path)
{
    const auto slash = path.find_last_of('/');
    if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
    const auto dot = path.find_last_of('.');
    if (dot != std::string_view::npos && dot != 0) path = path.substr(0, dot);
    return path;
}

void writeLine(const char* level, std::string_view source, int line, const char* function,
               const std::string& message);

template <typename... Parts>
void line(const char* level, std::string_view source, int lineNo, const char* function, const Parts&... parts)
{
    std::ostringstream os;
    (os << ... << parts);
    writeLine(level, source, lineNo, function, os.str());
}

}  // namespace orrindale::log

#define QV_LOG_AT(level, ...)                                                                               \
    do {                                                                                                    \
        constexpr std::string_view qvLogSource_ = ::orrindale::log::sourceName(__FILE__);                   \
        ::orrindale::log::line(level, qvLogSource_, __LINE__, __func__, __VA_ARGS__);                       \
    } while (0)

#define QV_LOGI(...) QV_LOG_AT("INFO", __VA_ARGS__)
#define QV_LOGW(...) QV_LOG_AT("WARN", __VA_ARGS__)
#define QV_LOGE(...) QV_LOG_AT("ERROR", __VA_ARGS__)
