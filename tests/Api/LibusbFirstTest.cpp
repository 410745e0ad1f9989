// A program that links libusb ahead of the library: libusb's own alternate-setting call comes
// first, so the library keeps an unplugged camera's USB session instead of closing it (closing
// would abort the process), says so once, and a replugged camera streams again.
#include <libusb.h>

#include <atomic>

#include "EmulatedDeviceTest.h"
#include "Eventually.h"
#include "LogCapture.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;

namespace {

void count(void*, const CAM_DATA*, void* frames) { ++*static_cast<std::atomic<int>*>(frames); }

// Opens the only camera and streams depth until a frame arrived; the handle.
void* stream(std::list<void*>& list, std::atomic<int>& frames)
{
    if (QV_SDK_GetCameraList(list) != 1 || QV_SDK_OpenCamera(list.front(), nullptr) != 0) return nullptr;
    STREAM_CALLBACK_S cb{&count, &frames};
    if (QV_SDK_RegisterStreamCallback(list.front(), &cb) != 0 || QV_SDK_StartStream(list.front(), QV_MEDIA_DEPTH) != 0)
        return nullptr;
    return orrtest::eventually([&] { return frames > 0; }, 30s) ? list.front() : nullptr;
}

}  // namespace

class LibusbFirstTest : public EmulatedDeviceTest {};

TEST_F(LibusbFirstTest, AnUnpluggedCameraIsKeptNotClosedAndStreamsAgainWhenReplugged)
{
    ASSERT_NE(libusb_get_version(), nullptr);  // keeps libusb ahead of the library in this program
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5)), nullptr);
    QV_SDK_Init();
    orrtest::StdoutCapture out;
    std::list<void*> list;
    std::atomic<int> frames{0};
    void* handle = stream(list, frames);
    ASSERT_NE(handle, nullptr);
    ASSERT_TRUE(bed().deviceAt("1-4")->unplug());
    EXPECT_EQ(QV_SDK_StopStream(handle, 0), 0);
    EXPECT_EQ(QV_SDK_CloseCamera(handle), 0);
    EXPECT_EQ(QV_SDK_FreeCameraList(list), 0);
    ASSERT_TRUE(bed().deviceAt("1-4")->replug(5));
    std::atomic<int> again{0};
    EXPECT_NE(stream(list, again), nullptr);
    EXPECT_EQ(QV_SDK_FreeCameraList(list), 0);
    const std::string text = out.text();
    EXPECT_EQ(orrtest::countLogLines(text, "WARN", "DepartedDeviceGuard", "reached",
                                     "libusb is linked ahead of this library: an unplugged camera's USB session is "
                                     "kept until the process ends"),
              1)
        << text;
    QV_SDK_Deinit();
}
