#include <cstring>
#include <string>
#include <vector>
#include <list>

#include "EmulatedDeviceTest.h"
#include "LogCapture.h"
#include "PlainUsbDevice.h"
#include "SolenSerialBridge.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;

namespace {

class CameraListEmulatedTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        QV_SDK_Init();
    }
    void TearDown() override
    {
        QV_SDK_FreeCameraList(list);
        for (void* h : created) QV_SDK_DestoryCamHandle(h);
        QV_SDK_Deinit();
        EmulatedDeviceTest::TearDown();
    }
    std::list<void*> list;
    std::vector<void*> created;
};

}  // namespace

// Nothing attached is an empty list; then each camera is listed once with its identity (a
// device of another maker is not), and a handle is made for a camera at a known position.
TEST_F(CameraListEmulatedTest, ListsEachCameraOnceWithItsIdentityAndFindsOneByPosition)
{
    {
        orrtest::StdoutCapture out;
        EXPECT_EQ(QV_SDK_GetCameraList(list), 0);
        EXPECT_EQ(orrtest::countLogLines(out.text(), "WARN", "qv_camera_sdk_api", "QV_SDK_GetCameraList",
                                         "No device found !"),
                  1);
    }
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    ASSERT_NE(bed().addFl30c(UsbLocation(2, {1, 3}, 8)), nullptr);
    PlainUsbDeviceConfig other;
    other.vendorId = 0x1234;
    other.productId = 0x0001;
    ASSERT_NE(bed().addPlainDevice(UsbLocation(1, {2}, 6), other), nullptr);

    ASSERT_EQ(QV_SDK_GetCameraList(list), 2);
    std::vector<QV_CAM_ATTR> attrs;
    for (void* h : list) {
        QV_CAM_ATTR a;
        ASSERT_EQ(QV_SDK_GetCameraAttrs(h, a), 0);
        attrs.push_back(a);
        CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
        EXPECT_EQ(QV_SDK_GetCameraModel(h, model), 0);
        EXPECT_EQ(model, CAMERA_MODEL_FL30C);
    }
    std::sort(attrs.begin(), attrs.end(),
              [](const QV_CAM_ATTR& a, const QV_CAM_ATTR& b) { return a.attr.usbAttrs.busnum < b.attr.usbAttrs.busnum; });
    EXPECT_EQ(attrs[0].attr.usbAttrs.vid, 0x3482u);
    EXPECT_EQ(attrs[0].attr.usbAttrs.pid, 0x6723u);
    EXPECT_EQ(attrs[0].attr.usbAttrs.dev, 5);
    EXPECT_STREQ(attrs[0].attr.usbAttrs.ports, "4");
    EXPECT_EQ(attrs[1].attr.usbAttrs.busnum, 2);
    EXPECT_EQ(attrs[1].attr.usbAttrs.dev, 8);
    EXPECT_EQ(attrs[1].attr.usbAttrs.port, 3);
    EXPECT_STREQ(attrs[1].attr.usbAttrs.ports, "1.3");

    QV_CAM_ATTR wanted;
    std::memset(&wanted, 0, sizeof wanted);
    wanted.type = QV_CAM_ATTR_USB;
    wanted.attr.usbAttrs.busnum = 2;
    wanted.attr.usbAttrs.dev = 8;
    void* handle = nullptr;
    ASSERT_EQ(QV_SDK_CreateCamHandle(handle, &wanted), 0);
    created.push_back(handle);
    QV_CAM_ATTR got;
    ASSERT_EQ(QV_SDK_GetCameraAttrs(handle, got), 0);
    EXPECT_EQ(got.attr.usbAttrs.vid, 0x3482u);  // filled from enumeration
    EXPECT_STREQ(got.attr.usbAttrs.ports, "1.3");
    wanted.attr.usbAttrs.dev = 10;
    void* none = nullptr;
    EXPECT_EQ(QV_SDK_CreateCamHandle(none, &wanted), -2);
}

// A camera behind the serial bridge is one USB attachment; a tty whose USB identity only
// serial attachments have (the E7's) is a serial attachment named by its node, which
// this release lists but does not open; a tty of any other device is no camera.
TEST_F(CameraListEmulatedTest, SerialAttachmentsAreTheTtysOfSerialOnlyIdentities)
{
    SolenSerialBridgeConfig bridge;
    ASSERT_NE(bed().addSolenBridge(UsbLocation(1, {1}, 4), bridge), nullptr);
    auto ttyOf = [&](uint16_t vid, uint16_t pid, int port) {
        PlainUsbDeviceConfig device;
        device.vendorId = vid;
        device.productId = pid;
        PlainUsbDevice* plain = bed().addPlainDevice(UsbLocation(1, {port}), device);
        return plain ? bed().addSerialPort(*plain->device(), [](const uint8_t*, size_t) {
            return std::vector<EmulatedTty::Output>();
        }) : nullptr;
    };
    ASSERT_NE(ttyOf(0x1234, 0x0001, 2), nullptr);
    EmulatedTty* e7 = ttyOf(0x2207, 0x0016, 3);
    ASSERT_NE(e7, nullptr);

    ASSERT_EQ(QV_SDK_GetCameraList(list), 2);
    QV_CAM_ATTR usb, serial;
    ASSERT_EQ(QV_SDK_GetCameraAttrs(list.front(), usb), 0);
    ASSERT_EQ(QV_SDK_GetCameraAttrs(list.back(), serial), 0);
    EXPECT_EQ(usb.type, QV_CAM_ATTR_USB);
    EXPECT_EQ(usb.attr.usbAttrs.vid, 0x1A86u);
    EXPECT_EQ(usb.attr.usbAttrs.dev, 4);
    EXPECT_EQ(serial.type, QV_CAM_ATTR_SERIAL);
    EXPECT_EQ(serial.attr.serialAttrs.vid, 0x2207u);
    EXPECT_EQ(serial.attr.serialAttrs.pid, 0x0016u);
    EXPECT_EQ(std::string(serial.attr.serialAttrs.devNode), e7->node());
    CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
    EXPECT_EQ(QV_SDK_GetCameraModel(list.back(), model), 0);
    EXPECT_EQ(model, CAMERA_MODEL_E7);
    EXPECT_EQ(QV_SDK_OpenCamera(list.back(), nullptr), -2);
}
