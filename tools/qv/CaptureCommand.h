// qv capture: bring-up of a camera whose driver this release lacks. Opens the camera's
// frame transport directly (UVC, V4L2 or bulk USB, as the library would choose it),
// writes N raw frames to files with their frame_info, and prints the rate and sizes.
#pragma once

#include <string>
#include <vector>

namespace qv {

class CaptureCommand {
public:
    static int run(const std::vector<std::string>& args);
    static const char* usage();
};

}  // namespace qv
