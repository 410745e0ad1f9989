#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "ApiTestDoubles.h"
#include "LogCapture.h"
#include "qv_camera_sdk_api.h"

// A call of a model's own family, with arguments it would accept.
struct FamilyCall {
    const char* name;
    std::function<int(void*)> run;
};

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

    // Each call answers -1 on a null, unknown or unopened handle and -2 on an open camera of
    // another model, with the lines `source` logs for each, and reaches no camera.
    void expectFamilyChecks(const std::vector<FamilyCall>& calls, const char* source, const std::string& otherModel)
    {
        apitest::DriverScript& script = newScript();
        attachAndList({&script});
        int unknown = 0;
        for (const FamilyCall& call : calls) {
            SCOPED_TRACE(call.name);
            orrtest::StdoutCapture out;
            EXPECT_EQ(call.run(nullptr), -1);
            EXPECT_EQ(call.run(&unknown), -1);
            EXPECT_EQ(call.run(handle(0)), -1);  // listed, not open
            const std::string log = out.text();
            EXPECT_EQ(orrtest::countLogLines(log, "ERROR", source, call.name, "get camera handle fail."), 3);
            EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "qv_camera_sdk_api", "QV_SDK_GetCameraHandle",
                                             "This camera handle not exist"),
                      1);
            EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "qv_camera_sdk_api", "QV_SDK_GetCameraHandle",
                                             "please open camera first"),
                      1);
            EXPECT_EQ(orrtest::countAnyLogLines(log), 5);
        }
        ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
        for (const FamilyCall& call : calls) {
            SCOPED_TRACE(call.name);
            orrtest::StdoutCapture out;
            EXPECT_EQ(call.run(handle(0)), -2);
            const std::string log = out.text();
            EXPECT_EQ(orrtest::countLogLines(log, "ERROR", source, call.name,
                                             "This camera is not " + otherModel +
                                                 " camera and does not support this interface !"),
                      1);
            EXPECT_EQ(orrtest::countAnyLogLines(log), 1);
        }
        EXPECT_TRUE(script.ops.empty());  // nothing reached the other camera
    }

    // Scripts outlive the drivers they script: drivers are freed in TearDown.
    apitest::DriverScript& newScript() { return scripts.emplace_back(); }

    void* handle(size_t i) const { return *std::next(list.begin(), static_cast<long>(i)); }

    std::deque<apitest::DriverScript> scripts;  // declared first: destroyed after the handles are freed
    std::list<void*> list;
    std::vector<void*> created;
};
