#include "VideoNodeRecord.h"

#include <cstdio>

namespace orrindale::emulator {

namespace {

// Attribute values are escaped text: printable ASCII, never a backslash.
std::string plain(const std::string& value)
{
    std::string out;
    for (char c : value)
        if (c >= 0x20 && c < 0x7f && c != '\\') out += c;
    return out;
}

// udev's ID_PATH of the interface: "pci-0000:00:14.0-usb-0:2.2:1.0".
std::string idPath(const VideoNodeFacts& f)
{
    return "pci-0000:00:14.0-usb-0:" + f.sysfsName.substr(f.sysfsName.find('-') + 1) + ":1.0";
}

}  // namespace

std::string VideoNodeRecord::interfacePath(const VideoNodeFacts& f) { return f.devicePath + "/" + f.sysfsName + ":1.0"; }

std::string VideoNodeRecord::nodePath(const VideoNodeFacts& f, int n)
{
    return interfacePath(f) + "/video4linux/video" + std::to_string(f.firstMinor + n);
}

std::string VideoNodeRecord::modalias(const VideoNodeFacts& f)
{
    char text[96];
    std::snprintf(text, sizeof text, "usb:v%04Xp%04Xd%04XdcEFdsc02dp01ic0Eisc01ip00in00", f.vendorId, f.productId,
                  f.bcdDevice);
    return text;
}

std::string VideoNodeRecord::build(const VideoNodeFacts& f)
{
    char ids[160];
    std::snprintf(ids, sizeof ids, "E: ID_VENDOR_ID=%04x\nE: ID_MODEL_ID=%04x\nE: ID_BUS=usb\n", f.vendorId,
                  f.productId);
    const std::string product = plain(f.product);
    std::string s;
    s += "P: " + interfacePath(f) + "\n";
    s += "E: DEVTYPE=usb_interface\nE: DRIVER=uvcvideo\nE: SUBSYSTEM=usb\nE: INTERFACE=14/1/0\n";
    s += "E: MODALIAS=" + modalias(f) + "\n";
    s += "A: modalias=" + modalias(f) + "\\n\n";
    s += "A: bInterfaceClass=0e\\n\nA: bInterfaceSubClass=01\\n\nA: bInterfaceProtocol=00\\n\n";
    s += "A: bInterfaceNumber=00\\n\nA: bAlternateSetting= 0\\n\nA: bNumEndpoints=00\\n\nA: authorized=1\\n\n";
    s += "\n";
    for (int n = 0; n < 2; ++n) {
        const int minor = f.firstMinor + n;
        const std::string name = "video" + std::to_string(minor);
        s += "P: " + nodePath(f, n) + "\n";
        s += "N: " + name + "=00\n";  // contents: a regular file, so that mmap works
        s += "E: DEVNAME=/dev/" + name + "\nE: SUBSYSTEM=video4linux\nE: MAJOR=81\nE: MINOR=" + std::to_string(minor) +
             "\n";
        s += "E: ID_V4L_VERSION=2\nE: ID_V4L_PRODUCT=" + product + "\n";
        s += n == 0 ? "E: ID_V4L_CAPABILITIES=:capture:\n" : "E: ID_V4L_CAPABILITIES=:\n";
        s += ids;
        if (!f.serial.empty()) s += "E: ID_SERIAL_SHORT=" + plain(f.serial) + "\n";
        s += "E: ID_PATH=" + idPath(f) + "\nE: ID_USB_INTERFACE_NUM=00\nE: ID_USB_DRIVER=uvcvideo\n";
        s += "A: index=" + std::to_string(n) + "\\n\n";
        s += "A: name=" + product + "\\n\n";
        s += "A: dev=81:" + std::to_string(minor) + "\\n\n";
        s += "L: device=../../../" + f.sysfsName + ":1.0\n";
        s += "\n";
    }
    return s;
}

}  // namespace orrindale::emulator
