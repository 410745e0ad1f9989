#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "PlainUsbDevice.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;

namespace {

struct Events {
    std::mutex mutex;
    std::condition_variable cv;
    std::vector<std::pair<char, QV_CAM_ATTR>> seen;  // 'a' attach, 'd' detach

    static void attach(const QV_CAM_ATTR* a, void* user) { static_cast<Events*>(user)->add('a', *a); }
    static void detach(const QV_CAM_ATTR* a, void* user) { static_cast<Events*>(user)->add('d', *a); }
    void add(char kind, const QV_CAM_ATTR& a)
    {
        std::lock_guard<std::mutex> lock(mutex);
        seen.emplace_back(kind, a);
        cv.notify_all();
    }
    bool waitCount(size_t n, std::chrono::seconds timeout)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return cv.wait_for(lock, timeout, [&] { return seen.size() >= n; });
    }
    std::string kinds()
    {
        std::lock_guard<std::mutex> lock(mutex);
        std::string k;
        for (auto& e : seen) k += e.first;
        return k;
    }
};

class HotplugListenerTest : public EmulatedDeviceTest {
protected:
    void TearDown() override
    {
        QV_SDK_StopListener();
        QV_SDK_Deinit();
        EmulatedDeviceTest::TearDown();
    }
};

}  // namespace

TEST_F(HotplugListenerTest, CamerasArriveOnceAndAgainAfterAReplug)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    PlainUsbDeviceConfig other;
    other.vendorId = 0x1234;
    other.productId = 0x0001;
    ASSERT_NE(bed().addPlainDevice(UsbLocation(1, {2}, 6), other), nullptr);

    Events events;
    QV_LISTENER_CALLBACK callback{&Events::attach, &Events::detach, &events};
    QV_SDK_Init();
    ASSERT_EQ(QV_SDK_StartListener(callback, QV_LISTENER_HOTPLUG, true), 0);
    ASSERT_TRUE(events.waitCount(1, 10s));  // the camera already present
    {
        std::lock_guard<std::mutex> lock(events.mutex);
        const QV_CAM_ATTR& a = events.seen[0].second;
        EXPECT_EQ(a.type, QV_CAM_ATTR_USB);
        EXPECT_EQ(a.attr.usbAttrs.pid, 0x6723u);
        EXPECT_EQ(a.attr.usbAttrs.dev, 5);
        EXPECT_STREQ(a.attr.usbAttrs.ports, "4");
    }
    ASSERT_TRUE(camera->device()->unplug());
    ASSERT_TRUE(events.waitCount(2, 10s));
    ASSERT_TRUE(camera->device()->replug(7));
    ASSERT_TRUE(events.waitCount(3, 10s));
    EXPECT_EQ(events.kinds(), "ada");  // the unknown device was never reported
    std::lock_guard<std::mutex> lock(events.mutex);
    EXPECT_EQ(events.seen[2].second.attr.usbAttrs.dev, 7);
}

TEST_F(HotplugListenerTest, WithoutEnumerationOnlyLaterArrivalsAreReported)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    Events events;
    QV_LISTENER_CALLBACK callback{&Events::attach, nullptr, &events};  // no detach function
    QV_SDK_Init();
    ASSERT_EQ(QV_SDK_StartListener(callback, QV_LISTENER_HOTPLUG, false), 0);
    ASSERT_TRUE(camera->device()->unplug());
    ASSERT_TRUE(camera->device()->replug());
    ASSERT_TRUE(events.waitCount(1, 10s));
    EXPECT_EQ(events.kinds(), "a");
}
