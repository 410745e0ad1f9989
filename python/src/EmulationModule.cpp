// orrindale._emulation: emulated cameras in this process (the emulator library's session)
// and what the emulated Fl30c shows, for scripts and tests without hardware.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <vector>

#include "EmulatedFl30c.h"
#include "EmulatedUsbDevice.h"
#include "EmulatorSession.h"
#include "Fl30cCalibration.h"
#include "Fl30cScene.h"
#include "Fl30cTransferBuilder.h"
#include "OutsidePython.h"
#include "PreloadEnvironment.h"

namespace py = pybind11;
using namespace orrindale::emulator;
using orrpy::OutsidePython;

namespace {

class Session {
public:
    Session(const std::string& cameras, int fps, const std::string& firmware)
    {
        auto options = EmulatorSessionOptions::parse(cameras);
        if (!options)
            throw py::value_error("emulated cameras are models with optional counts such as \"fl30c\" or \"fl30c,2\" "
                                  "(at most " + std::to_string(EmulatorSession::kMaxCameras) + " cameras; models: " +
                                  EmulatorSession::modelNames() + "), not \"" + cameras + "\"");
        options->fps = fps;
        options->firmware = firmware;
        OutsidePython outside;
        m_session = EmulatorSession::start(*options);
        if (!m_session) throw std::runtime_error("the emulated cameras could not be set up (see the line above)");
    }
    std::vector<std::string> descriptions() const { return m_session ? m_session->descriptions() : std::vector<std::string>{}; }
    // Fl30c camera i of the session (in the order they were named).
    EmulatedFl30c& fl30c(size_t i) const
    {
        if (!m_session || i >= m_session->cameras().size())
            throw py::index_error("there is no emulated Fl30c " + std::to_string(i));
        return *m_session->cameras()[i];
    }
    void close()
    {
        OutsidePython outside;
        m_session.reset();
    }

private:
    std::unique_ptr<EmulatorSession> m_session;
};

const Fl30cTransferBuilder& fl30cRenderer(int width, int height)
{
    if (width < 1 || height < 1 || width > 4096 || height > 4096)
        throw py::value_error("an image of " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
    static const Fl30cTransferBuilder* renderer = new Fl30cTransferBuilder(Fl30cCalibration::defaults());
    return *renderer;
}

}  // namespace

PYBIND11_MODULE(_emulation, m)
{
    m.doc() = "Emulated cameras; use orrindale.emulate()";
    m.def("preload_active", &PreloadEnvironment::active);
    m.def(
        "reexecute",
        [](std::vector<std::string> args) {
            std::vector<char*> argv;
            for (std::string& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            return PreloadEnvironment::ensure(argv.data());
        },
        "Runs this process again from the start under the device emulation (returns only when it failed, or "
        "when the emulation is already there)");
    m.def("model_names", [] {
        std::vector<std::string> names;
        for (const EmulatorSession::Model& model : EmulatorSession::models()) names.push_back(model.name);
        return names;
    });
    py::class_<Session>(m, "Session")
        .def(py::init<const std::string&, int, const std::string&>(), py::arg("cameras"), py::arg("fps"),
             py::arg("firmware"))
        .def_property_readonly("descriptions", &Session::descriptions)
        .def("close", &Session::close)
        .def("unplug", [](Session& s, size_t i) { return s.fl30c(i).device()->unplug(); })
        .def("replug", [](Session& s, size_t i) { return s.fl30c(i).device()->replug(); })
        .def("set_silent", [](Session& s, size_t i, bool silent) { s.fl30c(i).setSilent(silent); });

    // The emulated Fl30c's scene as its images show it at the default calibration.
    m.def(
        "fl30c_depth",
        [](int width, int height) {
            const std::vector<uint16_t> raw = fl30cRenderer(width, height).depthImage(width, height);
            py::array_t<uint16_t> mm({height, width});
            for (size_t i = 0; i < raw.size(); ++i)
                mm.mutable_data()[i] = raw[i] ? uint16_t(Fl30cScene::hostMillimetres(raw[i])) : 0;
            return mm;
        },
        py::arg("width"), py::arg("height"), "depth in millimetres, as the host reads it (0: no depth)");
    m.def(
        "fl30c_ir",
        [](int width, int height) {
            const std::vector<uint8_t> ir = fl30cRenderer(width, height).irImage(width, height);
            py::array_t<uint8_t> image({height, width});
            std::copy(ir.begin(), ir.end(), image.mutable_data());
            return image;
        },
        py::arg("width"), py::arg("height"));
    m.def(
        "fl30c_color",
        [](int width, int height) {
            const std::vector<uint8_t> rgb = fl30cRenderer(width, height).colourImage(width, height);
            py::array_t<uint8_t> bgr({height, width, 3});
            uint8_t* out = bgr.mutable_data();
            for (size_t i = 0; i + 2 < rgb.size(); i += 3) {
                out[i] = rgb[i + 2];
                out[i + 1] = rgb[i + 1];
                out[i + 2] = rgb[i];
            }
            return bgr;
        },
        py::arg("width"), py::arg("height"), "B, G, R before compression");
}
