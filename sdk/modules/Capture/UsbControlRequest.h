// The record a USB transport's cmdMsg takes: one control transfer, or (by the
// value of its first two bytes) a request directed at the transport itself.
#pragma once

#include <cstdint>

struct usb_ctrl_request_s {
    uint8_t requestType;  // bmRequestType
    uint8_t request;      // bRequest
    uint16_t value;       // wValue
    uint16_t index;       // wIndex
    unsigned char* data;  // data stage buffer
    uint16_t length;      // wLength; also the capacity of data for the transport requests
    uint32_t timeout;     // milliseconds
};

// First two bytes 0xBB 0xBB: copy the device's USB serial number into data.
constexpr uint16_t USB_REQ_SELECTOR_SERIAL = 0xBBBB;
// The bulk transport reads the same selector as "the stream type is the first byte of data".
constexpr uint16_t USB_REQ_SELECTOR_STREAM_TYPE = 0xBBBB;
// First two bytes 0xCC 0xCC: store the underlying libusb_device_handle* at data.
constexpr uint16_t USB_REQ_SELECTOR_LIBUSB_HANDLE = 0xCCCC;

inline uint16_t requestSelector(const usb_ctrl_request_s& r)
{
    return static_cast<uint16_t>(r.requestType << 8 | r.request);
}
