// An emulated Solen camera: a hub with the camera's control function on its port 1 (the
// bulk pair of 3482:5723 Gm80, 5724 G700, 5727 Fl30, 5725 Fl30v, or the serial bridge
// 1A86:5722/5723 Gm80, 5724 G700 with its tty) and its video function on port 2 (2DBB:0300
// for the Gm80 and G700, 0C45:636B for the Fl30 and Fl30v) streaming SolenVideoFrames of
// the known room at 640 x 400 or 320 x 200 (twice the height for depth and infrared), 5 to
// 30 fps.
//
//   auto gm80 = EmulatedSolenCamera::add(bed(), UsbLocation(1, {2}), SolenCameraConfig());
//   gm80->firmware().requests();  gm80->expectedDepth(640, 400);  gm80->unplug();
//
// The camera is a view of devices the test bed owns: it goes before the test bed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Fl30cCalibration.h"
#include "SolenFirmware.h"

namespace orrindale::emulator {

class EmulatedTty;
class EmulatedUsbDevice;
class EmulatedVideoFunction;
class UsbTestBed;
struct UsbLocation;
struct VideoFunctionConfig;

enum class SolenModel { Gm80, G700, Fl30, Fl30v };

struct SolenCameraConfig {
    SolenModel model = SolenModel::Gm80;
    bool serialBridge = false;      // control behind the serial bridge (Gm80 and G700 only)
    uint16_t bridgeProductId = 0;   // 0: 5722 for the Gm80, 5724 for the G700
    SolenSettings settings;
};

class EmulatedSolenCamera {
public:
    // A hub at `hub`'s port path, the control function on its port 1, the video function on
    // its port 2. Null, with a log line, when a function cannot be added or the bridge does
    // not carry the model.
    static std::unique_ptr<EmulatedSolenCamera> add(UsbTestBed& bed, const UsbLocation& hub,
                                                    const SolenCameraConfig& config);

    EmulatedSolenCamera(SolenModel model, std::shared_ptr<SolenFirmware> firmware, EmulatedUsbDevice& control,
                        EmulatedTty* tty, EmulatedVideoFunction& video);

    SolenModel model() const { return m_model; }
    SolenFirmware& firmware() const { return *m_firmware; }
    EmulatedUsbDevice& controlDevice() const { return m_control; }
    EmulatedTty* tty() const { return m_tty; }  // null on the bulk pair
    EmulatedVideoFunction& video() const { return m_video; }

    // Ground truth through the camera's calibration block, at width x height.
    CameraIntrinsics intrinsics() const;
    std::vector<uint16_t> expectedDepth(int width, int height) const;
    std::vector<uint16_t> expectedInfrared(int width, int height) const;

    // Both functions leave (the hub stays), or come back at their places.
    bool unplug();
    bool replug();

private:
    // The control function's USB identity and the video function's for a configuration
    // (false for a model the bridge does not carry).
    static bool identities(const SolenCameraConfig& config, uint16_t& controlVendor, uint16_t& controlProduct,
                           uint16_t& videoVendor, uint16_t& videoProduct);

    SolenModel m_model;
    std::shared_ptr<SolenFirmware> m_firmware;
    EmulatedUsbDevice& m_control;
    EmulatedTty* m_tty;
    EmulatedVideoFunction& m_video;
};

}  // namespace orrindale::emulator
