#include "GroupArrays.h"

#include <pybind11/numpy.h>

#include <string>
#include <vector>

namespace py = pybind11;

namespace orrpy {

namespace {

py::object& frameInfoType()
{
    static py::object* type = nullptr;  // kept for the life of the process
    if (type == nullptr)
        type = new py::object(py::module_::import("collections").attr("namedtuple")("FrameInfo", "frame_id timestamp"));
    return *type;
}

template <typename T>
py::array arrayOf(FrameCopy& f, std::vector<py::ssize_t> shape)
{
    uint8_t* bytes = f.bytes.release();
    py::capsule owner(bytes, [](void* p) { delete[] static_cast<uint8_t*>(p); });
    return py::array_t<T>(shape, reinterpret_cast<T*>(bytes), owner);
}

py::object toArray(FrameCopy& f, int kind)
{
    const py::ssize_t w = f.width, h = f.height;
    switch (kind) {
    case FrameGroup::Depth: return arrayOf<uint16_t>(f, {h, w});
    case FrameGroup::Color: return arrayOf<uint8_t>(f, {h, w, 3});
    case FrameGroup::Ir: return f.sampleBytes == 2 ? arrayOf<uint16_t>(f, {h, w}) : arrayOf<uint8_t>(f, {h, w});
    default: return arrayOf<float>(f, {w, 3});
    }
}

std::string describe(const Group& g)
{
    std::string text = "<Group frame " + std::to_string(g.frameId);
    const char* names[] = {"depth", "color", "ir", "cloud"};
    const py::object* arrays[] = {&g.depth, &g.color, &g.ir, &g.cloud};
    for (int i = 0; i < 4; ++i)
        if (!arrays[i]->is_none()) text += std::string(" ") + names[i] + py::str(arrays[i]->attr("shape")).cast<std::string>();
    return text + ">";
}

}  // namespace

void GroupArrays::bind(py::module_& module)
{
    module.attr("FrameInfo") = frameInfoType();
    py::class_<Group>(module, "Group", "The frames of one delivery; a stream the camera did not send is None.")
        .def_readonly("depth", &Group::depth, "uint16 H x W, millimetres (0: no depth)")
        .def_readonly("color", &Group::color, "uint8 H x W x 3, B G R")
        .def_readonly("ir", &Group::ir, "infrared, H x W")
        .def_readonly("cloud", &Group::cloud, "float32 N x 3, metres, depth camera axes")
        .def_readonly("info", &Group::info, "kind -> FrameInfo(frame_id, timestamp in ms)")
        .def_readonly("frame_id", &Group::frameId)
        .def_readonly("timestamp", &Group::timestamp, "milliseconds of the camera's clock")
        .def("__repr__", &describe);
}

py::object GroupArrays::toPython(std::unique_ptr<FrameGroup> group)
{
    Group g;
    py::object* slots[FrameGroup::kKinds] = {&g.depth, &g.color, &g.ir, &g.cloud};
    bool first = true;
    for (int kind = 0; kind < FrameGroup::kKinds; ++kind) {
        FrameCopy& f = group->frames[kind];
        if (!f.bytes) {
            *slots[kind] = py::none();
            continue;
        }
        if (first) {
            g.frameId = f.frameId;
            g.timestamp = f.timestamp;
            first = false;
        }
        g.info[FrameGroup::kindName(kind)] = frameInfoType()(f.frameId, f.timestamp);
        *slots[kind] = toArray(f, kind);
    }
    return py::cast(std::move(g));
}

}  // namespace orrpy
