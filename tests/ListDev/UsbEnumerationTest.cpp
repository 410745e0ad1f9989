#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include "EmulatedDeviceTest.h"
#include "GenericUvcCamera.h"
#include "LogCapture.h"
#include "PlainUsbDevice.h"
#include "UsbCameraList.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;

namespace {

class UsbEnumerationTest : public EmulatedDeviceTest {
protected:
    PlainUsbDevice* plain(uint16_t vid, uint16_t pid, UsbLocation where)
    {
        PlainUsbDeviceConfig config;
        config.vendorId = vid;
        config.productId = pid;
        return bed().addPlainDevice(where, config);
    }

    const QV_CAM_ATTR* find(const std::vector<QV_CAM_ATTR>& list, uint32_t vid, uint32_t pid)
    {
        for (const QV_CAM_ATTR& a : list)
            if (a.attr.usbAttrs.vid == vid && a.attr.usbAttrs.pid == pid) return &a;
        return nullptr;
    }
};

// Everything after the fields the enumeration writes must be zero.
void expectCleared(const QV_CAM_ATTR& a)
{
    const QV_USB_DEV_ATTR& u = a.attr.usbAttrs;
    for (uint8_t b : u.reserved) EXPECT_EQ(b, 0);
    const size_t used = std::strlen(u.ports);
    for (size_t i = used; i < sizeof u.ports; ++i) ASSERT_EQ(u.ports[i], 0) << "byte " << i;
}

}  // namespace

TEST_F(UsbEnumerationTest, CamerasOnSeveralBusesAndHubsWithTheirPositions)
{
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    ASSERT_NE(bed().addUvcCamera(UsbLocation(2, {1, 3}, 7), GenericUvcConfig::sonix()), nullptr);
    ASSERT_NE(plain(0x3482, 0x2789, UsbLocation(1, {2, 1, 6}, 9)), nullptr);
    ASSERT_NE(plain(0x1234, 0x5678, UsbLocation(1, {3}, 11)), nullptr);  // no camera of ours

    std::vector<QV_CAM_ATTR> list;
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x3482, 0x6723}, {0x0C45, 0x636D}, {0x3482, 0x2789}}, list), 0);
    ASSERT_EQ(list.size(), 3u);
    struct Expect {
        uint32_t vid, pid;
        int bus, dev, port;
        const char* ports;
    } expected[] = {{0x3482, 0x6723, 1, 5, 4, "4"}, {0x0C45, 0x636D, 2, 7, 3, "1.3"}, {0x3482, 0x2789, 1, 9, 6, "2.1.6"}};
    for (const Expect& e : expected) {
        const QV_CAM_ATTR* a = find(list, e.vid, e.pid);
        ASSERT_NE(a, nullptr) << std::hex << e.pid;
        EXPECT_EQ(a->type, QV_CAM_ATTR_USB);
        EXPECT_EQ(a->attr.usbAttrs.busnum, e.bus);
        EXPECT_EQ(a->attr.usbAttrs.dev, e.dev);
        EXPECT_EQ(a->attr.usbAttrs.port, e.port);
        EXPECT_STREQ(a->attr.usbAttrs.ports, e.ports);
        expectCleared(*a);
    }
    EXPECT_EQ(find(list, 0x1234, 0x5678), nullptr);
}

TEST_F(UsbEnumerationTest, OnlyTheLastIdentifiersResultCounts)
{
    ASSERT_NE(plain(0x3482, 0x2789, UsbLocation(1, {1}, 4)), nullptr);
    std::vector<QV_CAM_ATTR> list;
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x3482, 0x2789}, {0x3482, 0x6723}}, list), 1);
    ASSERT_EQ(list.size(), 1u);  // the camera is listed all the same
    EXPECT_EQ(list[0].attr.usbAttrs.pid, 0x2789u);

    list.clear();
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x3482, 0x6723}, {0x3482, 0x2789}}, list), 0);
    EXPECT_EQ(list.size(), 1u);
    EXPECT_EQ(getUsbCameraAttrsListLinux({}, list), 0);  // nothing asked, nothing failed
}

TEST_F(UsbEnumerationTest, DeviceWhosePortPathCannotBeReadIsStillListed)
{
    UsbLocation hidden(1, {2}, 6);
    hidden.hiddenPortPath = true;
    ASSERT_NE(plain(0x3482, 0x6723, hidden), nullptr);
    std::vector<QV_CAM_ATTR> list;
    orrtest::StdoutCapture out;
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x3482, 0x6723}}, list), 0);
    EXPECT_EQ(out.text(), "get port numbers error\n");
    ASSERT_EQ(list.size(), 1u);
    EXPECT_STREQ(list[0].attr.usbAttrs.ports, "");
    EXPECT_EQ(list[0].attr.usbAttrs.dev, 6);
}

TEST_F(UsbEnumerationTest, WildcardsListEveryDevice)
{
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    ASSERT_NE(plain(0x1234, 0x5678, UsbLocation(2, {1, 2}, 3)), nullptr);
    std::vector<QV_CAM_ATTR> all, anyProduct;
    EXPECT_EQ(getUsbCameraAttrsListLinux({{-1, -1}}, all), 0);
    EXPECT_EQ(all.size(), bed().devices().size());  // root hubs and hubs included
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x1234, -1}}, anyProduct), 0);
    ASSERT_EQ(anyProduct.size(), 1u);
    EXPECT_EQ(anyProduct[0].attr.usbAttrs.pid, 0x5678u);
}

TEST_F(UsbEnumerationTest, EnumerationsOfTheProcessTakeTurns)
{
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    std::unique_lock<std::mutex> held(enum_lock);
    auto listing = std::async(std::launch::async, [] {
        std::vector<QV_CAM_ATTR> list;
        const int ret = getCameraAtrrsList({{0x3482, 0x6723}}, list);
        return ret == 0 ? static_cast<int>(list.size()) : -1;
    });
    EXPECT_EQ(listing.wait_for(300ms), std::future_status::timeout);
    held.unlock();
    EXPECT_EQ(listing.get(), 1);
}
