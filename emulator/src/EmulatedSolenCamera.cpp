#include "EmulatedSolenCamera.h"

#include "EmulatedUsbDevice.h"
#include "EmulatedVideoFunction.h"
#include "EmulatorLog.h"
#include "SolenSerialBridge.h"
#include "SolenUsbControl.h"
#include "SolenVideoFrames.h"
#include "UsbTestBed.h"

namespace orrindale::emulator {

EmulatedSolenCamera::EmulatedSolenCamera(SolenModel model, std::shared_ptr<SolenFirmware> firmware,
                                         EmulatedUsbDevice& control, EmulatedTty* tty, EmulatedVideoFunction& video)
    : m_model(model), m_firmware(std::move(firmware)), m_control(control), m_tty(tty), m_video(video)
{
}

std::unique_ptr<EmulatedSolenCamera> EmulatedSolenCamera::add(UsbTestBed& bed, const UsbLocation& hub,
                                                              const SolenCameraConfig& config)
{
    static const char* const kNames[] = {"Gm80", "G700", "Fl30", "Fl30v"};
    uint16_t controlVendor = 0, controlProduct = 0, videoVendor = 0, videoProduct = 0;
    if (!identities(config, controlVendor, controlProduct, videoVendor, videoProduct)) {
        emulatorLog("the serial bridge 1A86:%04X does not carry a %s", controlProduct, kNames[int(config.model)]);
        return nullptr;
    }
    UsbLocation controlAt(hub.bus, hub.ports);
    controlAt.ports.push_back(1);
    UsbLocation videoAt(hub.bus, hub.ports);
    videoAt.ports.push_back(2);
    std::shared_ptr<SolenFirmware> firmware;
    EmulatedUsbDevice* control = nullptr;
    EmulatedTty* tty = nullptr;
    if (config.serialBridge) {
        SolenSerialBridgeConfig bridgeConfig;
        bridgeConfig.productId = controlProduct;
        bridgeConfig.settings = config.settings;
        SolenSerialBridge* bridge = bed.addSolenBridge(controlAt, bridgeConfig);
        if (bridge == nullptr) return nullptr;
        firmware = bridge->sharedFirmware();
        control = bridge->device();
        tty = bridge->tty();
    } else {
        SolenUsbControlConfig controlConfig;
        controlConfig.productId = controlProduct;
        controlConfig.product = kNames[int(config.model)];
        controlConfig.serialDescriptor = config.settings.serialNumber;
        controlConfig.settings = config.settings;
        SolenUsbControl* bulk = bed.addSolenControl(controlAt, controlConfig);
        if (bulk == nullptr) return nullptr;
        firmware = bulk->sharedFirmware();
        control = bulk->device();
    }
    VideoFunctionConfig video =
        videoVendor == 0x0C45 ? VideoFunctionConfig::sonix636b() : VideoFunctionConfig::video2dbb0300();
    const std::vector<int> rates = {30, 25, 20, 15, 10, 5};
    video.formats = {{UvcPixelFormat::Yuy2, {{640, 400, rates}, {640, 800, rates}, {320, 200, rates}, {320, 400, rates}}}};
    video.frames = SolenVideoFrames::source(firmware);
    EmulatedVideoFunction* videoFunction = bed.addVideoFunction(videoAt, video);
    if (videoFunction == nullptr) return nullptr;
    return std::make_unique<EmulatedSolenCamera>(config.model, firmware, *control, tty, *videoFunction);
}

bool EmulatedSolenCamera::identities(const SolenCameraConfig& config, uint16_t& controlVendor,
                                     uint16_t& controlProduct, uint16_t& videoVendor, uint16_t& videoProduct)
{
    static const uint16_t kProducts[] = {0x5723, 0x5724, 0x5727, 0x5725};
    const bool sonix = config.model == SolenModel::Fl30 || config.model == SolenModel::Fl30v;
    videoVendor = sonix ? 0x0C45 : 0x2DBB;
    videoProduct = sonix ? 0x636B : 0x0300;
    if (!config.serialBridge) {
        controlVendor = 0x3482;
        controlProduct = kProducts[int(config.model)];
        return true;
    }
    controlVendor = 0x1A86;
    const uint16_t product = config.bridgeProductId != 0 ? config.bridgeProductId
                             : config.model == SolenModel::G700 ? 0x5724 : 0x5722;
    controlProduct = product;
    if (config.model == SolenModel::Gm80) return product == 0x5722 || product == 0x5723;
    return config.model == SolenModel::G700 && product == 0x5724;
}

CameraIntrinsics EmulatedSolenCamera::intrinsics() const
{
    return SolenVideoFrames::intrinsicsOf(m_firmware->settings().calibration);
}

std::vector<uint16_t> EmulatedSolenCamera::expectedDepth(int width, int height) const
{
    return SolenVideoFrames::depth(intrinsics(), width, height);
}

std::vector<uint16_t> EmulatedSolenCamera::expectedInfrared(int width, int height) const
{
    return SolenVideoFrames::infrared(intrinsics(), width, height);
}

bool EmulatedSolenCamera::unplug()
{
    const bool video = m_video.unplug();
    return m_control.unplug() && video;
}

bool EmulatedSolenCamera::replug() { return m_control.replug() && m_video.replug(); }

}  // namespace orrindale::emulator
