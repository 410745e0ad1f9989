#include "ApiTestDoubles.h"

#include <cstring>
#include <mutex>

#include "CameraFactory.h"
#include "UsbCameraList.h"

namespace apitest {

World& world()
{
    static World w;
    return w;
}

QV_CAM_ATTR usbCamera(uint32_t vid, uint32_t pid, int bus, int dev, const char* ports)
{
    QV_CAM_ATTR attr;
    std::memset(&attr, 0, sizeof attr);
    attr.type = QV_CAM_ATTR_USB;
    attr.attr.usbAttrs.vid = vid;
    attr.attr.usbAttrs.pid = pid;
    attr.attr.usbAttrs.busnum = bus;
    attr.attr.usbAttrs.dev = dev;
    attr.attr.usbAttrs.port = 4;
    std::strncpy(attr.attr.usbAttrs.ports, ports, sizeof attr.attr.usbAttrs.ports - 1);
    return attr;
}

}  // namespace apitest

int getCameraAtrrsList(std::vector<usb_id> const& ids, std::vector<QV_CAM_ATTR>& out)
{
    static std::mutex calls;  // listings may run on several threads at once
    std::lock_guard<std::mutex> lock(calls);
    apitest::World& w = apitest::world();
    ++w.enumerationCalls;
    w.lastIds = ids;
    out.insert(out.end(), w.attached.begin(), w.attached.end());
    return 0;
}

ICameraOps* createCameraInstance(const QV_CAM_ATTR& attr, void* handle)
{
    apitest::World& w = apitest::world();
    w.lastFactoryHandle = handle;
    if (w.makeDriver) return w.makeDriver(attr, handle);
    apitest::DriverScript* script = w.scriptFor ? w.scriptFor(attr) : nullptr;
    return script ? new apitest::ScriptedDriver(*script, handle) : nullptr;
}

const std::vector<usb_id>& supportedUsbIds()
{
    static const std::vector<usb_id> ids = {{0x3482, 0x6723}, {0x0C45, 0x636D}};
    return ids;
}
