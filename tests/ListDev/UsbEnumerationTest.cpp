#include <algorithm>
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

    const QV_CAM_ATTR* find(const std::vector<QV_CAM_ATTR>& list, uint32_t vid, uint32_t pid, int dev = -1)
    {
        for (const QV_CAM_ATTR& a : list)
            if (a.attr.usbAttrs.vid == vid && a.attr.usbAttrs.pid == pid && (dev < 0 || a.attr.usbAttrs.dev == dev))
                return &a;
        return nullptr;
    }
};

}  // namespace

TEST_F(UsbEnumerationTest, CamerasOnSeveralBusesAndHubsWithTheirPositions)
{
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    ASSERT_NE(bed().addUvcCamera(UsbLocation(2, {1, 3}, 7), GenericUvcConfig::sonix()), nullptr);
    ASSERT_NE(plain(0x3482, 0x2789, UsbLocation(1, {2, 1, 6}, 9)), nullptr);
    ASSERT_NE(plain(0x1234, 0x5678, UsbLocation(1, {3}, 11)), nullptr);  // no camera of ours
    UsbLocation hidden(1, {5}, 6);
    hidden.hiddenPortPath = true;  // still listed, without its path
    ASSERT_NE(plain(0x3482, 0x2789, hidden), nullptr);

    std::vector<QV_CAM_ATTR> list;
    orrtest::StdoutCapture out;
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x3482, 0x6723}, {0x0C45, 0x636D}, {0x3482, 0x2789}}, list), 0);
    EXPECT_EQ(out.text(), "get port numbers error\n");
    ASSERT_EQ(list.size(), 4u);
    struct Expect {
        uint32_t vid, pid;
        int bus, dev, port;
        const char* ports;
    } expected[] = {{0x3482, 0x6723, 1, 5, 4, "4"},
                    {0x0C45, 0x636D, 2, 7, 3, "1.3"},
                    {0x3482, 0x2789, 1, 9, 6, "2.1.6"},
                    {0x3482, 0x2789, 1, 6, -1, ""}};
    for (const Expect& e : expected) {
        const QV_CAM_ATTR* a = find(list, e.vid, e.pid, e.dev);
        ASSERT_NE(a, nullptr) << std::hex << e.pid << std::dec << " at " << e.dev;
        EXPECT_EQ(a->type, QV_CAM_ATTR_USB);
        EXPECT_EQ(a->attr.usbAttrs.busnum, e.bus);
        EXPECT_EQ(a->attr.usbAttrs.dev, e.dev);
        if (e.port >= 0) {
            EXPECT_EQ(a->attr.usbAttrs.port, e.port);
        }
        EXPECT_STREQ(a->attr.usbAttrs.ports, e.ports);
        // Everything after the fields the enumeration writes is zero.
        const char* ports = a->attr.usbAttrs.ports;
        EXPECT_TRUE(std::all_of(ports + std::strlen(ports), ports + sizeof a->attr.usbAttrs.ports, [](char c) { return c == 0; }));
        EXPECT_TRUE(std::all_of(std::begin(a->attr.usbAttrs.reserved), std::end(a->attr.usbAttrs.reserved), [](auto b) { return b == 0; }));
    }
    EXPECT_EQ(find(list, 0x1234, 0x5678), nullptr);
}

TEST_F(UsbEnumerationTest, OnlyTheLastIdentifiersResultCountsAndMinusOneIsAWildcard)
{
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    ASSERT_NE(plain(0x1234, 0x5678, UsbLocation(2, {1, 2}, 3)), nullptr);
    std::vector<QV_CAM_ATTR> list;
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x3482, 0x6723}, {0x3482, 0x2789}}, list), 1);
    ASSERT_EQ(list.size(), 1u);  // the camera is listed all the same
    EXPECT_EQ(getUsbCameraAttrsListLinux({{0x3482, 0x2789}, {0x3482, 0x6723}}, list), 0);
    EXPECT_EQ(getUsbCameraAttrsListLinux({}, list), 0);  // nothing asked, nothing failed
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
