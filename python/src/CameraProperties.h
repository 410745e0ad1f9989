// What a camera offers besides its stream, as Python properties and methods: stream
// modes, the Fl30c's settings and temperatures, versions, calibration.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>

#include "Camera.h"

namespace orrpy {

class CameraProperties {
public:
    using PyCamera = pybind11::class_<Camera, std::shared_ptr<Camera>>;
    static void bind(pybind11::module_& module, PyCamera& camera);
};

}  // namespace orrpy
