// The emulated Fl30c RGB-D camera (USB 3482:6723, "Orrindale" "Fl30c"): a UVC device
// with one YUY2 format of 640x642, 320x564 and 160x768 at 10, 15, 25 and 30 fps on bulk
// endpoint 0x85, the extension-unit command channel on unit 10 (Fl30cCommandSet), and
// transfers in the Fl30c layout (Fl30cTransfer.h) showing a known scene (Fl30cScene),
// paced by the frame-rate command (15 fps until told). Tests read its settings and the
// commands it received, and can make it misbehave while it streams.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "EmulatedUsbDevice.h"
#include "Fl30cCalibration.h"
#include "Fl30cCommandSet.h"
#include "Fl30cScene.h"
#include "Fl30cTransfer.h"
#include "UvcDeviceModel.h"

namespace orrindale::emulator {

class Fl30cTransferBuilder;

struct Fl30cConfig {
    std::string serialDescriptor = "FL30C0001";  // the USB serial-number string; empty: none
    Fl30cSettings settings;                      // initial state of the command channel
    Fl30cCalibration calibration = Fl30cCalibration::defaults();
};

class EmulatedFl30c : public UvcDeviceModel {
public:
    static constexpr uint16_t kVendorId = 0x3482;
    static constexpr uint16_t kProductId = 0x6723;
    static constexpr uint8_t kVideoEndpoint = 0x85;

    explicit EmulatedFl30c(const Fl30cConfig& config = Fl30cConfig());
    ~EmulatedFl30c() override;

    // State of the command channel (thread safe, as are all calls below).
    Fl30cSettings settings() const;
    void setFirmwareVersion(const std::string& version);
    void setHimaxVersion(const std::string& version);
    void setTemperature(int device, float celsius);  // device 0, 1, 2: codes 0x26, 0x2C, 0x37
    void setStreamMode(Fl30cStreamMode mode);
    void setFrameRate(int fps);
    // MJPEG size the firmware version selects (640x480 when the version names none).
    std::pair<int, int> mjpegSize() const;

    // The extension-unit requests received, in order (standard and UVC requests are in
    // device()->controlRecord()).
    std::vector<ControlRecord> commandRecord() const;
    void clearCommandRecord();

    // Misbehaviour, effective at once, also while streaming.
    void setTransferFault(const Fl30cTransferFault& fault);
    void clearTransferFault();
    void setSilent(bool silent);                  // no more transfers until false
    void setWrongEcho(uint8_t code, uint8_t echo);  // reads of `code` echo `echo`
    void clearWrongEchoes();
    void stallCommand(uint8_t code);              // requests with bRequest `code` STALL
    void ignoreCommand(uint8_t code);             // ... or are never answered
    void clearCommandFaults();

    // Ground truth.
    const Fl30cCalibration& calibration() const { return m_calibration; }
    // What depth/IR pixel (u, v) of an image `width` wide (640, 320, 160) sees.
    SceneHit groundTruthAt(int u, int v, int width) const;
    // The exact bytes of a transfer of this width and kind for the current firmware.
    std::shared_ptr<const std::vector<uint8_t>> expectedTransfer(int transferWidth, uint8_t kind) const;
    Fl30cTransferBuilder& renderer() const { return *m_builder; }

protected:
    std::optional<Frame> nextFrame(const UvcStreamSelection& selection, uint64_t sequence) override;
    std::chrono::nanoseconds framePeriod(const UvcStreamSelection& selection) const override;
    int extensionUnitRequest(const ControlSetup& setup, uint8_t* data) override;

private:
    std::pair<int, int> mjpegSizeLocked() const;
    void setControlFault(uint8_t code, ControlFault fault);

    Fl30cCalibration m_calibration;
    Fl30cCommandSet m_commands;
    std::shared_ptr<Fl30cTransferBuilder> m_builder;
    std::optional<Fl30cTransferFault> m_fault;
    bool m_silent = false;
};

}  // namespace orrindale::emulator
