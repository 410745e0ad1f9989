#include "EmulatorSession.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "EmulatedBulkCamera.h"
#include "EmulatedFl30c.h"
#include "EmulatedSolenCamera.h"
#include "EmulatedTty.h"
#include "EmulatedUsbDevice.h"
#include "EmulatedVideoFunction.h"
#include "EmulatorLog.h"
#include "UsbTestBed.h"

namespace orrindale::emulator {

namespace {

std::string busDeviceText(const EmulatedUsbDevice& device)
{
    char text[96];
    std::snprintf(text, sizeof text, "at bus %03d device %03d (port path %s)", device.bus(), device.address(),
                  device.location().portPathText().c_str());
    return text;
}

bool addFl30c(EmulatorSession& session, int ordinal, const UsbLocation& location, const EmulatorSessionOptions& options)
{
    Fl30cConfig config;
    char serial[16];
    std::snprintf(serial, sizeof serial, "FL30C%04d", ordinal);
    config.serialDescriptor = serial;
    config.settings.serialNumber = serial;
    config.settings.frameRate = options.fps;
    if (!options.firmware.empty()) config.settings.firmwareVersion = options.firmware;
    EmulatedFl30c* camera = session.testBed().addFl30c(location, config);
    if (camera == nullptr) return false;
    session.addFl30cCamera(camera);
    session.describe(std::string("Fl30c ") + serial + " " + busDeviceText(*camera->device()));
    return true;
}

// A camera's video function alone, as uvcvideo presents it (/dev/videoN and N+1).
template <VideoFunctionConfig (*Config)()>
bool addVideoFunction(EmulatorSession& session, int, const UsbLocation& location, const EmulatorSessionOptions& options)
{
    VideoFunctionConfig config = Config();
    for (UvcFormat& format : config.formats)
        for (UvcFrameSize& size : format.frames) {
            // The session's rate is each size's default, until the host sets another.
            size.fps.erase(std::remove(size.fps.begin(), size.fps.end(), options.fps), size.fps.end());
            size.fps.insert(size.fps.begin(), options.fps);
        }
    EmulatedVideoFunction* video = session.testBed().addVideoFunction(location, config);
    if (video == nullptr) return false;
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04X:%04X", config.identity.vendorId, config.identity.productId);
    session.describe(std::string("video function ") + ids + " " + busDeviceText(video->usbDevice()) + ", " +
                     video->captureNode() + " (index 0), " + video->metadataNode() + " (index 1)");
    return true;
}

// A bulk-stream camera; its serial numbers count up from the model's first one (HALVO0001, ...).
template <BulkCameraConfig (*Model)()>
bool addBulkCamera(EmulatorSession& session, int ordinal, const UsbLocation& location,
                   const EmulatorSessionOptions& options)
{
    BulkCameraConfig config = Model();
    char serial[32];
    std::snprintf(serial, sizeof serial, "%.*s%04d", int(config.serialNumber.size()) - 4,
                  config.serialNumber.c_str(), ordinal);
    config.serialNumber = serial;
    config.fps = options.fps;
    EmulatedBulkCamera* camera = session.testBed().addBulkCamera(location, config);
    if (camera == nullptr) return false;
    session.describe(config.product + " " + serial + " " + busDeviceText(*camera->device()));
    return true;
}

// A Solen camera: its hub at the session's port, control and video functions behind it.
template <SolenModel model, bool bridge>
bool addSolen(EmulatorSession& session, int ordinal, const UsbLocation& location, const EmulatorSessionOptions&)
{
    static const char* const kNames[] = {"Gm80", "G700", "Fl30", "Fl30v"};
    static const char* const kPrefixes[] = {"GM80", "G700", "FL30", "FL30V"};
    SolenCameraConfig config;
    config.model = model;
    config.serialBridge = bridge;
    char serial[16];
    // The bridge's rows number their own serials (GM80S0001): one model, two rows.
    std::snprintf(serial, sizeof serial, "%s%s%04d", kPrefixes[int(model)], bridge ? "S" : "", ordinal);
    config.settings.serialNumber = serial;
    std::shared_ptr<EmulatedSolenCamera> camera = EmulatedSolenCamera::add(session.testBed(), location, config);
    if (!camera) return false;
    std::string line = std::string(kNames[int(model)]) + " " + serial + " " + busDeviceText(camera->controlDevice()) +
                       ", video " + camera->video().captureNode();
    if (camera->tty() != nullptr) line += ", control " + camera->tty()->node();
    session.describe(line);
    session.keep(camera);
    return true;
}

bool parseCount(const std::string& text, int& count)
{
    char* end = nullptr;
    const long n = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || n < 1 || n > EmulatorSession::kMaxCameras) return false;
    count = int(n);
    return true;
}

const EmulatorSession::Model* findModel(const std::string& name)
{
    for (const EmulatorSession::Model& model : EmulatorSession::models())
        if (name == model.name) return &model;
    return nullptr;
}

}  // namespace

