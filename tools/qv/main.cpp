// qv: the command-line companion of the library.
//   qv list      every attached camera
#include <cstdio>
#include <cstring>
#include <list>
#include <string>

#include "qv_camera_sdk_api.h"

namespace {

int usage()
{
    std::fprintf(stderr, "usage: qv list\n");
    return 2;
}

int listCameras()
{
    QV_SDK_Init();
    std::list<void*> cameras;
    const int count = QV_SDK_GetCameraList(cameras);
    if (count < 0) {
        std::fprintf(stderr, "qv: listing cameras failed (%d)\n", count);
        QV_SDK_Deinit();
        return 1;
    }
    if (count == 0) std::printf("No camera is attached.\n");
    int index = 0;
    for (void* handle : cameras) {
        QV_CAM_ATTR attr;
        if (QV_SDK_GetCameraAttrs(handle, attr) != 0) continue;
        if (attr.type == QV_CAM_ATTR_USB) {
            const QV_USB_DEV_ATTR& usb = attr.attr.usbAttrs;
            std::printf("camera %d: usb %04x:%04x bus %d address %d port path %s\n", index, usb.vid, usb.pid, usb.busnum,
                        usb.dev, usb.ports[0] ? usb.ports : "-");
        } else if (attr.type == QV_CAM_ATTR_NET) {
            std::printf("camera %d: network %s port %d\n", index, attr.attr.netAttrs.ip, attr.attr.netAttrs.port);
        }
        ++index;
    }
    QV_SDK_FreeCameraList(cameras);
    QV_SDK_Deinit();
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return usage();
    if (std::strcmp(argv[1], "list") == 0) return listCameras();
    return usage();
}
