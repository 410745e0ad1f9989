#include "UsbCameraList.h"

#include <libusb.h>

#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>

#include "Logger.h"
#include "UsbAttrBuilder.h"

namespace {

struct ContextDeleter {
    void operator()(libusb_context* context) const { libusb_exit(context); }
};
using ContextPtr = std::unique_ptr<libusb_context, ContextDeleter>;

ContextPtr openContext()
{
    libusb_context* context = nullptr;
    const int ret = libusb_init(&context);
    if (ret < 0) {
        std::fprintf(stderr, "unable to initialize libusb: %i\n", ret);
        return nullptr;
    }
    return ContextPtr(context);
}

// Video function of a composite camera, by the identifiers of its control function.
void companionVideoIds(int vid, int pid, int& videoVid, int& videoPid)
{
    videoVid = 0x2DBB;
    videoPid = 0x0300;
    if (vid == 0x3482 && (pid == 0x5725 || pid == 0x5727)) {
        videoVid = 0x0C45;
        videoPid = 0x636B;
    }
}

// First line of a sysfs file; empty when it cannot be read.
std::string sysfsLine(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// The port path up to (not including) its last "."; the whole path when it has none.
std::string parentPortPath(const std::string& path)
{
    const auto dot = path.rfind('.');
    return dot == std::string::npos ? path : path.substr(0, dot);
}

// One shell word whatever the text holds: single quotes, each ' written as '\''.
std::string shellQuoted(std::string const& text)
{
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

}  // namespace

int getUsbCameraAttrsListLinux(std::vector<usb_id> const& ids, std::vector<QV_CAM_ATTR>& out)
{
    ContextPtr context = openContext();
    if (!context) return -1;
    int ret = 0;
    // Only the last identifier's result counts, by design of the listing protocol.
    for (const usb_id& id : ids) ret = list_devices(context.get(), id.vid, id.pid, out);
    return ret;
}

int list_devices(libusb_context* context, int vid, int pid, std::vector<QV_CAM_ATTR>& out)
{
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(context, &devices);
    if (count < 0) return 1;
    int ret = 1;
    for (ssize_t i = 0; i < count; ++i) {
        libusb_device_descriptor descriptor{};
        if (libusb_get_device_descriptor(devices[i], &descriptor) < 0) continue;
        if ((vid != -1 && vid != descriptor.idVendor) || (pid != -1 && pid != descriptor.idProduct)) continue;
        QV_CAM_ATTR attr;
        buildUsbCameraAttr(devices[i], descriptor, attr);
        out.push_back(attr);
        ret = 0;
    }
    libusb_free_device_list(devices, 1);
    return ret;
}

int get_match_video_node_info(int vid, int pid, int bus, int address, int& videoVid, int& videoPid, int& videoBus,
                              int& videoAddress, bool is_match)
{
    ContextPtr context = openContext();
    if (!context) return 0;

    std::vector<QV_CAM_ATTR> controls;
    list_devices(context.get(), vid, pid, controls);
    const QV_CAM_ATTR* control = nullptr;
    for (const QV_CAM_ATTR& attr : controls)
        if (attr.attr.usbAttrs.busnum == bus && attr.attr.usbAttrs.dev == address) control = &attr;
    if (control == nullptr) {
        std::printf("can not find usb device: vid %04x, pid %04x, bus num %d, dev num %d\n", vid, pid, bus, address);
        std::fflush(stdout);
        return 0;
    }

    int wantVid = 0;
    int wantPid = 0;
    companionVideoIds(vid, pid, wantVid, wantPid);
    std::vector<QV_CAM_ATTR> candidates;
    list_devices(context.get(), wantVid, wantPid, candidates);
    QV_LOGI("VideoAttrsList ", candidates.size(), ", is_match ", is_match);
    if (candidates.empty()) return 0;

    const std::string controlPath = control->attr.usbAttrs.ports;
    int found = 0;
    for (const QV_CAM_ATTR& candidate : candidates) {
        const QV_USB_DEV_ATTR& usb = candidate.attr.usbAttrs;
        if (usb.busnum == control->attr.usbAttrs.busnum) {
            const std::string hub = parentPortPath(usb.ports);
            if (controlPath.compare(0, hub.size(), hub) == 0) {
                // Both functions sit behind one parent hub.
                videoVid = static_cast<int>(usb.vid);
                videoPid = static_cast<int>(usb.pid);
                videoBus = usb.busnum;
                videoAddress = usb.dev;
                return 1;
            }
        }
        if (!is_match) {
            // Virtualised USB topologies rewrite port paths: take the candidate anyway.
            videoVid = static_cast<int>(usb.vid);
            videoPid = static_cast<int>(usb.pid);
            videoBus = usb.busnum;
            videoAddress = usb.dev;
            QV_LOGI("this is virtual machine !");
            found = 1;
        }
    }
    return found;
}

std::string getNodeInfo(std::string const& node, std::string key)
{
    const std::string command = "udevadm info --query=all --name=" + shellQuoted(node);
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "Error: Failed to execute udevadm command.";
    std::string value;
    char line[128];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::string text(line);
        if (text.find(key) == std::string::npos) continue;
        const auto eq = text.rfind('=');
        if (eq != std::string::npos) value = text.substr(eq + 1);
        while (!value.empty() && (value.back() == '\n' || value.back() == '\r')) value.pop_back();
        break;
    }
    pclose(pipe);
    return value;
}

int getDevTtyVidPidByDeviceNode(std::string node, int* vid, int* pid)
{
    const auto slash = node.rfind('/');
    const std::string name = slash == std::string::npos ? node : node.substr(slash + 1);
    if (name.empty() || vid == nullptr || pid == nullptr) {
        QV_LOGE(node, " is not valid!\n");
        return -1;
    }
    std::ifstream file("/sys/class/tty/" + name + "/device/modalias");
    std::string modalias;
    if (!file || !std::getline(file, modalias) || modalias.compare(0, 5, "usb:v") != 0) {
        QV_LOGE(node, " is not valid!\n");
        return -1;
    }
    unsigned vendor = 0, product = 0;
    char rest = 0;
    if (std::sscanf(modalias.c_str() + 5, "%4x%c", &vendor, &rest) != 2 || rest != 'p') {
        QV_LOGE(node, " failed to read vid!\n");
        return -1;
    }
    if (std::sscanf(modalias.c_str() + 10, "%4x", &product) != 1) {
        QV_LOGE(node, " failed to read pid!\n");
        return -1;
    }
    // Both or neither: a half-read identity is no identity.
    *vid = static_cast<int>(vendor);
    *pid = static_cast<int>(product);
    return 0;
}

namespace {

// The USB device directory of a tty: the parent of its interface (CDC ACM), or one level
// up again (a USB serial driver puts a port device between); empty when neither is one.
std::string ttyUsbDevice(const std::string& name)
{
    const std::string device = "/sys/class/tty/" + name + "/device";
    for (const char* up : {"/..", "/../.."})
        if (!sysfsLine(device + up + "/busnum").empty()) return device + up;
    return {};
}

}  // namespace

std::string getTtyNodeByUsbPosition(int bus, int address)
{
    DIR* ttys = opendir("/sys/class/tty");
    if (ttys == nullptr) return {};
    std::string node;
    while (const dirent* entry = readdir(ttys)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        const std::string usb = ttyUsbDevice(name);
        if (!usb.empty() && std::atoi(sysfsLine(usb + "/busnum").c_str()) == bus &&
            std::atoi(sysfsLine(usb + "/devnum").c_str()) == address) {
            node = "/dev/" + name;
            break;
        }
    }
    closedir(ttys);
    return node;
}

int getUsbPositionOfTty(std::string const& node, int& bus, int& address)
{
    const std::string usb = ttyUsbDevice(node.substr(node.rfind('/') + 1));
    if (usb.empty()) {
        QV_LOGE(node, " belongs to no USB device");
        return -1;
    }
    bus = std::atoi(sysfsLine(usb + "/busnum").c_str());
    address = std::atoi(sysfsLine(usb + "/devnum").c_str());
    return 0;
}