const std::vector<EmulatorSession::Model>& EmulatorSession::models()
{
    static const std::vector<Model> table = {
        {"fl30c", addFl30c},
        {"video636b", addVideoFunction<&VideoFunctionConfig::sonix636b>},
        {"video0300", addVideoFunction<&VideoFunctionConfig::video2dbb0300>},
        {"halvo", addBulkCamera<BulkCameraConfig::halvo>},
        {"ostrelb", addBulkCamera<BulkCameraConfig::ostrelB>},
        {"virenea", addBulkCamera<BulkCameraConfig::vireneA>},
        {"gm80", addSolen<SolenModel::Gm80, false>},
        {"gm80-serial", addSolen<SolenModel::Gm80, true>},
        {"g700", addSolen<SolenModel::G700, false>},
        {"g700-serial", addSolen<SolenModel::G700, true>},
        {"fl30", addSolen<SolenModel::Fl30, false>},
        {"fl30v", addSolen<SolenModel::Fl30v, false>},
    };
    return table;
}

std::string EmulatorSession::modelNames()
{
    std::string names;
    for (const Model& model : models()) names += (names.empty() ? "" : ", ") + std::string(model.name);
    return names;
}

std::optional<EmulatorSessionOptions> EmulatorSessionOptions::parse(const std::string& text)
{
    EmulatorSessionOptions options;
    options.groups.clear();
    bool countGiven = true;  // a count needs a model named just before it
    size_t start = 0;
    for (;;) {
        const size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        if (findModel(item) != nullptr) {
            options.groups.push_back({item, 1});
            countGiven = false;
        } else if (countGiven || !parseCount(item, options.groups.back().count)) {
            return std::nullopt;  // an unknown model, or a count without its model
        } else {
            countGiven = true;
        }
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (options.cameraCount() > EmulatorSession::kMaxCameras) return std::nullopt;
    return options;
}

int EmulatorSessionOptions::cameraCount() const
{
    int total = 0;
    for (const Group& group : groups) total += group.count;
    return total;
}

std::unique_ptr<EmulatorSession> EmulatorSession::start(const EmulatorSessionOptions& options)
{
    const int total = options.cameraCount();
    if (total < 1 || total > kMaxCameras || options.fps < 1 || options.fps > 60) {
        emulatorLog("emulated cameras: %d cameras at %d fps is not possible (1..%d cameras, 1..60 fps)", total,
                    options.fps, kMaxCameras);
        return nullptr;
    }
    std::unique_ptr<EmulatorSession> session(new EmulatorSession);
    session->m_bed = UsbTestBed::create();
    if (!session->m_bed) return nullptr;
    int port = 1;
    for (const EmulatorSessionOptions::Group& group : options.groups) {
        const Model* model = findModel(group.model);
        if (model == nullptr) {
            emulatorLog("emulated cameras: no model \"%s\" (models: %s)", group.model.c_str(), modelNames().c_str());
            return nullptr;
        }
        for (int ordinal = 1; ordinal <= group.count; ++ordinal)
            if (!model->add(*session, ordinal, UsbLocation(1, {port++}), options)) return nullptr;
    }
    return session;
}

EmulatorSession::~EmulatorSession() = default;

std::string EmulatorSession::directory() const { return m_bed->rootDir(); }

}  // namespace orrindale::emulator
