// qv set NAME VALUE / qv get NAME: the settings of the Fl30c and of the Solen cameras,
// values checked before anything is sent.
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
