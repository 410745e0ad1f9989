#include "UsbSysfsRecord.h"

#include <cstdarg>
#include <cstdio>

namespace orrindale::emulator {

namespace {

std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

std::string format(const char* fmt, ...)
{
    char text[512];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    return text;
}

// Attribute values are escaped text: keep printable ASCII, never a backslash.
std::string attributeText(const std::string& value)
{
    std::string out;
    for (char c : value)
        if (c >= 0x20 && c < 0x7f && c != '\\') out += c;
    return out;
}

}  // namespace

std::string UsbSysfsRecord::deviceNode(int bus, int address) { return format("/dev/bus/usb/%03d/%03d", bus, address); }

std::string UsbSysfsRecord::build(const UsbSysfsFacts& f)
{
    const auto& d = f.descriptors;
    if (d.size() < 18) return {};
    const int vid = d[8] | (d[9] << 8);
    const int pid = d[10] | (d[11] << 8);
    const int bcdDevice = d[12] | (d[13] << 8);
    const int minor = (f.bus - 1) * 128 + (f.address - 1);
    std::string s;
    s += "P: " + f.devicePath + "\n";
    s += format("N: bus/usb/%03d/%03d\n", f.bus, f.address);
    s += format("E: DEVNAME=/dev/bus/usb/%03d/%03d\nE: DEVTYPE=usb_device\nE: DRIVER=usb\n", f.bus, f.address);
    s += format("E: PRODUCT=%x/%x/%x\nE: TYPE=%d/%d/%d\nE: BUSNUM=%03d\nE: DEVNUM=%03d\n", vid, pid, bcdDevice, d[4], d[5],
                d[6], f.bus, f.address);
    s += format("E: MAJOR=189\nE: MINOR=%d\nE: SUBSYSTEM=usb\nE: ID_VENDOR_ID=%04x\nE: ID_MODEL_ID=%04x\n", minor, vid,
                pid);
    if (!f.serial.empty()) s += "E: ID_SERIAL_SHORT=" + attributeText(f.serial) + "\n";
    s += format("A: busnum=%d\\n\nA: devnum=%d\\n\nA: devpath=%s\\n\nA: speed=%d\\n\nA: dev=189:%d\\n\n", f.bus,
                f.address, f.devpath.c_str(), f.speedMbps, minor);
    s += format("A: idVendor=%04x\\n\nA: idProduct=%04x\\n\nA: bcdDevice=%04x\\n\nA: bcdUSB=%x.%02x\\n\n", vid, pid,
                bcdDevice, d[3], d[2]);
    s += format("A: bDeviceClass=%02x\\n\nA: bDeviceSubClass=%02x\\n\nA: bDeviceProtocol=%02x\\n\n", d[4], d[5], d[6]);
    s += format("A: bMaxPacketSize0=%d\\n\nA: bNumConfigurations=%d\\n\nA: bConfigurationValue=1\\n\n", d[7], d[17]);
    s += format("A: version=%2x.%02x\\n\nA: maxchild=%d\\n\nA: authorized=1\\n\nA: removable=unknown\\n\n", d[3], d[2],
                d[4] == 9 ? 15 : 0);
    s += "A: configuration=\\n\nA: rx_lanes=1\\n\nA: tx_lanes=1\\n\n";
    if (d.size() >= 27)
        s += format("A: bNumInterfaces=%2d\\n\nA: bmAttributes=%02x\\n\nA: bMaxPower=%dmA\\n\n", d[22], d[25], d[26] * 2);
    if (!f.manufacturer.empty()) s += "A: manufacturer=" + attributeText(f.manufacturer) + "\\n\n";
    if (!f.product.empty()) s += "A: product=" + attributeText(f.product) + "\\n\n";
    if (!f.serial.empty()) s += "A: serial=" + attributeText(f.serial) + "\\n\n";
    s += "H: descriptors=";
    static const char hex[] = "0123456789ABCDEF";
    for (uint8_t byte : d) {
        s += hex[byte >> 4];
        s += hex[byte & 15];
    }
    s += "\n\n";
    return s;
}

}  // namespace orrindale::emulator
