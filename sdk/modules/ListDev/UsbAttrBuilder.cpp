#include "UsbAttrBuilder.h"

#include <cstdio>
#include <cstring>
#include <iostream>

void buildUsbCameraAttr(libusb_device* device, const libusb_device_descriptor& descriptor, QV_CAM_ATTR& attr)
{
    std::memset(&attr, 0, sizeof attr);
    attr.type = QV_CAM_ATTR_USB;
    QV_USB_DEV_ATTR& usb = attr.attr.usbAttrs;
    usb.vid = descriptor.idVendor;
    usb.pid = descriptor.idProduct;
    usb.busnum = libusb_get_bus_number(device);
    usb.dev = libusb_get_device_address(device);
    usb.port = libusb_get_port_number(device);

    uint8_t path[128];
    const int levels = libusb_get_port_numbers(device, path, sizeof path);
    if (levels < 1) {
        std::cout << "get port numbers error" << std::endl;
        return;
    }
    size_t used = 0;
    for (int i = 0; i < levels && used < sizeof usb.ports; ++i) {
        const int n = std::snprintf(usb.ports + used, sizeof usb.ports - used, i == 0 ? "%d" : ".%d", path[i]);
        if (n < 0) break;
        used += static_cast<size_t>(n);
    }
}
