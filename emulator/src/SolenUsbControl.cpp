#include "SolenUsbControl.h"

#include <cerrno>
#include <cstring>

#include "UsbDescriptorWriter.h"

namespace orrindale::emulator {

SolenUsbControl::SolenUsbControl(const SolenUsbControlConfig& config)
    : m_config(config), m_firmware(std::make_shared<SolenFirmware>(config.settings))
{
    UsbDescriptorWriter w;
    UsbDeviceDescriptorFields device;
    device.vendorId = config.vendorId;
    device.productId = config.productId;
    device.manufacturerIndex = 1;
    device.productIndex = 2;
    device.serialNumberIndex = config.serialDescriptor.empty() ? 0 : 3;
    w.device(device);
    const size_t start = w.beginConfiguration(1);
    w.interface(0, 0, 2, 0xFF, 0, 0);
    w.endpoint(kOutEndpoint, 0x02, 512, 0);
    w.endpoint(kInEndpoint, 0x02, 512, 0);
    w.endConfiguration(start);
    m_descriptors = w.bytes();
}

std::string SolenUsbControl::stringDescriptor(uint8_t index) const
{
    return usualString(index, "Orrindale", m_config.product, m_config.serialDescriptor);
}

int SolenUsbControl::dataTransfer(uint8_t endpoint, uint8_t* buffer, int length)
{
    if (endpoint == kOutEndpoint) {
        for (SolenAnswer& answer : m_firmware->receive(buffer, size_t(length)))
            for (auto& piece : answer.pieces) m_pending.push_back(std::move(piece));
        if (!m_pending.empty()) requestService();  // an IN transfer may already wait
        return length;
    }
    if (endpoint != kInEndpoint) return kTransferStall;
    if (m_pending.empty()) return kTransferNotReady;
    std::vector<uint8_t> piece = std::move(m_pending.front());
    m_pending.pop_front();
    if (int(piece.size()) > length) return -EOVERFLOW;
    std::memcpy(buffer, piece.data(), piece.size());
    return int(piece.size());
}

void SolenUsbControl::unplugged() { m_pending.clear(); }

}  // namespace orrindale::emulator
