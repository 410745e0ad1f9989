// qv set NAME VALUE / qv get NAME: the Fl30c's settings, ranges checked before sending.
#pragma once

#include <string>
#include <vector>

namespace qv {

class SettingsCommand {
public:
    static int runSet(const std::vector<std::string>& args);
    static int runGet(const std::vector<std::string>& args);
    static const char* usage();
};

}  // namespace qv
