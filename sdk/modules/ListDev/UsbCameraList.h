// Listing of attached USB cameras and the sysfs/udev lookups that tie a
// camera's functions (control device, video node, tty) together.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "qv_camera_sdk_types.h"

struct libusb_context;

// One identifier pair to search for; -1 matches anything during enumeration.
struct usb_id {
    int vid;
    int pid;
};

// Serialises every enumeration of the process (USB, serial and network).
extern std::mutex enum_lock;

// USB (and serial) cameras, then network cameras; the OR of both results.
int getCameraAtrrsList(std::vector<usb_id> const& ids, std::vector<QV_CAM_ATTR>& out);

// Private libusb context; returns the result of the LAST list_devices call only.
int getUsbCameraAttrsListLinux(std::vector<usb_id> const& ids, std::vector<QV_CAM_ATTR>& out);

// 0 when at least one device was appended, 1 otherwise.
int list_devices(libusb_context* context, int vid, int pid, std::vector<QV_CAM_ATTR>& out);

// 1 when the companion video device of a composite camera was chosen.
int get_match_video_node_info(int vid, int pid, int bus, int address, int& videoVid, int& videoPid, int& videoBus,
                              int& videoAddress, bool is_match);

// One udev property of a device node ("udevadm info --query=all --name=<node>").
std::string getNodeInfo(std::string const& node, std::string key);

// USB identifiers of a serial device node from the tty's sysfs modalias.
int getDevTtyVidPidByDeviceNode(std::string node, int* vid, int* pid);

// "/dev/<tty>" of the serial port of the USB device at (bus, address); empty when it has none.
std::string getTtyNodeByUsbPosition(int bus, int address);
// Bus number and address of the USB device a tty ("/dev/ttyUSB0") belongs to; 0, or -1.
int getUsbPositionOfTty(std::string const& node, int& bus, int& address);
