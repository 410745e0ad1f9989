// The behaviour of one emulated USB device: its descriptors, its answers to class and
// vendor control requests, and the data on its endpoints. The emulated device
// (EmulatedUsbDevice) answers the standard requests itself and calls the model for the rest.
//
// Threading: the device calls every virtual below with mutex() held, on umockdev's
// worker thread. A model's own test-facing setters take mutex() too, and call
// requestService() after releasing it when pending transfers should be looked at again.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "UsbControlTypes.h"

namespace orrindale::emulator {

class EmulatedUsbDevice;

class UsbDeviceModel {
public:
    using Clock = std::chrono::steady_clock;

    UsbDeviceModel() = default;
    UsbDeviceModel(const UsbDeviceModel&) = delete;
    UsbDeviceModel& operator=(const UsbDeviceModel&) = delete;
    virtual ~UsbDeviceModel() = default;

    // Device descriptor followed by the configuration descriptor(s), as sysfs shows them.
    virtual std::vector<uint8_t> descriptors() const = 0;
    // Text of string descriptor `index` (1..255); empty when the device has none (STALL).
    virtual std::string stringDescriptor(uint8_t index) const;
    // The usual three strings: 1 manufacturer, 2 product, 3 serial number; empty otherwise.
    static std::string usualString(uint8_t index, const std::string& manufacturer, const std::string& product,
                                   const std::string& serialNumber);
    // 12, 480 or 5000.
    virtual int speedMbps() const { return 480; }

    // A class or vendor control request. `data` holds the host's data stage (OUT) or
    // takes the answer (IN), room for setup.length bytes. Returns the bytes
    // transferred, kTransferStall, or kTransferNotReady to leave it unanswered.
    virtual int classOrVendorRequest(const ControlSetup& setup, uint8_t* data);
    // A bulk or interrupt transfer on `endpoint` (bit 7 set: IN, fill `buffer`).
    // Returns bytes, kTransferNotReady to keep it pending, or a negative errno status.
    virtual int dataTransfer(uint8_t endpoint, uint8_t* buffer, int length);
    // One packet of an isochronous IN transfer. kTransferNotReady on the first packet
    // keeps the whole transfer pending; later it means an empty packet.
    virtual int isochronousPacket(uint8_t endpoint, uint8_t* buffer, int length);
    // SET_INTERFACE from the host.
    virtual void alternateSettingSelected(int interfaceNumber, int alternate);
    // CLEAR_FEATURE(ENDPOINT_HALT) from the host.
    virtual void endpointHaltCleared(uint8_t endpoint);
    // The device was plugged in (again) or unplugged: a model resets its stream state.
    virtual void pluggedIn() {}
    virtual void unplugged() {}

    std::mutex& mutex() const { return m_mutex; }
    // The emulated device this model lives in (null before it is added to a test bed).
    EmulatedUsbDevice* device() const { return m_device; }

protected:
    // Asks the device to offer its pending transfers to the model again at `when`
    // (now when omitted). Thread safe; cheap when a service is already due earlier.
    void requestService(Clock::time_point when = Clock::time_point());

private:
    friend class EmulatedUsbDevice;
    mutable std::mutex m_mutex;
    EmulatedUsbDevice* m_device = nullptr;
};

}  // namespace orrindale::emulator
