// A copied frame group as the Python object the application receives: NumPy arrays that
// own the copied memory (no second copy), each frame's id and timestamp.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>

#include "FrameGroup.h"

namespace orrpy {

struct Group {
    pybind11::object depth, color, ir, cloud;  // arrays or None
    pybind11::dict info;                       // kind -> FrameInfo(frame_id, timestamp)
    uint32_t frameId = 0;                      // of the first frame present: depth, color, ir, cloud
    uint64_t timestamp = 0;
};

class GroupArrays {
public:
    // Registers Group and FrameInfo in the module.
    static void bind(pybind11::module_& module);
    // With the interpreter lock held; takes the group's memory.
    static pybind11::object toPython(std::unique_ptr<FrameGroup> group);
};

}  // namespace orrpy
