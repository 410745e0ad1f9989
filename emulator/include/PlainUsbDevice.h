// A plain USB device with any identifiers: one vendor-class interface, optional bulk
// endpoints and string descriptors. Data queued by the test comes out of its IN
// endpoints; data the host sends to OUT endpoints is kept for the test to read.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "UsbDeviceModel.h"

namespace orrindale::emulator {

struct PlainUsbDeviceConfig {
    uint16_t vendorId = 0;
    uint16_t productId = 0;
    uint16_t bcdDevice = 0x0100;
    uint8_t deviceClass = 0;
    uint8_t interfaceClass = 0xFF;
    std::string manufacturer;  // empty: no string descriptor
    std::string product;
    std::string serialNumber;
    std::vector<uint8_t> bulkEndpoints;  // addresses, e.g. {0x81, 0x02}
    int speedMbps = 480;
};

class PlainUsbDevice : public UsbDeviceModel {
public:
    explicit PlainUsbDevice(const PlainUsbDeviceConfig& config);

    std::vector<uint8_t> descriptors() const override { return m_descriptors; }
    std::string stringDescriptor(uint8_t index) const override;
    int speedMbps() const override { return m_config.speedMbps; }
    int dataTransfer(uint8_t endpoint, uint8_t* buffer, int length) override;

    // Queues one transfer's worth of data for an IN endpoint (thread safe).
    void queueIn(uint8_t endpoint, std::vector<uint8_t> data);
    // Takes what the host has sent to an OUT endpoint so far, one entry per transfer.
    std::vector<std::vector<uint8_t>> takeOut(uint8_t endpoint);

private:
    PlainUsbDeviceConfig m_config;
    std::vector<uint8_t> m_descriptors;
    std::map<uint8_t, std::deque<std::vector<uint8_t>>> m_in;
    std::map<uint8_t, std::vector<std::vector<uint8_t>>> m_out;
};

}  // namespace orrindale::emulator
