// The library as a concurrent system, through the exported calls on emulated Fl30c cameras
// (and Solen cameras, whose picture comes through a video node): callbacks that call back,
// stops from any thread, unplugs that release everything.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "EmulatedSolenCamera.h"
#include "Eventually.h"
#include "ProcessCounts.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;

namespace {

// What one camera's callback does: counts, calls the library back on its own camera and on
// the other, and on its first frame may run `inside` (stop, close, destroy, free).
struct Camera {
    void* handle = nullptr;
    void* other = nullptr;
    std::atomic<int> frames{0};
    std::atomic<int> badCalls{0};
    std::function<int(Camera&)> inside;
    std::function<void()> everyFrame;
    std::atomic<int> insideResult{1};

    static void onFrame(void* h, const CAM_DATA*, void* user)
    {
        auto* c = static_cast<Camera*>(user);
        if (h != c->handle) ++c->badCalls;
        CAM_Parameter parameter;
        QV_CAM_ATTR attr;
        if (QV_SDK_GetCamParameter(h, &parameter) != 0 || QV_SDK_GetCameraAttrs(h, attr) != 0) ++c->badCalls;
        if (c->other != nullptr) QV_SDK_IsHandleExist(c->other);
        if (c->everyFrame) c->everyFrame();
        if (c->frames++ == 0 && c->inside) c->insideResult = c->inside(*c);
    }
};

class LifecycleTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        addCameras();
        QV_SDK_Init();
    }
    virtual void addCameras()
    {
        ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
        ASSERT_NE(bed().addFl30c(UsbLocation(1, {3}, 6)), nullptr);
    }
    void TearDown() override
    {
        QV_SDK_FreeCameraList(list);
        QV_SDK_StopListener();
        QV_SDK_Deinit();
        EmulatedDeviceTest::TearDown();
    }
    // Lists both cameras, opens them and starts depth on each, callbacks calling back.
    void startBoth(Camera& a, Camera& b)
    {
        ASSERT_EQ(QV_SDK_GetCameraList(list), 2);
        a.handle = list.front();
        b.handle = list.back();
        a.other = b.handle;
        b.other = a.handle;
        for (Camera* c : {&a, &b}) {
            ASSERT_EQ(QV_SDK_OpenCamera(c->handle, nullptr), 0);
            STREAM_CALLBACK_S cb{&Camera::onFrame, c};
            ASSERT_EQ(QV_SDK_RegisterStreamCallback(c->handle, &cb), 0);
            ASSERT_EQ(QV_SDK_StartStream(c->handle, QV_MEDIA_DEPTH), 0);
        }
        ASSERT_TRUE(orrtest::eventually([&] { return a.frames > 0 && b.frames > 0; }, 30s));
    }
    // call must return within a generous deadline (a deadlock fails here instead of hanging).
    static int withinDeadline(std::function<int()> call)
    {
        auto done = std::async(std::launch::async, std::move(call));
        if (done.wait_for(60s) != std::future_status::ready) {
            ADD_FAILURE() << "deadlock";
            std::abort();
        }
        return done.get();
    }
    void ownCameraFromInsideItsCallback();
    std::list<void*> list;
};

// A Gm80 with its control function on the bulk pair and one behind the serial bridge.
class SolenLifecycleTest : public LifecycleTest {
protected:
    void addCameras() override
    {
        for (bool bridge : {false, true}) {
            SolenCameraConfig config;
            config.serialBridge = bridge;
            solen.push_back(EmulatedSolenCamera::add(bed(), UsbLocation(1, {bridge ? 3 : 4}), config));
            ASSERT_NE(solen.back(), nullptr);
        }
    }
    void TearDown() override
    {
        solen.clear();  // views of the test bed's devices, which the library reaches by itself
        LifecycleTest::TearDown();
    }
    std::vector<std::unique_ptr<EmulatedSolenCamera>> solen;
};

}  // namespace

// Stop, close and free from the application's thread while both callbacks call back into the
// library: each returns, and after it no callback of that camera runs.
TEST_F(LifecycleTest, StopCloseAndFreeWhileCallbacksCallBack)
{
    Camera a, b;
    startBoth(a, b);
    EXPECT_EQ(withinDeadline([&] { return QV_SDK_StopStream(a.handle, 0); }), 0);
    const int stopped = a.frames;
    EXPECT_EQ(withinDeadline([&] { return QV_SDK_CloseCamera(a.handle); }), 0);
    ASSERT_TRUE(orrtest::eventually([&] { return b.frames > 3; }, 30s));
    EXPECT_EQ(a.frames, stopped);
    EXPECT_EQ(withinDeadline([&] { return QV_SDK_FreeCameraList(list); }), 0);
    const int freed = b.frames;
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(b.frames, freed);
    EXPECT_EQ(a.badCalls + b.badCalls, 0);
    EXPECT_EQ(QV_SDK_IsHandleExist(a.handle), -83);
}

