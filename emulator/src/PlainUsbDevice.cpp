#include "PlainUsbDevice.h"

#include <algorithm>
#include <cstring>

#include "UsbDescriptorWriter.h"

namespace orrindale::emulator {

PlainUsbDevice::PlainUsbDevice(const PlainUsbDeviceConfig& config) : m_config(config)
{
    UsbDescriptorWriter w;
    UsbDeviceDescriptorFields device;
    device.deviceClass = config.deviceClass;
    device.vendorId = config.vendorId;
    device.productId = config.productId;
    device.bcdDevice = config.bcdDevice;
    device.manufacturerIndex = config.manufacturer.empty() ? 0 : 1;
    device.productIndex = config.product.empty() ? 0 : 2;
    device.serialNumberIndex = config.serialNumber.empty() ? 0 : 3;
    w.device(device);
    const size_t start = w.beginConfiguration(1);
    w.interface(0, 0, uint8_t(config.bulkEndpoints.size()), config.interfaceClass, 0, 0);
    for (uint8_t endpoint : config.bulkEndpoints) w.endpoint(endpoint, 0x02, 512, 0);
    w.endConfiguration(start);
    m_descriptors = w.bytes();
}

std::string PlainUsbDevice::stringDescriptor(uint8_t index) const
{
    return usualString(index, m_config.manufacturer, m_config.product, m_config.serialNumber);
}

int PlainUsbDevice::dataTransfer(uint8_t endpoint, uint8_t* buffer, int length)
{
    if (!(endpoint & 0x80)) {
        m_out[endpoint].emplace_back(buffer, buffer + length);
        return length;
    }
    auto& queue = m_in[endpoint];
    if (queue.empty()) return kTransferNotReady;
    const std::vector<uint8_t>& data = queue.front();
    const int n = std::min<int>(length, int(data.size()));
    std::memcpy(buffer, data.data(), size_t(n));
    queue.pop_front();
    return n;
}

void PlainUsbDevice::queueIn(uint8_t endpoint, std::vector<uint8_t> data)
{
    {
        std::lock_guard<std::mutex> lock(mutex());
        m_in[endpoint].push_back(std::move(data));
    }
    requestService();
}

std::vector<std::vector<uint8_t>> PlainUsbDevice::takeOut(uint8_t endpoint)
{
    std::lock_guard<std::mutex> lock(mutex());
    std::vector<std::vector<uint8_t>> taken;
    taken.swap(m_out[endpoint]);
    return taken;
}

}  // namespace orrindale::emulator
