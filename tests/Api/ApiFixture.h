#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <list>

#include "ApiTestDoubles.h"
#include "LogCapture.h"
#include "qv_camera_sdk_api.h"

// Every test starts with an initialised library and a fresh simulated world, and
// leaves no handle behind.
class ApiFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        apitest::world() = apitest::World{};
        QV_SDK_Init();
    }
    void TearDown() override
    {
        QV_SDK_Init();
        QV_SDK_FreeCameraList(list);
        for (void* h : created) QV_SDK_DestoryCamHandle(h);
        QV_SDK_StopListener();
        QV_SDK_Deinit();
    }

    // Attaches n cameras, each scripted by scripts[i], and lists them.
    void attachAndList(std::vector<apitest::DriverScript*> scripts)
    {
        apitest::World& w = apitest::world();
        for (size_t i = 0; i < scripts.size(); ++i)
            w.attached.push_back(apitest::usbCamera(0x3482, 0x6723, 1, static_cast<int>(5 + i), "1.4"));
        w.scriptFor = [scripts](const QV_CAM_ATTR& attr) -> apitest::DriverScript* {
            const size_t i = static_cast<size_t>(attr.attr.usbAttrs.dev - 5);
            return i < scripts.size() ? scripts[i] : nullptr;
        };
        ASSERT_EQ(QV_SDK_GetCameraList(list), static_cast<int>(scripts.size()));
    }

    // Scripts outlive the drivers they script: drivers are freed in TearDown.
    apitest::DriverScript& newScript() { return scripts.emplace_back(); }

    void* handle(size_t i) const { return *std::next(list.begin(), static_cast<long>(i)); }

    std::deque<apitest::DriverScript> scripts;  // declared first: destroyed after the handles are freed
    std::list<void*> list;
    std::vector<void*> created;
};
