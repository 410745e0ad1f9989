// A failure the library reported (its code and the log lines of the failing call), or one
// the binding found itself. Raised in Python as orrindale.Error or one of its kinds.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace pybind11 {
class module_;
}

namespace orrpy {

class CameraError : public std::runtime_error {
public:
    enum class Kind { Error, Timeout, Emulation };

    CameraError(const std::string& what, int code, std::vector<std::string> log = {}, Kind kind = Kind::Error);

    int code() const { return m_code; }
    const std::vector<std::string>& log() const { return m_log; }
    Kind kind() const { return m_kind; }

    // Raises these as orrindale.errors.Error, FrameTimeout or EmulationError.
    static void registerTranslator();

private:
    static std::string sentence(const std::string& what, int code, const std::vector<std::string>& log);

    int m_code;
    std::vector<std::string> m_log;
    Kind m_kind;
};

}  // namespace orrpy
