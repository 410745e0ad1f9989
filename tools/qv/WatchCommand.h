// qv watch: cameras arriving and leaving (USB and network), one line each, as they happen.
#pragma once

#include <string>
#include <vector>

namespace qv {

class WatchCommand {
public:
    // Runs until Ctrl-C (or SIGTERM) or --seconds; the exit status.
    static int run(const std::vector<std::string>& args);
    static const char* usage();
};

}  // namespace qv
