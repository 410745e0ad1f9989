#include "CameraFactory.h"

#include "CameraE7.h"
#include "CameraFl30.h"
#include "CameraFl30c.h"
#include "CameraFl30cn.h"
#include "CameraFl30v.h"
#include "CameraG700.h"
#include "CameraGm80.h"
#include "CameraHalvo.h"
#include "CameraMorvik.h"
#include "CameraOstrelB.h"
#include "CameraPellam.h"
#include "CameraSelvarA.h"
#include "CameraSelvarC.h"
#include "CameraVirene.h"
#include "CameraVireneA.h"
#include "CameraVireneB.h"
#include "CameraZenta.h"
#include "Logger.h"

namespace {

using Maker = ICameraOps* (*)(const QV_CAM_ATTR&, void*);

template <typename Driver>
ICameraOps* make(const QV_CAM_ATTR& attr, void* handle)
{
    return new Driver(attr, handle);
}

struct UsbRow {
    uint32_t vid;
    uint32_t pid;
    Maker maker;
};

// USB and serial attachments; the first matching row wins.
constexpr UsbRow kUsbTable[] = {
    {0x3482, 0x6723, make<CameraFl30c>},   {0x3482, 0x6789, make<CameraZenta>},
    {0x3482, 0x7723, make<CameraSelvarC>}, {0x3482, 0x5727, make<CameraFl30>},
    {0x3482, 0x5723, make<CameraGm80>},    {0x3482, 0x5725, make<CameraFl30v>},
    {0x3482, 0x5724, make<CameraG700>},    {0x3482, 0x8723, make<CameraPellam>},
    {0x3482, 0x2789, make<CameraHalvo>},   {0x3482, 0x278A, make<CameraOstrelB>},
    {0x3482, 0x6724, make<CameraVirene>},  {0x3482, 0x278B, make<CameraVireneA>},
    {0x3482, 0x278C, make<CameraVireneB>}, {0x0C45, 0x636D, make<CameraSelvarA>},
    {0x1A86, 0x5723, make<CameraGm80>},    {0x1A86, 0x5722, make<CameraGm80>},
    {0x1A86, 0x5724, make<CameraG700>},
};

// Reachable only as a serial attachment.
constexpr UsbRow kSerialOnlyTable[] = {
    {0x2207, 0x0016, make<CameraE7>},
};

struct NetRow {
    int32_t model;
    Maker maker;
};

constexpr NetRow kNetTable[] = {
    {CAMERA_MODEL_FL30CN, make<CameraFl30cn>},
    {CAMERA_MODEL_PELLAM_NET, make<CameraPellam>},
    {CAMERA_MODEL_VIRENE, make<CameraVirene>},
    {CAMERA_MODEL_MORVIK, make<CameraMorvik>},
};

template <size_t N>
Maker findUsb(const UsbRow (&table)[N], uint32_t vid, uint32_t pid)
{
    for (const UsbRow& row : table)
        if (row.vid == vid && row.pid == pid) return row.maker;
    return nullptr;
}

}  // namespace

ICameraOps* createCameraInstance(const QV_CAM_ATTR& attr, void* handle)
{
    switch (attr.type) {
    case QV_CAM_ATTR_USB:
    case QV_CAM_ATTR_SERIAL: {
        // The serial record starts with the same vid and pid words as the USB one.
        const uint32_t vid = attr.type == QV_CAM_ATTR_USB ? attr.attr.usbAttrs.vid : attr.attr.serialAttrs.vid;
        const uint32_t pid = attr.type == QV_CAM_ATTR_USB ? attr.attr.usbAttrs.pid : attr.attr.serialAttrs.pid;
        Maker maker = findUsb(kUsbTable, vid, pid);
        if (maker == nullptr && attr.type == QV_CAM_ATTR_SERIAL) maker = findUsb(kSerialOnlyTable, vid, pid);
        if (maker == nullptr) {
            QV_LOGE("not createCameraInstance of ICameraOps");
            return nullptr;
        }
        return maker(attr, handle);
    }
    case QV_CAM_ATTR_NET:
        for (const NetRow& row : kNetTable)
            if (row.model == attr.attr.netAttrs.model) return row.maker(attr, handle);
        QV_LOGE("devAttr.attr.netAttrs.model ", attr.attr.netAttrs.model);
        return nullptr;
    default:
        return nullptr;
    }
}

const std::vector<usb_id>& supportedUsbIds()
{
    static const std::vector<usb_id> ids = [] {
        std::vector<usb_id> list;
        for (const UsbRow& row : kUsbTable) list.push_back({static_cast<int>(row.vid), static_cast<int>(row.pid)});
        return list;
    }();
    return ids;
}
