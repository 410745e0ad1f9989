// Writes binary USB descriptors (device, configuration, interface, endpoint and
// class-specific blocks) the way a device firmware keeps them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace orrindale::emulator {

struct UsbDeviceDescriptorFields {
    uint16_t bcdUSB = 0x0200;
    uint8_t deviceClass = 0;
    uint8_t deviceSubClass = 0;
    uint8_t deviceProtocol = 0;
    uint8_t maxPacketSize0 = 64;
    uint16_t vendorId = 0;
    uint16_t productId = 0;
    uint16_t bcdDevice = 0x0100;
    uint8_t manufacturerIndex = 0;
    uint8_t productIndex = 0;
    uint8_t serialNumberIndex = 0;
    uint8_t configurationCount = 1;
};

class UsbDescriptorWriter {
public:
    void device(const UsbDeviceDescriptorFields& fields);
    // Starts a configuration; endConfiguration patches its wTotalLength.
    size_t beginConfiguration(uint8_t interfaceCount, uint8_t value = 1, uint8_t attributes = 0x80,
                              uint8_t maxPower2mA = 250);
    void endConfiguration(size_t start);
    void interfaceAssociation(uint8_t firstInterface, uint8_t count, uint8_t functionClass, uint8_t subClass,
                              uint8_t protocol, uint8_t functionString = 0);
    void interface(uint8_t number, uint8_t alternate, uint8_t endpointCount, uint8_t interfaceClass,
                   uint8_t subClass, uint8_t protocol, uint8_t interfaceString = 0);
    void endpoint(uint8_t address, uint8_t attributes, uint16_t maxPacketSize, uint8_t interval);

    // Raw bytes of a class-specific descriptor; returns its offset.
    size_t raw(std::initializer_list<uint8_t> bytes);
    size_t raw(const std::vector<uint8_t>& bytes);
    void u8(uint8_t v) { m_bytes.push_back(v); }
    void u16(uint16_t v);
    void u32(uint32_t v);
    // Sets a little-endian 16-bit field at an absolute offset (class header total lengths).
    void patchU16(size_t offset, uint16_t v);
    // Sets the descriptor length byte of the block that starts at `start` to the bytes written since.
    void patchLength(size_t start);

    size_t size() const { return m_bytes.size(); }
    const std::vector<uint8_t>& bytes() const { return m_bytes; }

private:
    std::vector<uint8_t> m_bytes;
};

}  // namespace orrindale::emulator
