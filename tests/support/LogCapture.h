// Captures standard output (where every log line goes) and finds log lines in it.
#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace orrtest {

class StdoutCapture {
public:
    StdoutCapture() { testing::internal::CaptureStdout(); }
    ~StdoutCapture()
    {
        if (!m_done) testing::internal::GetCapturedStdout();
    }
    std::string text()
    {
        if (!m_done) {
            m_text = testing::internal::GetCapturedStdout();
            m_done = true;
        }
        return m_text;
    }

private:
    bool m_done = false;
    std::string m_text;
};

inline std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

inline std::string regexEscape(const std::string& text)
{
    static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    return std::regex_replace(text, special, R"(\$&)");
}

// Number of lines "<time>[LEVEL] [source] [<n>] [function] message" (message exact).
inline int countLogLines(const std::string& output, const std::string& level, const std::string& source,
                         const std::string& function, const std::string& message)
{
    const std::regex pattern("^\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\[" + level + "\\] \\[" +
                             regexEscape(source) + "\\] \\[\\d+\\] \\[" + regexEscape(function) + "\\] " +
                             regexEscape(message) + "$");
    int n = 0;
    for (const auto& line : splitLines(output))
        if (std::regex_match(line, pattern)) ++n;
    return n;
}

// Number of log lines of a level whose message is exactly message, from any source and function.
inline int countMessages(const std::string& output, const std::string& level, const std::string& message)
{
    const std::regex pattern("^\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\[" + level + "\\] \\[.*\\] " +
                             regexEscape(message) + "$");
    int n = 0;
    for (const auto& line : splitLines(output))
        if (std::regex_match(line, pattern)) ++n;
    return n;
}

// Number of log lines of any source/function/level.
inline int countAnyLogLines(const std::string& output)
{
    static const std::regex pattern(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\[(INFO|WARN|ERROR)\] \[.*)");
    int n = 0;
    for (const auto& line : splitLines(output))
        if (std::regex_match(line, pattern)) ++n;
    return n;
}

}  // namespace orrtest
