#include "UsbDescriptorWriter.h"

namespace orrindale::emulator {

void UsbDescriptorWriter::device(const UsbDeviceDescriptorFields& f)
{
    u8(18);
    u8(0x01);
    u16(f.bcdUSB);
    u8(f.deviceClass);
    u8(f.deviceSubClass);
    u8(f.deviceProtocol);
    u8(f.maxPacketSize0);
    u16(f.vendorId);
    u16(f.productId);
    u16(f.bcdDevice);
    u8(f.manufacturerIndex);
    u8(f.productIndex);
    u8(f.serialNumberIndex);
    u8(f.configurationCount);
}

size_t UsbDescriptorWriter::beginConfiguration(uint8_t interfaceCount, uint8_t value, uint8_t attributes,
                                               uint8_t maxPower2mA)
{
    const size_t start = m_bytes.size();
    raw({9, 0x02, 0, 0, interfaceCount, value, 0, attributes, maxPower2mA});
    return start;
}

void UsbDescriptorWriter::endConfiguration(size_t start) { patchU16(start + 2, uint16_t(m_bytes.size() - start)); }

void UsbDescriptorWriter::interfaceAssociation(uint8_t firstInterface, uint8_t count, uint8_t functionClass,
                                               uint8_t subClass, uint8_t protocol, uint8_t functionString)
{
    raw({8, 0x0B, firstInterface, count, functionClass, subClass, protocol, functionString});
}

void UsbDescriptorWriter::interface(uint8_t number, uint8_t alternate, uint8_t endpointCount, uint8_t interfaceClass,
                                    uint8_t subClass, uint8_t protocol, uint8_t interfaceString)
{
    raw({9, 0x04, number, alternate, endpointCount, interfaceClass, subClass, protocol, interfaceString});
}

void UsbDescriptorWriter::endpoint(uint8_t address, uint8_t attributes, uint16_t maxPacketSize, uint8_t interval)
{
    raw({7, 0x05, address, attributes});
    u16(maxPacketSize);
    u8(interval);
}

size_t UsbDescriptorWriter::raw(std::initializer_list<uint8_t> bytes)
{
    const size_t start = m_bytes.size();
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    return start;
}

size_t UsbDescriptorWriter::raw(const std::vector<uint8_t>& bytes)
{
    const size_t start = m_bytes.size();
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    return start;
}

void UsbDescriptorWriter::u16(uint16_t v)
{
    m_bytes.push_back(uint8_t(v & 0xff));
    m_bytes.push_back(uint8_t(v >> 8));
}

void UsbDescriptorWriter::u32(uint32_t v)
{
    u16(uint16_t(v & 0xffff));
    u16(uint16_t(v >> 16));
}

void UsbDescriptorWriter::patchU16(size_t offset, uint16_t v)
{
    m_bytes.at(offset) = uint8_t(v & 0xff);
    m_bytes.at(offset + 1) = uint8_t(v >> 8);
}

void UsbDescriptorWriter::patchLength(size_t start) { m_bytes.at(start) = uint8_t(m_bytes.size() - start); }

}  // namespace orrindale::emulator
