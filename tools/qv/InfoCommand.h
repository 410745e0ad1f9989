// qv info: one camera in detail: versions, modes, stream parameters, calibration,
// temperatures.
#pragma once

#include <string>
#include <vector>

namespace qv {

class InfoCommand {
public:
    static int run(const std::vector<std::string>& args);
};

}  // namespace qv