// Stop, close, destroy and free from inside the camera's own first callback: each returns 0 at
// once, no callback follows, and (under ASan) nothing is touched after it was freed.
void LifecycleTest::ownCameraFromInsideItsCallback()
{
    const std::vector<std::pair<const char*, std::function<int(Camera&)>>> cases = {
        {"stop", [](Camera& c) { return QV_SDK_StopStream(c.handle, 0); }},
        {"close", [](Camera& c) { return QV_SDK_CloseCamera(c.handle); }},
        {"destroy", [](Camera& c) { return QV_SDK_DestoryCamHandle(c.handle); }},
        {"free", [](Camera& c) {
             std::list<void*> one{c.handle};
             return QV_SDK_FreeCameraList(one);
         }},
    };
    for (const auto& [name, inside] : cases) {
        Camera a, b;
        a.inside = inside;
        startBoth(a, b);
        ASSERT_TRUE(orrtest::eventually([&] { return a.insideResult != 1; }, 30s)) << name;
        EXPECT_EQ(a.insideResult, 0) << name;
        std::this_thread::sleep_for(300ms);
        EXPECT_EQ(a.frames, 1) << name;
        EXPECT_EQ(a.badCalls + b.badCalls, 0) << name;
        EXPECT_EQ(withinDeadline([&] { return QV_SDK_FreeCameraList(list); }), 0) << name;
    }
}

TEST_F(LifecycleTest, TheCallbackMayStopCloseDestroyOrFreeItsOwnCamera) { ownCameraFromInsideItsCallback(); }
TEST_F(SolenLifecycleTest, TheCallbackMayStopCloseDestroyOrFreeItsOwnCamera) { ownCameraFromInsideItsCallback(); }

// Stop, close, destroy and free of the other camera from inside a callback return at once,
// even while that camera's own callback is still running (held here by the test); once it
// returns, that camera delivers nothing more.
TEST_F(LifecycleTest, TheCallbackMayStopCloseDestroyOrFreeAnotherCamera)
{
    const std::vector<std::pair<const char*, std::function<int(void*)>>> cases = {
        {"stop", [](void* h) { return QV_SDK_StopStream(h, 0); }},
        {"close", [](void* h) { return QV_SDK_CloseCamera(h); }},
        {"destroy", [](void* h) { return QV_SDK_DestoryCamHandle(h); }},
        {"free", [](void* h) {
             std::list<void*> one{h};
             return QV_SDK_FreeCameraList(one);
         }},
    };
    for (const auto& [name, call] : cases) {
        SCOPED_TRACE(name);
        Camera a, b;
        std::atomic<bool> held{false}, release{false}, called{false};
        std::atomic<int> result{1};
        b.inside = [&](Camera&) {
            held = true;
            while (!release) std::this_thread::sleep_for(1ms);
            return 0;
        };
        a.everyFrame = [&, call = call] {
            if (held && !called.exchange(true)) result = call(b.handle);
        };
        startBoth(a, b);
        EXPECT_TRUE(orrtest::eventually([&] { return result != 1; }, 30s)) << "waited for the other camera's callback";
        EXPECT_EQ(result, 0);
        release = true;
        EXPECT_TRUE(orrtest::eventually(
            [&] {
                const int before = b.frames;
                std::this_thread::sleep_for(300ms);
                return b.frames == before;
            },
            30s))
            << "the other camera still delivers";
        EXPECT_EQ(withinDeadline([&] { return QV_SDK_FreeCameraList(list); }), 0);
    }
}

// Destroying the handle of a streaming camera stops and closes it; the handle stays stale even
// when a new camera handle is made afterwards.
TEST_F(LifecycleTest, DestroyStopsTheCameraAndItsHandleStaysStale)
{
    Camera a, b;
    startBoth(a, b);
    void* old = a.handle;
    list.remove(old);
    EXPECT_EQ(withinDeadline([&] { return QV_SDK_DestoryCamHandle(old); }), 0);
    const int destroyed = a.frames;
    std::list<void*> again;
    ASSERT_EQ(QV_SDK_GetCameraList(again), 2);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(a.frames, destroyed);
    EXPECT_EQ(QV_SDK_OpenCamera(old, nullptr), -83);
    EXPECT_EQ(QV_SDK_StopStream(old, 0), -83);
    for (void* h : again) EXPECT_NE(h, old);
    QV_SDK_FreeCameraList(again);
}

