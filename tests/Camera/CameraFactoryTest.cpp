#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <typeinfo>

#include "CameraE7.h"
#include "CameraFactory.h"
#include "CameraFl30.h"
#include "SerialCameraList.h"
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
#include "LogCapture.h"

namespace {

QV_CAM_ATTR usb(QV_CAM_ATTR_TYPE type, uint32_t vid, uint32_t pid)
{
    QV_CAM_ATTR a;
    std::memset(&a, 0, sizeof a);
    a.type = type;
    if (type == QV_CAM_ATTR_SERIAL) {
        a.attr.serialAttrs.vid = vid;
        a.attr.serialAttrs.pid = pid;
    } else {
        a.attr.usbAttrs.vid = vid;
        a.attr.usbAttrs.pid = pid;
        a.attr.usbAttrs.busnum = 250;
        a.attr.usbAttrs.dev = 99;
    }
    return a;
}

QV_CAM_ATTR net(int32_t model)
{
    QV_CAM_ATTR a;
    std::memset(&a, 0, sizeof a);
    a.type = QV_CAM_ATTR_NET;
    a.attr.netAttrs.model = model;
    return a;
}

std::string driverOf(const QV_CAM_ATTR& a)
{
    std::unique_ptr<ICameraOps> driver(createCameraInstance(a, reinterpret_cast<void*>(0x1234)));
    if (!driver) return "none";
    ICameraOps& d = *driver;
    return typeid(d).name();
}

template <typename T>
std::string name()
{
    return typeid(T).name();
}

}  // namespace

TEST(CameraFactoryTest, UsbAndSerialTable)
{
    orrtest::StdoutCapture quiet;  // the Fl30c's transport looks for its device while constructed
    const struct {
        uint32_t vid, pid;
        std::string driver;
    } rows[] = {
        {0x3482, 0x6723, name<CameraFl30c>()},   {0x3482, 0x6789, name<CameraZenta>()},
        {0x3482, 0x7723, name<CameraSelvarC>()}, {0x3482, 0x5727, name<CameraFl30>()},
        {0x3482, 0x5723, name<CameraGm80>()},    {0x3482, 0x5725, name<CameraFl30v>()},
        {0x3482, 0x5724, name<CameraG700>()},    {0x3482, 0x8723, name<CameraPellam>()},
        {0x3482, 0x2789, name<CameraHalvo>()},   {0x3482, 0x278A, name<CameraOstrelB>()},
        {0x3482, 0x6724, name<CameraVirene>()},  {0x3482, 0x278B, name<CameraVireneA>()},
        {0x3482, 0x278C, name<CameraVireneB>()}, {0x0C45, 0x636D, name<CameraSelvarA>()},
        {0x1A86, 0x5723, name<CameraGm80>()},    {0x1A86, 0x5722, name<CameraGm80>()},
        {0x1A86, 0x5724, name<CameraG700>()},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_USB, r.vid, r.pid)), r.driver) << std::hex << r.vid << ":" << r.pid;
        EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_SERIAL, r.vid, r.pid)), r.driver) << std::hex << r.vid << ":" << r.pid;
    }
    // The bridge vendors serve only their listed products; the E7 is a serial attachment only.
    EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_SERIAL, 0x2207, 0x0016)), name<CameraE7>());
    EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_USB, 0x2207, 0x0016)), "none");
    EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_USB, 0x3482, 0x5722)), "none");
    EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_USB, 0x0C45, 0x636B)), "none");
    EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_USB, 0x1A86, 0x6723)), "none");
}

