// Network cameras through the exported calls: in the camera list after the USB cameras,
// and arriving and leaving through the network listener, against emulated cameras on a
// segment of namespaces the test makes. Heartbeats are published the way an open
// network camera's transport does: "heartbeat IP[<address>]IP" on the topic channel.
#include <atomic>
#include <chrono>
#include <cstring>
#include <list>
#include <map>
#include <mutex>
#include <thread>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "EmulatedLan.h"
#include "Eventually.h"
#include "NetworkNamespace.h"
#include "qv_camera_sdk_api.h"
#include "topicPublish.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// Listener callbacks as they arrive, with their time.
struct Presence {
    struct Event {
        bool attach;
        QV_CAM_ATTR attr;
        Clock::time_point at;
    };
    std::mutex mutex;
    std::vector<Event> events;
    std::function<void()> onAttach;

    static void attach(const QV_CAM_ATTR* a, void* user) { static_cast<Presence*>(user)->add(true, *a); }
    static void detach(const QV_CAM_ATTR* a, void* user) { static_cast<Presence*>(user)->add(false, *a); }
    void add(bool arrived, const QV_CAM_ATTR& a)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            events.push_back({arrived, a, Clock::now()});
        }
        if (arrived && onAttach) onAttach();
    }
    QV_LISTENER_CALLBACK callback() { return {&attach, &detach, this}; }
    // "+10.77.1.11 -10.77.1.11 ..." in order of arrival.
    std::string story()
    {
        std::lock_guard<std::mutex> lock(mutex);
        std::string s;
        for (const Event& e : events) s += std::string(e.attach ? "+" : "-") + e.attr.attr.netAttrs.ip + " ";
        return s;
    }
    std::optional<Event> find(bool attach, const std::string& ip)
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (const Event& e : events)
            if (e.attach == attach && ip == e.attr.attr.netAttrs.ip) return e;
        return std::nullopt;
    }
    bool waitFor(bool attach, const std::string& ip, std::chrono::milliseconds timeout = 30s)
    {
        return orrtest::eventually([&] { return find(attach, ip).has_value(); }, timeout);
    }
};

class NetworkListenerTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        ASSERT_TRUE(NetworkNamespace::enterFresh());
        lan = EmulatedLan::create(1);
        ASSERT_TRUE(lan);
        QV_SDK_Init();
    }
    void TearDown() override
    {
        QV_SDK_StopListener();
        QV_SDK_Deinit();
        lan.reset();
        EmulatedDeviceTest::TearDown();
    }
    EmulatedNetCamera* addCamera(const char* model, int port, std::chrono::milliseconds announceEvery = 0ms)
    {
        NetCameraConfig config;
        config.model = model;
        config.port = port;
        config.announceEvery = announceEvery;
        return lan->addCamera(config);
    }
    std::unique_ptr<EmulatedLan> lan;
};

}  // namespace

TEST_F(NetworkListenerTest, NetworkCamerasFollowTheUsbCamerasInTheCameraList)
{
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    ASSERT_NE(addCamera("Pellam", 8100), nullptr);
    std::list<void*> list;
    ASSERT_EQ(QV_SDK_GetCameraList(list), 2);
    QV_CAM_ATTR usb, net;
    ASSERT_EQ(QV_SDK_GetCameraAttrs(list.front(), usb), 0);
    ASSERT_EQ(QV_SDK_GetCameraAttrs(list.back(), net), 0);
    EXPECT_EQ(usb.type, QV_CAM_ATTR_USB);
    EXPECT_EQ(net.type, QV_CAM_ATTR_NET);
    EXPECT_STREQ(net.attr.netAttrs.ip, "10.77.1.11");
    EXPECT_EQ(net.attr.netAttrs.port, 8100);
    CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
    EXPECT_EQ(QV_SDK_GetCameraModel(list.back(), model), 0);
    EXPECT_EQ(model, CAMERA_MODEL_PELLAM_NET);
    EXPECT_EQ(QV_SDK_OpenCamera(list.back(), nullptr), -2);  // no network transport in this release

    // A handle made from the address alone finds the same camera.
    QV_CAM_ATTR wanted;
    std::memset(&wanted, 0, sizeof wanted);
    wanted.type = QV_CAM_ATTR_NET;
    std::strcpy(wanted.attr.netAttrs.ip, "10.77.1.11");
    void* handle = nullptr;
    ASSERT_EQ(QV_SDK_CreateCamHandle(handle, &wanted), 0);
    QV_CAM_ATTR got;
    ASSERT_EQ(QV_SDK_GetCameraAttrs(handle, got), 0);
    EXPECT_EQ(got.attr.netAttrs.port, 8100);
    QV_SDK_DestoryCamHandle(handle);
    QV_SDK_FreeCameraList(list);
}

