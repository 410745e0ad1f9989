#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include "ApiFixture.h"

using namespace std::chrono_literals;

// While one camera is busy (starting, which runs without its mutex, or inside a control call,
// which holds it) and a second call waits for it, calls on the other cameras, lookups of the
// busy one and listings go through: no thread holds the context while it waits for a camera.
TEST_F(ApiFixture, BusyCameraBlocksNoOtherCamera)
{
    const std::vector<std::pair<const char*, std::function<int(void*)>>> busyCalls = {
        {"start", [](void* h) { return QV_SDK_StartStream(h, 0x1); }},
        {"control", [](void* h) {
             CAM_Parameter parameter;
             return QV_SDK_GetCamParameter(h, &parameter);
         }},
    };
    for (const auto& [name, busyCall] : busyCalls) {
        SCOPED_TRACE(name);
        apitest::Gate gate;
        apitest::DriverScript& busy = newScript();
        (std::string(name) == "start" ? busy.startGate : busy.opGate) = &gate;
        apitest::DriverScript& s1 = newScript();
        apitest::DriverScript& s2 = newScript();
        QV_SDK_FreeCameraList(list);
        apitest::world() = apitest::World{};
        attachAndList({&busy, &s1, &s2});
        for (size_t i = 0; i < 3; ++i) ASSERT_EQ(QV_SDK_OpenCamera(handle(i), nullptr), 0);

        auto blocked = std::async(std::launch::async, [&, call = busyCall] { return call(handle(0)); });
        ASSERT_TRUE(gate.waitEntered(5000));
        auto second = std::async(std::launch::async, [&] { return QV_SDK_StopStream(handle(0), 0); });
        EXPECT_EQ(second.wait_for(200ms), std::future_status::timeout);  // the busy camera serialises its calls

        std::vector<std::future<int>> others;
        for (size_t i = 1; i < 3; ++i) {
            others.push_back(std::async(std::launch::async, [this, i] {
                STREAM_CALLBACK_S cb{};
                QV_CAM_ATTR attr;
                int failures = 0;
                for (int round = 0; round < 100; ++round) {
                    std::list<void*> listed;
                    failures += QV_SDK_GetCameraList(listed) != 3;
                    failures += QV_SDK_FreeCameraList(listed) != 0;
                    failures += QV_SDK_RegisterStreamCallback(handle(i), &cb) != 0;
                    failures += QV_SDK_StartStream(handle(i), 0x3) != 0;
                    failures += QV_SDK_GetCameraAttrs(handle(i), attr) != 0;
                    failures += QV_SDK_StopStream(handle(i), 0) != 0;
                    failures += QV_SDK_IsHandleExist(handle(0)) != 0;
                }
                return failures;
            }));
        }
        for (auto& f : others) {
            ASSERT_EQ(f.wait_for(20s), std::future_status::ready) << "a call on another camera was blocked";
            EXPECT_EQ(f.get(), 0);
        }
        EXPECT_EQ(blocked.wait_for(0ms), std::future_status::timeout);
        gate.open();
        EXPECT_EQ(blocked.get(), 0);
        EXPECT_EQ(second.get(), 0);
        EXPECT_EQ(s1.starts, 100);
        EXPECT_EQ(busy.stops, 1);
        busy.opGate = nullptr;
    }
}

// Listing and freeing run under the context lock while other threads work on their cameras.
TEST_F(ApiFixture, ListingAndPerCameraCallsInterleaveSafely)
{
    apitest::DriverScript& a = newScript();
    apitest::DriverScript& b = newScript();
    attachAndList({&a, &b});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);

    std::atomic<bool> stop{false};
    std::thread worker([&] {
        while (!stop) {
            QV_SDK_StartStream(handle(0), 0x1);
            QV_SDK_StopStream(handle(0), 0);
        }
    });
    // Keep listing until the worker has demonstrably run alongside.
    for (int i = 0; i < 100 || (a.starts < 100 && i < 1000000); ++i) {
        std::list<void*> extra;
        ASSERT_EQ(QV_SDK_GetCameraList(extra), 2);
        ASSERT_EQ(QV_SDK_FreeCameraList(extra), 0);
    }
    stop = true;
    worker.join();
    EXPECT_GE(a.starts, 100);
}
