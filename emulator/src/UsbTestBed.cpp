#include "UsbTestBed.h"

#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "EmulatedBulkCamera.h"
#include "EmulatedFl30c.h"
#include "EmulatedVideoFunction.h"
#include "EmulatorLog.h"
#include "GenericUvcCamera.h"
#include "HubModel.h"
#include "PlainUsbDevice.h"
#include "SolenSerialBridge.h"
#include "SolenUsbControl.h"
#include "TestBedCore.h"
#include "UsbDeviceModel.h"
#include "VideoFunctionUsbModel.h"

namespace orrindale::emulator {

namespace {

// UMOCKDEV_DIR is process-wide: a second live test bed would redirect the first one's
// hosts.
std::atomic<bool> g_testBedAlive{false};

constexpr const char* kHostController = "/devices/pci0000:00/0000:00:14.0";

// umockdev makes its directory in GLib's temp dir, which GLib reads from TMPDIR once:
// point it at tmpfs for that first read only, so that children keep the caller's TMPDIR.
void useTmpfsForTestBeds()
{
    if (::access("/dev/shm", W_OK) != 0) return;
    const char* old = std::getenv("TMPDIR");
    const std::string saved = old != nullptr ? old : "";
    setenv("TMPDIR", "/dev/shm", 1);
    g_get_tmp_dir();
    if (old != nullptr)
        setenv("TMPDIR", saved.c_str(), 1);
    else
        unsetenv("TMPDIR");
}

}  // namespace

std::unique_ptr<UsbTestBed> UsbTestBed::create(const TestBedOptions& options)
{
    if (g_testBedAlive.exchange(true)) {
        emulatorLog("another test bed is alive in this process; only one can be");
        return nullptr;
    }
    if (options.tmpfs) useTmpfsForTestBeds();
    UMockdevTestbed* testbed = umockdev_testbed_new();
    if (!umockdev_in_mock_environment()) {
        emulatorLog("not running under the umockdev preload (LD_PRELOAD=libumockdev-preload.so.0)");
        g_object_unref(testbed);
        g_testBedAlive = false;
        return nullptr;
    }
    return std::unique_ptr<UsbTestBed>(new UsbTestBed(std::make_unique<TestBedCore>(testbed, options)));
}

UsbTestBed::UsbTestBed(std::unique_ptr<TestBedCore> core) : m_core(std::move(core)) {}

UsbTestBed::~UsbTestBed()
{
    m_videoFunctions.clear();
    m_ttys.clear();
    // Children before their hubs.
    while (!m_devices.empty()) m_devices.pop_back();
    m_core.reset();
    g_testBedAlive = false;
}

std::string UsbTestBed::rootDir() const { return m_core->rootDir(); }

EmulatedUsbDevice* UsbTestBed::deviceAt(const std::string& sysfsName) const
{
    for (size_t i = 0; i < m_names.size(); ++i)
        if (m_names[i] == sysfsName) return m_devices[i].get();
    return nullptr;
}

std::vector<EmulatedUsbDevice*> UsbTestBed::devices() const
{
    std::vector<EmulatedUsbDevice*> all;
    for (const auto& device : m_devices) all.push_back(device.get());
    return all;
}

EmulatedUsbDevice* UsbTestBed::place(const UsbLocation& location, const std::string& sysfsName,
                                     const std::string& parentPath, bool hub, std::unique_ptr<UsbDeviceModel> model)
{
    const std::string path = parentPath + "/" + sysfsName;
    m_core->topology().take(location.bus, location.address, sysfsName, hub);
    auto device = std::make_unique<EmulatedUsbDevice>(*m_core, location, path, std::move(model));
    if (!device->plug()) {
        m_core->topology().release(location.bus, location.address, sysfsName);
        return nullptr;
    }
    m_devices.push_back(std::move(device));
    m_names.push_back(sysfsName);
    m_paths.push_back(path);
    return m_devices.back().get();
}

EmulatedUsbDevice* UsbTestBed::ensureRootHub(int bus)
{
    const std::string name = "usb" + std::to_string(bus);
    if (EmulatedUsbDevice* existing = deviceAt(name)) return existing;
    UsbLocation location;
    location.bus = bus;
    location.address = 1;
    return place(location, name, kHostController, true, std::make_unique<HubModel>(true, bus));
}

EmulatedUsbDevice* UsbTestBed::ensureHub(int bus, const std::vector<int>& ports)
{
    EmulatedUsbDevice* parent = ensureRootHub(bus);
    if (parent == nullptr) return nullptr;
    std::vector<int> chain;
    for (int port : ports) {
        chain.push_back(port);
        UsbLocation location(bus, chain);
        const std::string name = location.sysfsName();
        if (EmulatedUsbDevice* existing = deviceAt(name)) {
            if (!m_core->topology().isHub(name)) {
                emulatorLog("a device, not a hub, sits at %s", name.c_str());
                return nullptr;
            }
            parent = existing;
            continue;
        }
        location.address = m_core->topology().highestFreeAddress(bus);
        if (location.address == 0) {
            emulatorLog("bus %d has no free address for the hub at %s", bus, name.c_str());
            return nullptr;
        }
        std::string parentPath;
        for (size_t i = 0; i < m_devices.size(); ++i)
            if (m_devices[i].get() == parent) parentPath = m_paths[i];
        parent = place(location, name, parentPath, true, std::make_unique<HubModel>(false, bus));
        if (parent == nullptr) return nullptr;
    }
    return parent;
}

EmulatedUsbDevice* UsbTestBed::addDevice(const UsbLocation& requested, std::unique_ptr<UsbDeviceModel> model)
{
    std::string why;
    if (model == nullptr || !requested.valid(&why)) {
        emulatorLog("cannot add a device at %s: %s", requested.sysfsName().c_str(),
                    model == nullptr ? "no model" : why.c_str());
        return nullptr;
    }
    UsbLocation location = requested;
    const std::string name = location.sysfsName();
    if (deviceAt(name) != nullptr) {
        emulatorLog("cannot add a device at %s: the place is taken", name.c_str());
        return nullptr;
    }
    if (location.address != 0 && m_core->topology().addressTaken(location.bus, location.address)) {
        emulatorLog("cannot add a device at %s: address %d on bus %d is taken", name.c_str(), location.address,
                    location.bus);
        return nullptr;
    }
    // Hubs on the way: every port but the last (all of them for a hidden port path).
    std::vector<int> hubPorts = location.ports;
    if (!location.hiddenPortPath) hubPorts.pop_back();
    EmulatedUsbDevice* parent = hubPorts.empty() ? ensureRootHub(location.bus) : ensureHub(location.bus, hubPorts);
    if (parent == nullptr) return nullptr;
    if (location.address == 0) location.address = m_core->topology().lowestFreeAddress(location.bus);
    if (location.address == 0) {
        emulatorLog("cannot add a device at %s: bus %d has no free address", name.c_str(), location.bus);
        return nullptr;
    }
    std::string parentPath;
    for (size_t i = 0; i < m_devices.size(); ++i)
        if (m_devices[i].get() == parent) parentPath = m_paths[i];
    return place(location, name, parentPath, false, std::move(model));
}

PlainUsbDevice* UsbTestBed::addPlainDevice(const UsbLocation& location, const PlainUsbDeviceConfig& config)
{
    return addTyped(location, std::make_unique<PlainUsbDevice>(config));
}

GenericUvcCamera* UsbTestBed::addUvcCamera(const UsbLocation& location, const GenericUvcConfig& config)
{
    if (config.formats.empty() || config.formats.front().frames.empty()) {
        emulatorLog("a UVC camera needs at least one format with one frame size");
        return nullptr;
    }
    return addTyped(location, std::make_unique<GenericUvcCamera>(config));
}

EmulatedFl30c* UsbTestBed::addFl30c(const UsbLocation& location) { return addFl30c(location, Fl30cConfig()); }

EmulatedFl30c* UsbTestBed::addFl30c(const UsbLocation& location, const Fl30cConfig& config)
{
    return addTyped(location, std::make_unique<EmulatedFl30c>(config));
}

EmulatedBulkCamera* UsbTestBed::addBulkCamera(const UsbLocation& location, const BulkCameraConfig& config)
{
    return addTyped(location, std::make_unique<EmulatedBulkCamera>(config));
}

}  // namespace orrindale::emulator

