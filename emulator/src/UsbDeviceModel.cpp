#include "UsbDeviceModel.h"

#include "EmulatedUsbDevice.h"

namespace orrindale::emulator {

std::string UsbDeviceModel::stringDescriptor(uint8_t) const { return {}; }

std::string UsbDeviceModel::usualString(uint8_t index, const std::string& manufacturer, const std::string& product,
                                        const std::string& serialNumber)
{
    switch (index) {
    case 1:
        return manufacturer;
    case 2:
        return product;
    case 3:
        return serialNumber;
    default:
        return {};
    }
}

int UsbDeviceModel::classOrVendorRequest(const ControlSetup&, uint8_t*) { return kTransferStall; }

int UsbDeviceModel::dataTransfer(uint8_t, uint8_t*, int) { return kTransferNotReady; }

int UsbDeviceModel::isochronousPacket(uint8_t, uint8_t*, int) { return kTransferNotReady; }

void UsbDeviceModel::alternateSettingSelected(int, int) {}

void UsbDeviceModel::endpointHaltCleared(uint8_t) {}

void UsbDeviceModel::requestService(Clock::time_point when)
{
    if (m_device != nullptr) m_device->scheduleService(when);
}

}  // namespace orrindale::emulator
