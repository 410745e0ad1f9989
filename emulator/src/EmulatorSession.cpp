#include "EmulatorSession.h"

#include <cstdio>
#include <cstdlib>

#include "EmulatedFl30c.h"
#include "EmulatorLog.h"
#include "UsbTestBed.h"

namespace orrindale::emulator {

namespace {
constexpr int kMaxCameras = 16;
}

std::optional<EmulatorSessionOptions> EmulatorSessionOptions::parse(const std::string& text)
{
    EmulatorSessionOptions options;
    const auto comma = text.find(',');
    if (text.substr(0, comma) != "fl30c") return std::nullopt;
    if (comma == std::string::npos) return options;
    const std::string count = text.substr(comma + 1);
    char* end = nullptr;
    const long n = std::strtol(count.c_str(), &end, 10);
    if (count.empty() || *end != '\0' || n < 1 || n > kMaxCameras) return std::nullopt;
    options.fl30cCount = int(n);
    return options;
}

std::unique_ptr<EmulatorSession> EmulatorSession::start(const EmulatorSessionOptions& options)
{
    if (options.fl30cCount < 1 || options.fl30cCount > kMaxCameras || options.fps < 1 || options.fps > 60) {
        emulatorLog("emulated cameras: %d cameras at %d fps is not possible (1..%d cameras, 1..60 fps)",
                    options.fl30cCount, options.fps, kMaxCameras);
        return nullptr;
    }
    std::unique_ptr<EmulatorSession> session(new EmulatorSession);
    session->m_bed = UsbTestBed::create();
    if (!session->m_bed) return nullptr;
    for (int i = 0; i < options.fl30cCount; ++i) {
        Fl30cConfig config;
        char serial[16];
        std::snprintf(serial, sizeof serial, "FL30C%04d", i + 1);
        config.serialDescriptor = serial;
        config.settings.serialNumber = serial;
        config.settings.frameRate = options.fps;
        if (!options.firmware.empty()) config.settings.firmwareVersion = options.firmware;
        EmulatedFl30c* camera = session->m_bed->addFl30c(UsbLocation(1, {i + 1}), config);
        if (camera == nullptr) return nullptr;
        session->m_cameras.push_back(camera);
    }
    return session;
}

EmulatorSession::~EmulatorSession() = default;

std::string EmulatorSession::directory() const { return m_bed->rootDir(); }

}  // namespace orrindale::emulator
