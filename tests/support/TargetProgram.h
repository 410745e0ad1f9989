// Starting a program of this build from a test. A cross build's tests run under the
// emulator that runs its programs (ORR_TARGET_LAUNCHER: that command, words separated
// by blanks), and so must the programs they start; natively the launcher is empty.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#ifndef ORR_TARGET_LAUNCHER
#define ORR_TARGET_LAUNCHER ""
#endif

namespace orrtest {

// The argument vector that starts `program` (for exec).
inline std::vector<std::string> targetCommand(const std::string& program)
{
    std::vector<std::string> words;
    std::istringstream launcher(ORR_TARGET_LAUNCHER);
    for (std::string word; launcher >> word;) words.push_back(word);
    words.push_back(program);
    return words;
}

// The same as a shell command line.
inline std::string targetCommandLine(const std::string& program)
{
    return ORR_TARGET_LAUNCHER " " + program;
}

}  // namespace orrtest
