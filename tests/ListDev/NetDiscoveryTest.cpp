// Network discovery against emulated cameras on segments of namespaces the test makes.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "EmulatedLan.h"
#include "LogCapture.h"
#include "NetCameraList.h"
#include "NetDevMng.h"
#include "NetworkNamespace.h"

using namespace orrindale::emulator;
using orrtest::countMessages;

namespace {

using Record = std::tuple<std::string, int, int>;  // ip, model, port

std::vector<Record> records(const std::vector<QV_CAM_ATTR>& attrs)
{
    std::vector<Record> out;
    for (const QV_CAM_ATTR& a : attrs) {
        EXPECT_EQ(a.type, QV_CAM_ATTR_NET);
        out.emplace_back(a.attr.netAttrs.ip, a.attr.netAttrs.model, a.attr.netAttrs.port);
    }
    std::sort(out.begin(), out.end());
    return out;
}

NetCameraConfig camera(const char* model, int port, NetAnswerFault fault = NetAnswerFault::None,
                       const char* namedIp = "")
{
    NetCameraConfig c;
    c.model = model;
    c.port = port;
    c.fault = fault;
    c.namedIp = namedIp;
    return c;
}

}  // namespace

TEST(NetDiscoveryTest, WithoutAnyIpv4InterfaceNothingIsSentAndTheListIsEmpty)
{
    ASSERT_TRUE(NetworkNamespace::enterFresh(false));
    orrtest::StdoutCapture log;
    std::vector<QV_CAM_ATTR> found;
    EXPECT_LT(getNetCameraAttrsList(found), 0);
    EXPECT_TRUE(found.empty());
    const std::string text = log.text();
    EXPECT_EQ(countMessages(text, "ERROR", "cannot get avail src ip"), 1) << text;
    EXPECT_EQ(countMessages(text, "ERROR", "broadcast list info fail"), 1) << text;
}

// Good, odd and broken answers on two segments in one round.
TEST(NetDiscoveryTest, EveryWellFormedAnswerOnEveryInterfaceBecomesOneRecord)
{
    ASSERT_TRUE(NetworkNamespace::enterFresh());
    auto lan1 = EmulatedLan::create(1);
    auto lan2 = EmulatedLan::create(2);
    ASSERT_TRUE(lan1 && lan2);
    const std::vector<NetCameraConfig> configs = {
        camera("Fl30cn", 8001),
        camera("Pellam", 8002, NetAnswerFault::LowerCase),
        camera("Virene", 8003, NetAnswerFault::IpMarkersReversed, "10.77.9.9"),
        camera("Morvik", 8004, NetAnswerFault::NoIpMarkers),
        camera("Fl30cn", 8005, NetAnswerFault::None, "10.77.1.50"),  // names an address of its own
        camera("Fl30cn", 8006, NetAnswerFault::TwelveBytes),
        camera("Fl30cn", 8007, NetAnswerFault::NotFE),
        camera("Fl30cn", 8008, NetAnswerFault::NoType),
        camera("Fl30cn", 8009, NetAnswerFault::UnknownModel),
    };
    std::vector<EmulatedNetCamera*> cameras;
    for (const NetCameraConfig& c : configs) cameras.push_back(lan1->addCamera(c));
    EmulatedNetCamera* other = lan2->addCamera(camera("Virene", 9100));
    ASSERT_TRUE(std::none_of(cameras.begin(), cameras.end(), [](auto* c) { return c == nullptr; }) && other);

    orrtest::StdoutCapture log;
    std::vector<QV_CAM_ATTR> found;
    ASSERT_EQ(getNetCameraAttrsList(found), 0);
    const std::string text = log.text();

    const std::vector<Record> expected = {
        {"10.77.1.11", CAMERA_MODEL_FL30CN, 8001},    {"10.77.1.12", CAMERA_MODEL_PELLAM_NET, 8002},
        {"10.77.1.13", CAMERA_MODEL_VIRENE, 8003},    {"10.77.1.14", CAMERA_MODEL_MORVIK, 8004},
        {"10.77.1.50", CAMERA_MODEL_FL30CN, 8005},    {"10.77.2.11", CAMERA_MODEL_VIRENE, 9100},
    };
    EXPECT_EQ(records(found), expected) << text;

    std::vector<uint8_t> request(64, 0);
    request[0] = 0xFF, request[1] = 0x01, request[2] = 0x02;
    EXPECT_EQ(other->lastDatagram(), request);
    EXPECT_GE(other->requestsHeard(), 1);

    EXPECT_EQ(countMessages(text, "INFO", "get ip info from key_info, ip 10.77.1.50"), 1) << text;
    const size_t noTypeLength = cameras[7]->answer().size() - 13;  // header and terminator
    EXPECT_EQ(countMessages(text, "ERROR", "can not find key info 'Type:', key_info size " +
                                               std::to_string(noTypeLength)), 1) << text;
    EXPECT_EQ(countMessages(text, "ERROR",
                            "find undefined error camera, recieve msg TYPE:QX900 IP[10.77.1.19]IP PORT[8009]PORT"), 1)
        << text;
    // Loopback has no camera: three attempts there, none on the segments that answered at once.
    EXPECT_EQ(countMessages(text, "WARN", "retry to send broadcast, retryCnt 2"), 1) << text;
}

TEST(NetDiscoveryTest, WhileBroadcastsAreHeldNoRequestLeavesAndNothingIsFound)
{
    ASSERT_TRUE(NetworkNamespace::enterFresh());
    auto lan = EmulatedLan::create(1);
    ASSERT_TRUE(lan);
    EmulatedNetCamera* cam = lan->addCamera();
    ASSERT_NE(cam, nullptr);

    NetDevMng::getInstance().holdBroadcast();
    orrtest::StdoutCapture log;
    std::vector<QV_CAM_ATTR> found;
    EXPECT_EQ(getNetCameraAttrsList(found), 0);
    const std::string text = log.text();
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(cam->requestsHeard(), 0);
    EXPECT_EQ(countMessages(text, "WARN", "NetDevMng m_count 1"), 6) << text;  // 3 attempts on 2 interfaces

    NetDevMng::getInstance().releaseBroadcast();
    ASSERT_EQ(getNetCameraAttrsList(found), 0);
    EXPECT_EQ(records(found), (std::vector<Record>{{"10.77.1.11", CAMERA_MODEL_FL30CN, 8000}}));
}
