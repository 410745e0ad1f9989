// Emulated Fl30c cameras for a whole program run: what a tool's "--emulate fl30c,N"
// and the orr-emulate runner use. Camera i (from 0) sits on bus 1, port i + 1, and has
// the serial number FL30C0001, FL30C0002, ...; the cameras live in this process.
//
//   int main(int argc, char** argv) {
//       if (!PreloadEnvironment::ensure(argv)) return 1;   // re-executes under the preload
//       auto session = EmulatorSession::start(*EmulatorSessionOptions::parse("fl30c,2"));
//       ... libusb / libuvc / the SDK see two cameras ...
//   }
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orrindale::emulator {

class EmulatedFl30c;
class UsbTestBed;

struct EmulatorSessionOptions {
    int fl30cCount = 1;
    int fps = 15;              // initial pacing, until the frame-rate command changes it
    std::string firmware;      // firmware version text; empty: the camera's default

    // "fl30c" or "fl30c,N" (N from 1 to 16).
    static std::optional<EmulatorSessionOptions> parse(const std::string& text);
};

class EmulatorSession {
public:
    // Null, with a log line, when the test bed or a camera cannot be set up.
    static std::unique_ptr<EmulatorSession> start(const EmulatorSessionOptions& options);
    ~EmulatorSession();

    UsbTestBed& testBed() { return *m_bed; }
    const std::vector<EmulatedFl30c*>& cameras() const { return m_cameras; }
    // The test bed's directory ($UMOCKDEV_DIR of this process and its children).
    std::string directory() const;

private:
    EmulatorSession() = default;

    std::unique_ptr<UsbTestBed> m_bed;
    std::vector<EmulatedFl30c*> m_cameras;
};

}  // namespace orrindale::emulator
