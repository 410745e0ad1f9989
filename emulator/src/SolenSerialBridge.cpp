#include "SolenSerialBridge.h"

#include "UsbDescriptorWriter.h"

namespace orrindale::emulator {

SolenSerialBridge::SolenSerialBridge(const SolenSerialBridgeConfig& config)
    : m_firmware(std::make_shared<SolenFirmware>(config.settings))
{
    UsbDescriptorWriter w;
    UsbDeviceDescriptorFields device;
    device.bcdUSB = 0x0110;
    device.maxPacketSize0 = 8;
    device.vendorId = kVendorId;
    device.productId = config.productId;
    device.bcdDevice = 0x0264;
    device.productIndex = 2;
    w.device(device);
    const size_t start = w.beginConfiguration(1, 1, 0x80, 49);
    w.interface(0, 0, 3, 0xFF, 0x01, 0x02);
    w.endpoint(0x82, 0x02, 32, 0);
    w.endpoint(0x02, 0x02, 32, 0);
    w.endpoint(0x81, 0x03, 8, 1);
    w.endConfiguration(start);
    m_descriptors = w.bytes();
}

std::string SolenSerialBridge::stringDescriptor(uint8_t index) const
{
    return index == 2 ? "USB Serial" : std::string();
}

std::vector<EmulatedTty::Output> SolenSerialBridge::serialInput(const uint8_t* data, size_t length)
{
    std::vector<EmulatedTty::Output> outputs;
    for (SolenAnswer& answer : m_firmware->receive(data, length))
        for (size_t i = 0; i < answer.pieces.size(); ++i)
            outputs.push_back({std::move(answer.pieces[i]), i > 0});
    return outputs;
}

}  // namespace orrindale::emulator
