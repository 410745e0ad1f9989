#include "CaptureFactory.h"

#include "LiteUsb.h"
#include "Logger.h"
#include "NetInput.h"
#include "UvcCamera.h"
#include "V4L2Camera.h"

ICapture* createCaptureInstance(QV_CAM_ATTR const& attr, unsigned int arg)
{
    if (attr.type == QV_CAM_ATTR_NET) return new NetInput(attr.attr.netAttrs, arg);
    if (attr.type != QV_CAM_ATTR_USB) return nullptr;

    const QV_USB_DEV_ATTR& usb = attr.attr.usbAttrs;
    const int vid = static_cast<int>(usb.vid);
    const int pid = static_cast<int>(usb.pid);
    const int bus = usb.busnum;
    const int dev = usb.dev;
    if (usb.vid == 0x3482) {
        switch (usb.pid) {
        case 0x6723:
        case 0x6724:
        case 0x6789:
        case 0x7723:
        case 0x8723:
            return new UvcCamera(vid, pid, bus, dev, false);
        case 0x2789:
            return new LiteUsb(vid, pid, bus, dev, 512, 0x20000, 1160192);
        case 0x278A:
        case 0x278B:
            return new LiteUsb(vid, pid, bus, dev, 512, 0x20000, 2181632);
        default:
            break;
        }
    } else if (usb.vid == 0x0C45 && usb.pid == 0x636D) {
        return new UvcCamera(vid, pid, bus, dev, true);
    } else if ((usb.vid == 0x0C45 && usb.pid == 0x636B) || (usb.vid == 0x2DBB && usb.pid == 0x0300)) {
        return new V4L2Camera(vid, pid, bus, dev);
    }
    QV_LOGE("not createCaptureInstance of ICapture");
    return nullptr;
}

ICapture* createCaptureInstance(int vid, int pid, int bus, int address)
{
    if (vid == 0x3482 && (pid == 0x6723 || pid == 0x7723 || pid == 0x6789))
        return new UvcCamera(vid, pid, bus, address, false);
    if ((vid == 0x0C45 && pid == 0x636B) || (vid == 0x2DBB && pid == 0x0300))
        return new V4L2Camera(vid, pid, bus, address);
    QV_LOGE("not createCaptureInstance of ICapture");
    return nullptr;
}
