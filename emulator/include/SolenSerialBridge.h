// A Solen camera's control function behind the WCH USB serial bridge (vendor 1A86:
// 5722, 5723 Gm80, 5724 G700): a vendor-class USB device whose serial port is the tty
// ttyUSB<n>; its SolenFirmware answers the text requests that arrive on that tty, the
// second piece of a split answer once the host has read the first.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "EmulatedTty.h"
#include "SolenFirmware.h"
#include "UsbDeviceModel.h"

namespace orrindale::emulator {

struct SolenSerialBridgeConfig {
    uint16_t productId = 0x5722;
    SolenSettings settings;
};

class SolenSerialBridge : public UsbDeviceModel {
public:
    static constexpr uint16_t kVendorId = 0x1A86;

    explicit SolenSerialBridge(const SolenSerialBridgeConfig& config);

    std::vector<uint8_t> descriptors() const override { return m_descriptors; }
    std::string stringDescriptor(uint8_t index) const override;
    int speedMbps() const override { return 12; }

    SolenFirmware& firmware() { return *m_firmware; }
    // Shared with what outlives the device in teardown (the video function's frame source).
    std::shared_ptr<SolenFirmware> sharedFirmware() const { return m_firmware; }
    // The tty the host talks to (the test bed's); null until the test bed gave the bridge its port.
    EmulatedTty* tty() const { return m_tty; }
    void attachTty(EmulatedTty* tty) { m_tty = tty; }
    // What the tty's server does with the host's bytes.
    std::vector<EmulatedTty::Output> serialInput(const uint8_t* data, size_t length);

private:
    std::vector<uint8_t> m_descriptors;
    std::shared_ptr<SolenFirmware> m_firmware;
    EmulatedTty* m_tty = nullptr;
};

}  // namespace orrindale::emulator
