#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "CaptureFactory.h"
#include "LiteUsb.h"
#include "LogCapture.h"
#include "NetInput.h"
#include "UvcCamera.h"
#include "V4L2Camera.h"

namespace {

QV_CAM_ATTR attr(QV_CAM_ATTR_TYPE type, uint32_t vid, uint32_t pid)
{
    QV_CAM_ATTR a;
    std::memset(&a, 0, sizeof a);
    a.type = type;
    a.attr.usbAttrs.vid = vid;
    a.attr.usbAttrs.pid = pid;
    a.attr.usbAttrs.busnum = 250;  // nothing is attached there: construction must not need the device
    a.attr.usbAttrs.dev = 99;
    return a;
}

template <typename T>
bool builds(const QV_CAM_ATTR& a)
{
    std::unique_ptr<ICapture> capture(createCaptureInstance(a, 1024));
    return dynamic_cast<T*>(capture.get()) != nullptr;
}

}  // namespace

TEST(CaptureFactoryTest, UsbIdentitiesChooseTheirTransport)
{
    orrtest::StdoutCapture quiet;  // constructing a UVC transport without its device logs
    for (uint32_t pid : {0x6723u, 0x6724u, 0x6789u, 0x7723u, 0x8723u})
        EXPECT_TRUE(builds<UvcCamera>(attr(QV_CAM_ATTR_USB, 0x3482, pid))) << std::hex << pid;
    for (uint32_t pid : {0x2789u, 0x278Au, 0x278Bu})
        EXPECT_TRUE(builds<LiteUsb>(attr(QV_CAM_ATTR_USB, 0x3482, pid))) << std::hex << pid;
    EXPECT_TRUE(builds<UvcCamera>(attr(QV_CAM_ATTR_USB, 0x0C45, 0x636D)));
    EXPECT_TRUE(builds<V4L2Camera>(attr(QV_CAM_ATTR_USB, 0x0C45, 0x636B)));
    EXPECT_TRUE(builds<V4L2Camera>(attr(QV_CAM_ATTR_USB, 0x2DBB, 0x0300)));
}

TEST(CaptureFactoryTest, UnknownUsbIdentityIsReportedAndOtherKindsAreSilent)
{
    orrtest::StdoutCapture out;
    EXPECT_EQ(createCaptureInstance(attr(QV_CAM_ATTR_USB, 0x3482, 0x5723), 0), nullptr);
    EXPECT_EQ(createCaptureInstance(attr(QV_CAM_ATTR_USB, 0x0C45, 0x0300), 0), nullptr);
    const std::string text = out.text();
    EXPECT_EQ(orrtest::countLogLines(text, "ERROR", "CaptureFactory", "createCaptureInstance",
                                     "not createCaptureInstance of ICapture"),
              2);
    orrtest::StdoutCapture silent;
    EXPECT_EQ(createCaptureInstance(attr(QV_CAM_ATTR_SERIAL, 0x3482, 0x6723), 0), nullptr);
    EXPECT_EQ(createCaptureInstance(attr(static_cast<QV_CAM_ATTR_TYPE>(3), 0x3482, 0x6723), 0), nullptr);
    EXPECT_EQ(silent.text(), "");
}

TEST(CaptureFactoryTest, NetworkRecordNeverLooksAtIdentifiers)
{
    QV_CAM_ATTR net = attr(QV_CAM_ATTR_NET, 0, 0);
    std::strcpy(net.attr.netAttrs.ip, "10.1.2.3");
    EXPECT_TRUE(builds<NetInput>(net));
    net.attr.usbAttrs.vid = 0x3482;  // overlaps the address text: still the network transport
    EXPECT_TRUE(builds<NetInput>(net));
}

TEST(CaptureFactoryTest, OlderOverloadServesFewerProducts)
{
    orrtest::StdoutCapture out;
    std::unique_ptr<ICapture> a(createCaptureInstance(0x3482, 0x6723, 250, 99));
    EXPECT_NE(dynamic_cast<UvcCamera*>(a.get()), nullptr);
    std::unique_ptr<ICapture> v(createCaptureInstance(0x2DBB, 0x0300, 250, 99));
    EXPECT_NE(dynamic_cast<V4L2Camera*>(v.get()), nullptr);
    // Served by the record-based factory, but not here.
    EXPECT_EQ(createCaptureInstance(0x3482, 0x6724, 250, 99), nullptr);
    EXPECT_EQ(createCaptureInstance(0x3482, 0x8723, 250, 99), nullptr);
    EXPECT_EQ(createCaptureInstance(0x0C45, 0x636D, 250, 99), nullptr);
}

TEST(CaptureFactoryTest, TheNetworkTransportRefusesToOpen)
{
    QV_NETWORK_DEV_ATTR netAttrs{};
    NetInput net(netAttrs, 1024);
    orrtest::StdoutCapture out;
    EXPECT_EQ(net.open(), -1);
    const std::string text = out.text();
    EXPECT_EQ(orrtest::countLogLines(text, "ERROR", "NetInput", "open",
                                     "the network transport is not supported by this release"),
              1);
}
