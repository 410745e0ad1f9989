#include "HubModel.h"

#include <algorithm>
#include <cstring>

#include "UsbDescriptorWriter.h"

namespace orrindale::emulator {

HubModel::HubModel(bool rootHub, int bus) : m_rootHub(rootHub), m_bus(bus)
{
    UsbDescriptorWriter w;
    UsbDeviceDescriptorFields device;
    device.deviceClass = 9;
    device.deviceProtocol = 1;  // single transaction translator
    device.vendorId = rootHub ? 0x1d6b : 0x05e3;
    device.productId = rootHub ? 0x0002 : 0x0608;
    device.bcdDevice = rootHub ? 0x0601 : 0x6060;
    device.manufacturerIndex = rootHub ? 3 : 0;
    device.productIndex = rootHub ? 2 : 1;
    device.serialNumberIndex = rootHub ? 1 : 0;
    w.device(device);
    const size_t config = w.beginConfiguration(1, 1, 0xE0, 0);
    w.interface(0, 0, 1, 9, 0, 0);
    w.endpoint(0x81, 0x03, 4, 12);
    w.endConfiguration(config);
    m_descriptors = w.bytes();
}

std::string HubModel::stringDescriptor(uint8_t index) const
{
    if (!m_rootHub) return index == 1 ? "USB2.0 Hub" : "";
    switch (index) {
    case 1:
        return "orr-emulator." + std::to_string(m_bus);
    case 2:
        return "Emulated Host Controller";
    case 3:
        return "Linux emulated-hcd";
    default:
        return {};
    }
}

int HubModel::classOrVendorRequest(const ControlSetup& setup, uint8_t* data)
{
    auto answer = [&](std::initializer_list<uint8_t> bytes) {
        const int n = std::min<int>(setup.length, int(bytes.size()));
        std::memcpy(data, bytes.begin(), size_t(n));
        return n;
    };
    if (setup.requestType == 0xA0 && setup.request == 0x06 && (setup.value >> 8) == 0x29)
        return answer({11, 0x29, kPorts, 0x09, 0x00, 50, 100, 0x00, 0x00, 0xff, 0xff});
    if (setup.requestType == 0xA0 && setup.request == 0x00) return answer({0, 0, 0, 0});
    if (setup.requestType == 0xA3 && setup.request == 0x00) {
        if (setup.index < 1 || setup.index > kPorts) return kTransferStall;
        return answer({0x00, 0x01, 0, 0});  // powered, nothing connected that the hub reports
    }
    if (setup.requestType == 0x23 && (setup.request == 0x01 || setup.request == 0x03)) return 0;  // port features
    return kTransferStall;
}

}  // namespace orrindale::emulator
