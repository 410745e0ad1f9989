// The control function of a Solen camera on USB (vendor 3482: 5723 Gm80, 5724 G700,
// 5727 Fl30, 5725 Fl30v): one vendor-class interface with the bulk pair OUT 0x02 and
// IN 0x82 that carries the text requests of its SolenFirmware. Each answer piece is one
// IN transfer; a piece longer than the host's transfer ends it in an overflow, as on
// the wire.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "SolenFirmware.h"
#include "UsbDeviceModel.h"

namespace orrindale::emulator {

struct SolenUsbControlConfig {
    uint16_t vendorId = 0x3482;
    uint16_t productId = 0x5723;
    std::string product = "Gm80";
    std::string serialDescriptor;  // the USB serial-number string; empty: none
    SolenSettings settings;
};

class SolenUsbControl : public UsbDeviceModel {
public:
    static constexpr uint8_t kOutEndpoint = 0x02;
    static constexpr uint8_t kInEndpoint = 0x82;

    explicit SolenUsbControl(const SolenUsbControlConfig& config);

    std::vector<uint8_t> descriptors() const override { return m_descriptors; }
    std::string stringDescriptor(uint8_t index) const override;
    int dataTransfer(uint8_t endpoint, uint8_t* buffer, int length) override;
    void unplugged() override;

    SolenFirmware& firmware() { return *m_firmware; }
    // Shared with what outlives the device in teardown (the video function's frame source).
    std::shared_ptr<SolenFirmware> sharedFirmware() const { return m_firmware; }

private:
    SolenUsbControlConfig m_config;
    std::vector<uint8_t> m_descriptors;
    std::shared_ptr<SolenFirmware> m_firmware;
    std::deque<std::vector<uint8_t>> m_pending;  // answer pieces not yet read
};

}  // namespace orrindale::emulator
