// Takes the library's log lines (QV_SDK_SetLogCallback) to Python. Lines a binding call
// makes on its own thread go into that call's error when it fails; every other line is
// kept and handed to the "orrindale" logger of Python's logging module by the next thread
// that holds the interpreter lock here. The library's threads never touch Python.
#pragma once

#include <string>
#include <vector>

namespace orrpy {

struct LogLine {
    int level;         // LogLevel: 0 INFO, 1 WARN, 2 ERROR
    std::string text;  // the whole line as the library prints it
};

class LogRelay {
public:
    static void install();

    // Keeps the lines this thread logs while it lives (for the binding call that runs).
    class Scope {
    public:
        Scope();
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
        std::vector<LogLine>& lines() { return m_lines; }

    private:
        std::vector<LogLine> m_lines;
        Scope* m_outer;
    };

    // Queues lines for the logger (those of a call that succeeded).
    static void keep(std::vector<LogLine> lines);
    // With the interpreter lock held: every queued line to logging.getLogger("orrindale").
    static void flush();
    // "[source] [line] [function] message" of a line; its message alone.
    static std::string withoutTime(const std::string& line);
    static std::string message(const std::string& line);
};

}  // namespace orrpy
