#include "LogRelay.h"

#include <pybind11/pybind11.h>

#include <deque>
#include <mutex>

#include "qv_common.h"

namespace py = pybind11;

namespace orrpy {

namespace {

constexpr size_t kMaxKept = 1000;  // lines nobody collects are not kept for ever

struct Kept {
    std::mutex mutex;
    std::deque<LogLine> lines;
};

// Never destroyed: library threads may log while the interpreter exits.
Kept& kept()
{
    static Kept* k = new Kept;
    return *k;
}

thread_local LogRelay::Scope* t_scope = nullptr;

void append(std::vector<LogLine> lines)
{
    Kept& k = kept();
    std::lock_guard<std::mutex> lock(k.mutex);
    for (LogLine& line : lines) {
        if (k.lines.size() >= kMaxKept) k.lines.pop_front();
        k.lines.push_back(std::move(line));
    }
}

void receive(int32_t level, const char* line, void*)
{
    if (t_scope != nullptr) {
        t_scope->lines().push_back({level, line});
        return;
    }
    append({{level, line}});
}

}  // namespace

void LogRelay::install() { QV_SDK_SetLogCallback(&receive, nullptr); }

LogRelay::Scope::Scope() : m_outer(t_scope) { t_scope = this; }

LogRelay::Scope::~Scope() { t_scope = m_outer; }

void LogRelay::keep(std::vector<LogLine> lines)
{
    if (!lines.empty()) append(std::move(lines));
}

void LogRelay::flush()
{
    std::deque<LogLine> lines;
    {
        Kept& k = kept();
        std::lock_guard<std::mutex> lock(k.mutex);
        lines.swap(k.lines);
    }
    if (lines.empty()) return;
    try {
        py::object logger = py::module_::import("logging").attr("getLogger")("orrindale");
        for (const LogLine& line : lines) {
            const int level = line.level == LOG_LEVEL_ERROR ? 40 : line.level == LOG_LEVEL_WARN ? 30 : 20;
            logger.attr("log")(level, "%s", withoutTime(line.text));
        }
    } catch (const py::error_already_set&) {
        // A broken handler must not turn a frame or a call into a failure.
        PyErr_Clear();
    }
}

std::string LogRelay::withoutTime(const std::string& line)
{
    // "<time>[LEVEL] [source] ...": what follows the level is the rest.
    const size_t level = line.find("] ");
    return level == std::string::npos ? line : line.substr(level + 2);
}

std::string LogRelay::message(const std::string& line)
{
    size_t at = 0;
    for (int bracket = 0; bracket < 4; ++bracket) {
        at = line.find("] ", at);
        if (at == std::string::npos) return line;
        at += 2;
    }
    return line.substr(at);
}

}  // namespace orrpy
