// Emulated cameras for a whole program run: what a tool's "--emulate fl30c,N" and the
// orr-emulate runner use. The cameras sit on bus 1, one per root port in the order they
// are named (port 1, 2, ...); each model numbers its own serial numbers from 1
// (FL30C0001, FL30C0002, ...). The cameras live in this process.
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
class UsbLocation;

struct EmulatorSessionOptions {
    struct Group {
        std::string model;  // a name of EmulatorSession::models()
        int count = 1;
    };
    std::vector<Group> groups{{"fl30c", 1}};
    int fps = 15;          // initial pacing, until the camera is told otherwise
    std::string firmware;  // Fl30c firmware version text; empty: the camera's default

    // A comma-separated list of models, each optionally followed by its count:
    // "fl30c", "fl30c,2", "fl30c,2,gm80". At most 16 cameras in all.
    static std::optional<EmulatorSessionOptions> parse(const std::string& text);
    int cameraCount() const;
};

class EmulatorSession {
public:
    static constexpr int kMaxCameras = 16;

    // Adds camera `ordinal` (1-based within its model) at `location`; false when it cannot.
    using ModelAdder = bool (*)(EmulatorSession& session, int ordinal, const UsbLocation& location,
                                const EmulatorSessionOptions& options);
    struct Model {
        const char* name;
        ModelAdder add;
    };
    // Every model a session can hold, by the name "--emulate" takes.
    static const std::vector<Model>& models();
    // "fl30c, gm80, ..." for usage texts.
    static std::string modelNames();

    // Null, with a log line, when the test bed or a camera cannot be set up.
    static std::unique_ptr<EmulatorSession> start(const EmulatorSessionOptions& options);
    ~EmulatorSession();

    UsbTestBed& testBed() { return *m_bed; }
    const std::vector<EmulatedFl30c*>& cameras() const { return m_cameras; }
    // One line per emulated camera ("Fl30c FL30C0001 at bus 001 device 002 (port path 1)").
    const std::vector<std::string>& descriptions() const { return m_descriptions; }
    // The test bed's directory ($UMOCKDEV_DIR of this process and its children).
    std::string directory() const;

    // For model adders: what the session reports and keeps alive (released before the test bed).
    void describe(std::string line) { m_descriptions.push_back(std::move(line)); }
    void keep(std::shared_ptr<void> object) { m_kept.push_back(std::move(object)); }
    void addFl30cCamera(EmulatedFl30c* camera) { m_cameras.push_back(camera); }

private:
    EmulatorSession() = default;

    std::unique_ptr<UsbTestBed> m_bed;
    std::vector<EmulatedFl30c*> m_cameras;
    std::vector<std::string> m_descriptions;
    std::vector<std::shared_ptr<void>> m_kept;  // declared after m_bed: destroyed first
};

}  // namespace orrindale::emulator