namespace orrindale::emulator {

EmulatedVideoFunction* UsbTestBed::addVideoFunction(const UsbLocation& location, const VideoFunctionConfig& config)
{
    bool valid = !config.formats.empty();
    for (const UvcFormat& format : config.formats)
        for (const UvcFrameSize& size : format.frames) valid = valid && size.width > 0 && size.height > 0 && !size.fps.empty();
    if (!valid || config.formats.front().frames.empty()) {
        emulatorLog("a video function needs formats with frame sizes, each with at least one rate");
        return nullptr;
    }
    EmulatedUsbDevice* usb =
        addDevice(location, std::make_unique<VideoFunctionUsbModel>(config.identity, config.formats));
    if (usb == nullptr) return nullptr;
    auto function = std::make_unique<EmulatedVideoFunction>(*m_core, *usb, config, m_nextVideoMinor);
    if (!function->replug()) return nullptr;
    m_nextVideoMinor += 2;
    m_videoFunctions.push_back(std::move(function));
    return m_videoFunctions.back().get();
}

SolenUsbControl* UsbTestBed::addSolenControl(const UsbLocation& location, const SolenUsbControlConfig& config)
{
    return addTyped(location, std::make_unique<SolenUsbControl>(config));
}

SolenSerialBridge* UsbTestBed::addSolenBridge(const UsbLocation& location, const SolenSerialBridgeConfig& config)
{
    auto model = std::make_unique<SolenSerialBridge>(config);
    SolenSerialBridge* bridge = model.get();
    EmulatedUsbDevice* device = addDevice(location, std::move(model));
    if (device == nullptr) return nullptr;
    bridge->attachTty(addSerialPort(*device, [bridge](const uint8_t* data, size_t n) { return bridge->serialInput(data, n); }));
    return bridge;
}

EmulatedTty* UsbTestBed::addSerialPort(EmulatedUsbDevice& device, EmulatedTty::Input input)
{
    m_ttys.push_back(std::make_unique<EmulatedTty>(*m_core, device, std::move(input)));
    return m_ttys.back().get();
}

}  // namespace orrindale::emulator
