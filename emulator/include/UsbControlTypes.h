// Plain records shared by the emulated USB devices and their models: a control
// request's setup stage, the record kept of every request, and the selectors a test
// uses to make requests misbehave.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace orrindale::emulator {

// A model's answer to a transfer, besides a byte count.
constexpr int kTransferStall = -32;         // -EPIPE: the endpoint answers STALL
constexpr int kTransferNotReady = -100000;  // keep the request pending; the model asks for service later

struct ControlSetup {
    uint8_t requestType = 0;  // bmRequestType
    uint8_t request = 0;      // bRequest
    uint16_t value = 0;       // wValue
    uint16_t index = 0;       // wIndex
    uint16_t length = 0;      // wLength

    bool deviceToHost() const { return (requestType & 0x80) != 0; }
    int type() const { return (requestType >> 5) & 3; }  // 0 standard, 1 class, 2 vendor
    int recipient() const { return requestType & 0x1f; }  // 0 device, 1 interface, 2 endpoint
};

// One control request as the device saw it on the wire.
struct ControlRecord {
    ControlSetup setup;
    std::vector<uint8_t> data;  // the host's data stage (OUT) or the device's answer (IN)
    int result = 0;             // bytes transferred, kTransferStall, or kTransferNotReady when left unanswered
};

// Selects control requests; a field left empty matches anything.
struct ControlMatch {
    std::optional<uint8_t> requestType;
    std::optional<uint8_t> request;
    std::optional<uint16_t> value;
    std::optional<uint16_t> index;

    bool matches(const ControlSetup& setup) const
    {
        return (!requestType || *requestType == setup.requestType) && (!request || *request == setup.request) &&
               (!value || *value == setup.value) && (!index || *index == setup.index);
    }
};

enum class ControlFault {
    Stall,       // the request ends with STALL (LIBUSB_ERROR_PIPE)
    NoResponse,  // the request is never answered; the host's timeout ends it
};

// Counters of the usbdevfs requests one device served.
struct UsbdevfsStatistics {
    uint64_t ioctls = 0;
    uint64_t submitted = 0;
    uint64_t reaped = 0;
    uint64_t emptyReaps = 0;  // REAPURBNDELAY with nothing to reap (EAGAIN)
    uint64_t servedInPlace = 0;  // URBs of a host in this process, served without copies
};

}  // namespace orrindale::emulator
