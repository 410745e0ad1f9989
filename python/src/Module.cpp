// orrindale._orrindale: the cameras, their streams and settings, over the library's
// exported interface. orrindale/__init__.py is the face users import.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <optional>
#include <string>

#include "Camera.h"
#include "CameraError.h"
#include "CameraList.h"
#include "CameraProperties.h"
#include "GroupArrays.h"
#include "LogRelay.h"
#include "qv_camera_sdk_api.h"

namespace py = pybind11;
using namespace orrpy;

namespace {

// Groups of a started camera until it stops, count groups are taken, or a wait times out.
class FrameIterator {
public:
    FrameIterator(std::shared_ptr<Camera> camera, std::optional<double> timeout, std::optional<long> count)
        : m_camera(std::move(camera)), m_timeout(timeout), m_left(count)
    {
        m_camera->checkReadable();
    }
    py::object next()
    {
        if (m_left && *m_left <= 0) throw py::stop_iteration();
        py::object group = m_camera->read(m_timeout);
        if (group.is_none()) throw py::stop_iteration();
        if (m_left) --*m_left;
        return group;
    }

private:
    std::shared_ptr<Camera> m_camera;
    std::optional<double> m_timeout;
    std::optional<long> m_left;
};

// depth=/color=: None (not named), a bool, or a (width, height, fps) mode.
bool streamWanted(const py::object& value, const char* name, std::optional<STREAM_PARAM_S>* mode)
{
    if (value.is_none()) return false;
    if (py::isinstance<py::bool_>(value)) return value.cast<bool>();
    if (mode != nullptr && py::isinstance<py::sequence>(value) && py::len(value) == 3) {
        const auto v = value.cast<std::tuple<unsigned, unsigned, unsigned>>();
        *mode = STREAM_PARAM_S{std::get<0>(v), std::get<1>(v), std::get<2>(v)};
        return true;
    }
    throw py::type_error(std::string(name) + "= takes True, False" + (mode ? " or (width, height, fps)" : ""));
}

std::shared_ptr<Camera> openCamera(std::optional<int> index, std::optional<std::string> serial, std::optional<int> bus,
                                   std::optional<std::string> portPath, std::optional<std::string> config)
{
    if (int(index.has_value()) + int(serial.has_value()) + int(bus.has_value() || portPath.has_value()) > 1)
        throw py::value_error("choose a camera one way: index=, serial= or bus= with port_path=");
    if (bus.has_value() != portPath.has_value()) throw py::value_error("bus= and port_path= go together");
    CameraList list;
    const size_t chosen = list.select(Selector{index, serial, bus, portPath});
    return std::make_shared<Camera>(list, chosen, config.value_or(""));
}

py::list listCameras()
{
    CameraList list;
    py::list cameras;
    for (size_t i = 0; i < list.size(); ++i) {
        list.identify(i);
        cameras.append(list.describe(i));
    }
    return cameras;
}

}  // namespace

PYBIND11_MODULE(_orrindale, m)
{
    m.doc() = "Cameras of libOrrindaleCameraSdk; import orrindale, not this module";
    LogRelay::install();
    {
        LogRelay::Scope quiet;
        QV_SDK_Init();
    }
    CameraError::registerTranslator();
    GroupArrays::bind(m);

    char version[32] = {};
    QV_SDK_GetSwVersion(version, sizeof version - 1);
    m.attr("version") = std::string(version);
    m.def("list_cameras", &listCameras, "one dict per attached camera (cameras that can be opened with serial and firmware)");
    m.def("flush_log", &LogRelay::flush, "hands the library's waiting log lines to logging.getLogger(\"orrindale\")");

    py::class_<FrameIterator>(m, "FrameIterator")
        .def("__iter__", [](py::object self) { return self; })
        .def("__next__", &FrameIterator::next);

    py::class_<Camera, std::shared_ptr<Camera>> camera(m, "Camera", "An open camera; see orrindale.open()");
    camera
        .def_static("open", &openCamera, py::arg("index") = py::none(), py::arg("serial") = py::none(),
                    py::arg("bus") = py::none(), py::arg("port_path") = py::none(), py::arg("config") = py::none())
        .def(
            "start",
            [](Camera& c, py::object depth, py::object color, py::object ir, py::object cloud, size_t queue) {
                StartRequest r;
                r.depth = streamWanted(depth, "depth", &r.depthMode);
                r.color = streamWanted(color, "color", &r.colorMode);
                r.ir = streamWanted(ir, "ir", nullptr);
                r.cloud = streamWanted(cloud, "cloud", nullptr);
                r.defaults = depth.is_none() && color.is_none() && ir.is_none() && cloud.is_none();
                if (queue < 1) throw py::value_error("queue= needs room for at least one group");
                r.queue = queue;
                c.start(r);
            },
            py::arg("depth") = py::none(), py::arg("color") = py::none(), py::arg("ir") = py::none(),
            py::arg("cloud") = py::none(), py::arg("queue") = 4,
            "Starts the streams named (all of the camera's defaults when none is); queue: groups kept for the "
            "reader, the oldest dropped when it is full")
        .def("stop", &Camera::stop)
        .def("close", &Camera::close)
        .def("__enter__", [](py::object self) { return self; })
        .def("__exit__", [](Camera& c, py::args) { c.close(); })
        .def(
            "frames",
            [](std::shared_ptr<Camera> c, std::optional<double> timeout, std::optional<long> count) {
                return FrameIterator(std::move(c), timeout, count);
            },
            py::arg("timeout") = 1.0, py::arg("count") = py::none(),
            "Iterates over frame groups until the stream stops or count groups came; a wait longer than "
            "timeout seconds raises orrindale.FrameTimeout")
        .def("read", &Camera::read, py::arg("timeout") = 1.0, "The next group, or None when the stream stopped")
        .def_property_readonly("received", &Camera::received, "groups delivered by the camera since start()")
        .def_property_readonly("dropped", &Camera::dropped, "groups dropped because the queue was full")
        .def_property_readonly("streaming", &Camera::streaming)
        .def_property_readonly("closed", &Camera::closed)
        .def_property_readonly("info", &Camera::info)
        .def_property_readonly("model_id", [](const Camera& c) { return int(c.model()); })
        .def_property(
            "clock", [](const Camera& c) { return c.clock() == TIME_STAMP_SYSTEM ? "system" : "steady"; },
            [](Camera& c, const std::string& clock) {
                if (clock != "steady" && clock != "system") throw py::value_error("clock is \"steady\" or \"system\"");
                c.setClock(clock == "system" ? TIME_STAMP_SYSTEM : TIME_STAMP_STEADY);
            },
            "clock of the frame timestamps");
    CameraProperties::bind(m, camera);
}
