// A umockdev test bed with emulated USB devices: root hubs, the hubs a port path needs,
// and devices whose models answer the requests. Programs that use it run under the
// umockdev preload (see PreloadEnvironment) and create it before libusb_init().
// UMOCKDEV_DIR is process-wide, so one test bed exists per process at a time.
//
//   auto bed = UsbTestBed::create();
//   EmulatedFl30c* camera = bed->addFl30c(UsbLocation(1, {4}, 5));   // bus 1, port 4, address 5
//   ... libusb_init(), libuvc, the SDK ...
//   camera->usbDevice().unplug();
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "EmulatedTty.h"
#include "EmulatedUsbDevice.h"
#include "TestBedOptions.h"
#include "UsbLocation.h"

namespace orrindale::emulator {

class EmulatedBulkCamera;
class EmulatedFl30c;
class EmulatedVideoFunction;
class GenericUvcCamera;
class PlainUsbDevice;
class SolenSerialBridge;
class SolenUsbControl;
class TestBedCore;
class UsbDeviceModel;
struct BulkCameraConfig;
struct Fl30cConfig;
struct GenericUvcConfig;
struct PlainUsbDeviceConfig;
struct VideoFunctionConfig;
struct SolenSerialBridgeConfig;
struct SolenUsbControlConfig;

class UsbTestBed {
public:
    // Null, with a log line, when the process does not run under the umockdev preload or
    // another test bed is alive in this process.
    static std::unique_ptr<UsbTestBed> create(const TestBedOptions& options = TestBedOptions());
    UsbTestBed(const UsbTestBed&) = delete;
    UsbTestBed& operator=(const UsbTestBed&) = delete;
    ~UsbTestBed();

    // The directory that stands for "/" (its sys/ and dev/ are what the preload shows).
    std::string rootDir() const;

    // Adds a device with its model; the root hub and any hub its port path needs are
    // added first. Null, with a log line, when the place or address is taken or invalid.
    EmulatedUsbDevice* addDevice(const UsbLocation& location, std::unique_ptr<UsbDeviceModel> model);
    PlainUsbDevice* addPlainDevice(const UsbLocation& location, const PlainUsbDeviceConfig& config);
    GenericUvcCamera* addUvcCamera(const UsbLocation& location, const GenericUvcConfig& config);
    EmulatedFl30c* addFl30c(const UsbLocation& location);
    EmulatedFl30c* addFl30c(const UsbLocation& location, const Fl30cConfig& config);
    EmulatedBulkCamera* addBulkCamera(const UsbLocation& location, const BulkCameraConfig& config);
    // The video function of a camera as uvcvideo presents it (EmulatedVideoFunction.h);
    // its nodes take the next free pair /dev/videoN, /dev/videoN+1.
    EmulatedVideoFunction* addVideoFunction(const UsbLocation& location, const VideoFunctionConfig& config);
    // The control function of a Solen camera on its bulk pair, or behind the serial
    // bridge with its tty (ttyUSB0, ttyUSB1, ...).
    SolenUsbControl* addSolenControl(const UsbLocation& location, const SolenUsbControlConfig& config);
    SolenSerialBridge* addSolenBridge(const UsbLocation& location, const SolenSerialBridgeConfig& config);
    // A serial port of `device` (its interface and tty ttyUSB<n>, n counting the plug-ins),
    // served by `input`; it lives as long as the test bed and goes before the devices.
    EmulatedTty* addSerialPort(EmulatedUsbDevice& device, EmulatedTty::Input input);

    // The device (or hub) with this sysfs name ("1-1.4", "usb1"); null when none.
    EmulatedUsbDevice* deviceAt(const std::string& sysfsName) const;
    // Every device in the order added, hubs included.
    std::vector<EmulatedUsbDevice*> devices() const;

private:
    explicit UsbTestBed(std::unique_ptr<TestBedCore> core);
    EmulatedUsbDevice* ensureRootHub(int bus);
    // The hub at `ports` (below the root hub of `bus`), added when missing.
    EmulatedUsbDevice* ensureHub(int bus, const std::vector<int>& ports);
    EmulatedUsbDevice* place(const UsbLocation& location, const std::string& sysfsName, const std::string& parentPath,
                             bool hub, std::unique_ptr<UsbDeviceModel> model);
    template <class Model>
    Model* addTyped(const UsbLocation& location, std::unique_ptr<Model> model)
    {
        Model* raw = model.get();
        return addDevice(location, std::move(model)) != nullptr ? raw : nullptr;
    }

    std::unique_ptr<TestBedCore> m_core;
    std::vector<std::unique_ptr<EmulatedUsbDevice>> m_devices;
    std::vector<std::string> m_names;       // sysfs name of each entry of m_devices
    std::vector<std::string> m_paths;       // device path below /sys of each entry
    std::vector<std::unique_ptr<EmulatedVideoFunction>> m_videoFunctions;  // gone before their devices
    int m_nextVideoMinor = 0;
    std::vector<std::unique_ptr<EmulatedTty>> m_ttys;  // destroyed before the devices they serve
};

}  // namespace orrindale::emulator
