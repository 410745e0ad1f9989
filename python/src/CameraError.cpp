#include "CameraError.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "LogRelay.h"

namespace py = pybind11;

namespace orrpy {

CameraError::CameraError(const std::string& what, int code, std::vector<std::string> log, Kind kind)
    : std::runtime_error(sentence(what, code, log)), m_code(code), m_log(std::move(log)), m_kind(kind)
{
}

// "what: the library's last message (code N)".
std::string CameraError::sentence(const std::string& what, int code, const std::vector<std::string>& log)
{
    std::string text = what;
    if (!log.empty()) text += ": " + LogRelay::message(log.back());
    if (code != 0) text += " (code " + std::to_string(code) + ")";
    return text;
}

void CameraError::registerTranslator()
{
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const CameraError& e) {
            const char* name = e.kind() == Kind::Timeout ? "FrameTimeout"
                               : e.kind() == Kind::Emulation ? "EmulationError"
                                                             : "Error";
            py::object type = py::module_::import("orrindale.errors").attr(name);
            py::object code = e.code() != 0 ? py::object(py::int_(e.code())) : py::object(py::none());
            py::object error = type(e.what(), code, py::cast(e.log()));
            PyErr_SetObject(type.ptr(), error.ptr());
        }
    });
}

}  // namespace orrpy
