// qv stream: opens, configures and streams the selected cameras for N frames or T
// seconds with a live progress line, then prints a summary; --save writes chosen frames.
#pragma once

#include <string>
#include <vector>

namespace qv {

class StreamCommand {
public:
    static int run(const std::vector<std::string>& args);
    static const char* usage();
};

}  // namespace qv