// A camera stays while heartbeats, announcements or discovery show it; silent on all of
// them it is reported gone, not before 6 s after its last sign of life.
TEST_F(NetworkListenerTest, CamerasLeaveOnlyWhenNothingShowsThemAnyMore)
{
    EmulatedNetCamera* beating = addCamera("Fl30cn", 8001);
    EmulatedNetCamera* answering = addCamera("Pellam", 8002);
    EmulatedNetCamera* announcing = addCamera("Virene", 8003, 300ms);
    ASSERT_TRUE(beating && answering && announcing);

    std::atomic<bool> beat{true};
    std::atomic<Clock::rep> lastBeat{0};
    std::thread heart([&] {
        while (beat) {
            lastBeat = Clock::now().time_since_epoch().count();
            topicPublish::getInstance()->send("heartbeat", "heartbeat IP[10.77.1.11]IP");
            std::this_thread::sleep_for(300ms);
        }
    });
    Presence presence;
    QV_LISTENER_CALLBACK callback = presence.callback();
    const Clock::time_point started = Clock::now();
    ASSERT_EQ(QV_SDK_StartListener(callback, QV_LISTENER_NETWORK, true), 0);
    for (const char* ip : {"10.77.1.11", "10.77.1.12", "10.77.1.13"}) ASSERT_TRUE(presence.waitFor(true, ip)) << ip;
    EXPECT_EQ(presence.find(true, "10.77.1.13")->attr.attr.netAttrs.model, CAMERA_MODEL_VIRENE);

    // Only heartbeats show the first, only announcements the third, only discovery the second.
    beating->setAnswering(false);
    announcing->setAnswering(false);
    std::this_thread::sleep_until(started + 10s);  // well past 6 s without discovery for the first and third
    EXPECT_EQ(presence.story().find('-'), std::string::npos) << presence.story();

    beat = false;
    heart.join();
    announcing->setAnnouncing(false);
    ASSERT_TRUE(presence.waitFor(false, "10.77.1.11")) << presence.story();
    ASSERT_TRUE(presence.waitFor(false, "10.77.1.13")) << presence.story();
    const auto silentFor = [&](const char* ip, Clock::time_point lastSign) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(presence.find(false, ip)->at - lastSign).count();
    };
    EXPECT_GE(silentFor("10.77.1.11", Clock::time_point(Clock::duration(lastBeat.load()))), 6000 - 10);
    EXPECT_GE(silentFor("10.77.1.13", announcing->lastAnnouncement()), 6000 - 10);
    EXPECT_FALSE(presence.find(false, "10.77.1.12")) << "kept while it answers discovery";

    // The next discovery round that misses it ends it.
    answering->setAnswering(false);
    ASSERT_TRUE(presence.waitFor(false, "10.77.1.12")) << presence.story();
    EXPECT_EQ(presence.find(false, "10.77.1.12")->attr.attr.netAttrs.port, 8002);
}

TEST_F(NetworkListenerTest, StoppingFromItsOwnCallbackEndsTheListenerAndAnotherCanStart)
{
    ASSERT_NE(addCamera("Morvik", 8004), nullptr);
    Presence presence;
    std::atomic<int> stopped{1};
    presence.onAttach = [&] { stopped = QV_SDK_StopListener(); };
    QV_LISTENER_CALLBACK callback = presence.callback();
    ASSERT_EQ(QV_SDK_StartListener(callback, QV_LISTENER_NETWORK, true), 0);
    ASSERT_TRUE(presence.waitFor(true, "10.77.1.11"));
    ASSERT_TRUE(orrtest::eventually([&] { return stopped == 0; }));

    Presence again;
    QV_LISTENER_CALLBACK second = again.callback();
    ASSERT_EQ(QV_SDK_StartListener(second, QV_LISTENER_NETWORK, true), 0);
    EXPECT_TRUE(again.waitFor(true, "10.77.1.11"));
    EXPECT_EQ(presence.story(), "+10.77.1.11 ");
}
