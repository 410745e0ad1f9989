// The entry point of enumeration (USB, then serial, then network cameras), in a unit of its
// own: the context tests put a double in its place while the drivers keep the lookups of
// UsbCameraList.
#include <mutex>

#include "NetCameraList.h"
#include "SerialCameraList.h"
#include "UsbCameraList.h"

int getCameraAtrrsList(std::vector<usb_id> const& ids, std::vector<QV_CAM_ATTR>& out)
{
    std::lock_guard<std::mutex> lock(enum_lock);
    const int usb = getUsbCameraAttrsListLinux(ids, out);
    getSerialCameraAttrsList(out);  // finding none is no failure
    const int net = getNetCameraAttrsList(out);
    return usb | net;
}