// Open, stream, unplug, replug and close, over and over through the exported calls: threads
// and descriptors come back to where they were, apart from what the emulator alone keeps for
// as many replugs (measured after, and subtracted). ORR_LIFECYCLE_CYCLES sets the count.
TEST_F(LifecycleTest, UnplugAndReplugLeaveNoThreadOrDescriptorBehind)
{
    const char* env = std::getenv("ORR_LIFECYCLE_CYCLES");
    const int cycles = env ? std::atoi(env) : 3;
    const orrtest::Replugged camera{"1-4", 5, 7};
    auto cycle = [&] {
        Camera a;
        ASSERT_EQ(QV_SDK_GetCameraList(list), 2);
        a.handle = list.front();
        ASSERT_EQ(QV_SDK_OpenCamera(a.handle, nullptr), 0);
        STREAM_CALLBACK_S cb{&Camera::onFrame, &a};
        ASSERT_EQ(QV_SDK_RegisterStreamCallback(a.handle, &cb), 0);
        ASSERT_EQ(QV_SDK_StartStream(a.handle, QV_MEDIA_DEPTH), 0);
        ASSERT_TRUE(orrtest::eventually([&] { return a.frames > 0; }, 30s));
        ASSERT_TRUE(orrtest::unplugAndReplug(bed(), camera));
        ASSERT_EQ(withinDeadline([&] { return QV_SDK_CloseCamera(a.handle); }), 0);
        ASSERT_EQ(withinDeadline([&] { return QV_SDK_FreeCameraList(list); }), 0);
    };
    cycle();  // the first use of libusb, libuvc and the emulator
    const orrtest::ProcessCounts before;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < cycles && !HasFatalFailure(); ++i) cycle();
    ASSERT_FALSE(HasFatalFailure());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // Helper threads of the library end by themselves: give them time.
    orrtest::eventually([&] { return orrtest::ProcessCounts().threads <= before.threads; }, 30s);
    const orrtest::ProcessCounts after;
    // What the emulator keeps per replug varies by one now and then (umockdev's own sockets):
    // measured over twice as many replugs, it may differ by less than one per cycle, which a
    // descriptor or thread left behind by each cycle exceeds.
    const orrtest::ProcessCounts twice = orrtest::emulatorReplugCost(bed(), {camera}, 2 * cycles);
    const double emulatorThreads = twice.threads / 2.0, emulatorFds = twice.fds / 2.0;
    std::printf("%d cycles in %.1f s: threads %d -> %d, fds %d -> %d; the emulator alone keeps %.1f threads, %.1f fds "
                "for as many replugs\n",
                cycles, seconds, before.threads, after.threads, before.fds, after.fds, emulatorThreads, emulatorFds);
    EXPECT_LT(after.threads - before.threads - emulatorThreads, cycles);
    EXPECT_LT(after.fds - before.fds - emulatorFds, cycles);
}

// Listener callbacks run on the listener's thread and may call the library; stopping the
// listener from another thread while a callback calls back, or from inside a callback, returns.
TEST_F(LifecycleTest, ListenerCallbacksCallBackAndTheListenerStopsFromAnyThread)
{
    struct Seen {
        std::atomic<int> attaches{0};
        std::atomic<bool> onCaller{false};
        std::atomic<bool> stopInside{false};
        std::atomic<int> stopResult{1};
        std::thread::id caller;
    };
    for (bool stopInside : {false, true}) {
        Seen seen;
        seen.caller = std::this_thread::get_id();
        seen.stopInside = stopInside;
        QV_LISTENER_CALLBACK cb{[](const QV_CAM_ATTR*, void* user) {
                                    auto* s = static_cast<Seen*>(user);
                                    if (std::this_thread::get_id() == s->caller) s->onCaller = true;
                                    std::list<void*> cameras;
                                    QV_SDK_GetCameraList(cameras);
                                    ++s->attaches;
                                    if (s->stopInside) s->stopResult = QV_SDK_StopListener();
                                    std::this_thread::sleep_for(100ms);  // still calling back when stopped
                                    QV_SDK_FreeCameraList(cameras);
                                },
                                nullptr, &seen};
        ASSERT_EQ(QV_SDK_StartListener(cb, QV_LISTENER_HOTPLUG, true), 0);
        ASSERT_TRUE(orrtest::eventually([&] { return seen.attaches > 0; }, 30s));
        EXPECT_EQ(withinDeadline([] { return QV_SDK_StopListener(); }), 0);
        EXPECT_FALSE(seen.onCaller);
        if (stopInside) {
            EXPECT_TRUE(orrtest::eventually([&] { return seen.stopResult == 0; }, 30s));
        }
    }
}