TEST(CameraFactoryTest, NoMatchIsReportedPerKind)
{
    orrtest::StdoutCapture out;
    EXPECT_EQ(createCameraInstance(usb(QV_CAM_ATTR_USB, 0x3482, 0x5722), nullptr), nullptr);
    EXPECT_EQ(createCameraInstance(usb(QV_CAM_ATTR_SERIAL, 0x3482, 0x5722), nullptr), nullptr);
    EXPECT_EQ(createCameraInstance(net(9), nullptr), nullptr);
    const std::string text = out.text();
    EXPECT_EQ(orrtest::countLogLines(text, "ERROR", "CameraFactory", "createCameraInstance",
                                     "not createCameraInstance of ICameraOps"),
              2);
    EXPECT_EQ(orrtest::countLogLines(text, "ERROR", "CameraFactory", "createCameraInstance",
                                     "devAttr.attr.netAttrs.model 9"),
              1);
    orrtest::StdoutCapture silent;
    EXPECT_EQ(createCameraInstance(usb(static_cast<QV_CAM_ATTR_TYPE>(3), 0x3482, 0x6723), nullptr), nullptr);
    EXPECT_EQ(silent.text(), "");
}

TEST(CameraFactoryTest, NetworkTableByAnnouncedModel)
{
    EXPECT_EQ(driverOf(net(CAMERA_MODEL_FL30CN)), name<CameraFl30cn>());
    EXPECT_EQ(driverOf(net(CAMERA_MODEL_PELLAM_NET)), name<CameraPellam>());
    EXPECT_EQ(driverOf(net(CAMERA_MODEL_VIRENE)), name<CameraVirene>());
    EXPECT_EQ(driverOf(net(CAMERA_MODEL_MORVIK)), name<CameraMorvik>());
    EXPECT_EQ(driverOf(net(CAMERA_MODEL_FL30C)), "none");
}

TEST(CameraFactoryTest, SupportedIdsCoverEveryUsbRow)
{
    const auto& ids = supportedUsbIds();
    EXPECT_EQ(ids.size(), 17u);
    orrtest::StdoutCapture quiet;
    for (const usb_id& id : ids)
        EXPECT_NE(driverOf(usb(QV_CAM_ATTR_USB, static_cast<uint32_t>(id.vid), static_cast<uint32_t>(id.pid))), "none");
    // What serial enumeration lists has a driver as a serial attachment only.
    for (const usb_id& id : serialOnlyIds()) {
        EXPECT_NE(driverOf(usb(QV_CAM_ATTR_SERIAL, static_cast<uint32_t>(id.vid), static_cast<uint32_t>(id.pid))), "none");
        EXPECT_EQ(driverOf(usb(QV_CAM_ATTR_USB, static_cast<uint32_t>(id.vid), static_cast<uint32_t>(id.pid))), "none");
    }
}

TEST(CameraFactoryTest, DriversOfLaterReleasesNameThemselves)
{
    CameraZenta zenta(usb(QV_CAM_ATTR_USB, 0x3482, 0x6789), nullptr);
    orrtest::StdoutCapture out;
    EXPECT_EQ(zenta.open("/tmp/x.json"), -2);
    EXPECT_EQ(zenta.startStreaming(0), -1);
    EXPECT_EQ(zenta.close(), 0);
    std::string serial;
    EXPECT_EQ(zenta.getSerialNo(serial), -1);
    ASSERT_NE(zenta.cmd(), nullptr);
    EXPECT_EQ(zenta.cmd()->reboot(), -1);
    const std::string text = out.text();
    EXPECT_EQ(orrtest::countLogLines(text, "ERROR", "UnsupportedCamera", "open",
                                     "CameraZenta is not supported by this release"),
              1);
    EXPECT_EQ(orrtest::countLogLines(text, "WARN", "UnsupportedCamera", "notSupported",
                                     "CameraZenta does not support startStreaming"),
              1);
    EXPECT_EQ(orrtest::countLogLines(text, "WARN", "UnsupportedCamera", "notSupported",
                                     "CameraZenta does not support getSerialNo"),
              1);
    EXPECT_EQ(orrtest::countLogLines(text, "ERROR", "ICommand", "reboot", "not support to reboot"), 1);
}
