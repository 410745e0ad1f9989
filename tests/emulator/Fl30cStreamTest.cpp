// Fl30c transfers through plain libuvc: byte-exact layout, the frame-rate command, stream
// modes, the scene's geometry in depth and colour, bad transfers on demand, two cameras at
// once, and the descriptors lsusb shows. How fast frames come is measured in bench/emulator.
#include <gtest/gtest.h>
#include <libusb.h>
#include <libuvc/libuvc.h>
#include <turbojpeg.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "Fl30cScene.h"
#include "Fl30cTransferBuilder.h"
#include "Eventually.h"

using namespace orrindale::emulator;

namespace {

uint32_t u32At(const std::vector<uint8_t>& b, size_t at)
{
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24;
}

float floatAt(const std::vector<uint8_t>& b, size_t index)
{
    const uint32_t word = u32At(b, 4 * index);
    float f;
    std::memcpy(&f, &word, 4);
    return f;
}

// Transfers as libuvc delivered them.
struct Transfers {
    std::mutex mutex;
    std::vector<std::vector<uint8_t>> kept;  // the first few, whole
    std::vector<size_t> sizes;
    std::vector<uint8_t> kinds;
    std::vector<uint32_t> sequences;  // libuvc's frame numbers: a gap is a frame it skipped
    std::vector<std::vector<uint8_t>> headers;  // the first 2,560 bytes of each

    size_t count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return sizes.size();
    }
};

void onTransfer(uvc_frame_t* frame, void* user)
{
    auto* t = static_cast<Transfers*>(user);
    const auto* data = static_cast<const uint8_t*>(frame->data);
    std::lock_guard<std::mutex> lock(t->mutex);
    if (t->kept.size() < 4) t->kept.emplace_back(data, data + frame->data_bytes);
    t->sizes.push_back(frame->data_bytes);
    t->kinds.push_back(frame->data_bytes > 1137 ? data[1137] : 0);
    t->sequences.push_back(frame->sequence);
    t->headers.emplace_back(data, data + std::min<size_t>(frame->data_bytes, 2560));
}

class Fl30cStreamTest : public EmulatedDeviceTest {
protected:
    void TearDown() override
    {
        for (auto& camera : m_open) {
            uvc_stop_streaming(camera.handle);
            uvc_close(camera.handle);
            uvc_unref_device(camera.device);
        }
        if (m_context != nullptr) uvc_exit(m_context);
        EmulatedDeviceTest::TearDown();
    }
    uvc_device_handle_t* open(const char* serial = nullptr)
    {
        if (m_context == nullptr && uvc_init(&m_context, nullptr) != UVC_SUCCESS) return nullptr;
        Open camera;
        if (uvc_find_device(m_context, &camera.device, 0x3482, 0x6723, serial) != UVC_SUCCESS) return nullptr;
        if (uvc_open(camera.device, &camera.handle) != UVC_SUCCESS) return nullptr;
        m_open.push_back(camera);
        return camera.handle;
    }
    static bool start(uvc_device_handle_t* handle, Transfers& t, int width, int rows, int fps = 15)
    {
        uvc_stream_ctrl_t control;
        return uvc_get_stream_ctrl_format_size(handle, &control, UVC_FRAME_FORMAT_YUYV, width, rows, fps) ==
                   UVC_SUCCESS &&
               uvc_start_streaming(handle, &control, onTransfer, &t, 0) == UVC_SUCCESS;
    }
    static int command(uvc_device_handle_t* handle, uint8_t code, const std::string& text)
    {
        uint8_t payload[64] = {};
        std::memcpy(payload, text.data(), text.size());
        return libusb_control_transfer(uvc_get_libusb_handle(handle), 0x21, code, 0x0100, 0x0A00, payload, 64, 3000);
    }

    struct Open {
        uvc_device_t* device = nullptr;
        uvc_device_handle_t* handle = nullptr;
    };
    uvc_context_t* m_context = nullptr;
    std::vector<Open> m_open;
};

TEST_F(Fl30cStreamTest, TransfersHaveTheLayoutAndArriveByteExactAcrossAFrameRateCommand)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    uvc_device_handle_t* handle = open("FL30C0001");
    ASSERT_NE(handle, nullptr);
    Transfers t;
    ASSERT_TRUE(start(handle, t, 640, 642));
    EXPECT_EQ(camera->settings().frameRate, 15) << "15 fps until told otherwise";
    ASSERT_TRUE(orrtest::eventually([&] { return t.count() >= 4; }));

    const auto expected = camera->expectedTransfer(640, Fl30cTransferLayout::kKindDepth);
    ASSERT_TRUE(expected);
    std::vector<uint8_t> first;
    {
        std::lock_guard<std::mutex> lock(t.mutex);
        ASSERT_FALSE(t.kept.empty());
        first = t.kept.front();
        for (const auto& transfer : t.kept) EXPECT_TRUE(transfer == *expected);
    }
    ASSERT_EQ(first.size(), 821760u);
    EXPECT_EQ(u32At(first, 1133), 821760u);
    EXPECT_EQ(first[1137], 2);
    const uint32_t mjpegLength = u32At(first, 1072);
    EXPECT_GT(mjpegLength, 1000u);
    EXPECT_LE(mjpegLength, 204800u);
    EXPECT_EQ(first[2560], 0xFF);
    EXPECT_EQ(first[2561], 0xD8);
    EXPECT_EQ(first[2560 + mjpegLength - 2], 0xFF);
    EXPECT_EQ(first[2560 + mjpegLength - 1], 0xD9);
    // Calibration: depth fx, fy, cx, cy for 640 x 480, colour for the 640 x 480 MJPEG,
    // R (a rotation), T in millimetres; the rest of the area is zero.
    EXPECT_FLOAT_EQ(floatAt(first, 0), 570.0f);
    EXPECT_FLOAT_EQ(floatAt(first, 2), 319.5f);
    EXPECT_FLOAT_EQ(floatAt(first, 4), 610.0f);
    EXPECT_FLOAT_EQ(floatAt(first, 17), -25.0f);
    double rowNorm = 0;
    for (int i = 8; i < 11; ++i) rowNorm += double(floatAt(first, size_t(i))) * floatAt(first, size_t(i));
    EXPECT_NEAR(rowNorm, 1.0, 1e-5);
    for (size_t i = 20; i < 1072 / 4; ++i) ASSERT_EQ(u32At(first, 4 * i), 0u) << i;
    // The depth word of the centre pixel: the back wall at 2,800 mm.
    const size_t image = 2560 + mjpegLength;
    const size_t centre = image + 2 * (240 * 640 + 320);
    EXPECT_EQ(first[centre] | first[centre + 1] << 8, 2800 * 16);
    // Every depth word is the ground truth's, and a host turns it into the millimetres.
    for (int v = 0; v < 480; v += 37)
        for (int u = 0; u < 640; u += 41) {
            const size_t at = image + 2 * (size_t(v) * 640 + size_t(u));
            const uint16_t raw = uint16_t(first[at] | first[at + 1] << 8);
            const SceneHit truth = camera->groundTruthAt(u, v, 640);
            ASSERT_EQ(raw, Fl30cScene::rawDepth(truth)) << u << "," << v;
            if (raw != 0) {
                EXPECT_LE(std::abs(Fl30cScene::hostMillimetres(raw) - truth.depthMm), 0.5 + 1.0 / 32);
            }
        }

    ASSERT_EQ(command(handle, 0x54, "30"), 64);
    EXPECT_EQ(camera->settings().frameRate, 30);
    const size_t before = t.count();
    EXPECT_TRUE(orrtest::eventually([&] { return t.count() >= before + 4; })) << "the stream goes on";
    uvc_stop_streaming(handle);
    {
        std::lock_guard<std::mutex> lock(t.mutex);
        for (size_t size : t.sizes) EXPECT_EQ(size, 821760u);
    }
    // libusb sleeps until a transfer completes: a couple of empty reaps per transfer,
    // not the thousands a node that is always "ready" would cost.
    const auto stats = camera->device()->statistics();
    EXPECT_LT(stats.emptyReaps, 4 * camera->framesSent() + 50);
}

TEST_F(Fl30cStreamTest, SmallerTransfersCarryScaledImagesAndIntrinsics)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    camera->setFirmwareVersion("FL30C:V1.0.8:001:20241021");
    camera->setFrameRate(30);
    uvc_device_handle_t* handle = open();
    ASSERT_NE(handle, nullptr);
    Transfers t;
    ASSERT_TRUE(start(handle, t, 160, 768, 30));
    ASSERT_TRUE(camera->waitForFrames(2, std::chrono::seconds(10)));
    uvc_stop_streaming(handle);
    std::lock_guard<std::mutex> lock(t.mutex);
    ASSERT_FALSE(t.kept.empty());
    const auto& transfer = t.kept.front();
    ASSERT_EQ(transfer.size(), 245760u);
    EXPECT_FLOAT_EQ(floatAt(transfer, 0), 570.0f / 4);
    EXPECT_FLOAT_EQ(floatAt(transfer, 2), 79.5f);
    EXPECT_FLOAT_EQ(floatAt(transfer, 4), 920.0f);  // 1280 x 720 colour
    EXPECT_FLOAT_EQ(floatAt(transfer, 6), 639.5f);
    const uint32_t mjpegLength = u32At(transfer, 1072);
    EXPECT_LE(2560 + mjpegLength + 160 * 120 * 2, transfer.size());
}

TEST_F(Fl30cStreamTest, StreamModesChooseDepthIrOrBoth)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    camera->setFrameRate(30);
    uvc_device_handle_t* handle = open();
    ASSERT_NE(handle, nullptr);
    ASSERT_EQ(command(handle, 0x20, "2"), 64);  // alternate, depth first
    Transfers t;
    ASSERT_TRUE(start(handle, t, 320, 564, 30));
    ASSERT_TRUE(camera->waitForFrames(6, std::chrono::seconds(10)));
    uvc_stop_streaming(handle);
    std::lock_guard<std::mutex> lock(t.mutex);
    ASSERT_GE(t.kinds.size(), 4u);
    // Depth first, then infrared, in turn. libuvc numbers frames from 1; one it skipped on a
    // slow machine leaves a gap in the numbers, not a break in the turns.
    for (size_t i = 0; i < t.kinds.size(); ++i)
        EXPECT_EQ(t.kinds[i], t.sequences[i] % 2 == 1 ? 2 : 1) << "frame " << t.sequences[i];
    // The IR image: 8-bit, the wall's brightness in the centre.
    const auto irTransfer =
        std::find_if(t.kept.begin(), t.kept.end(), [](const auto& kept) { return kept.size() > 1137 && kept[1137] == 1; });
    ASSERT_NE(irTransfer, t.kept.end());
    const auto& ir = *irTransfer;
    const size_t at = 2560 + u32At(ir, 1072) + 120 * 320 + 160;
    EXPECT_EQ(ir[at], Fl30cScene::irOf(SceneSurface::BackWall));
}

TEST_F(Fl30cStreamTest, BadTransfersOnDemandThenGoodOnesAgain)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    uvc_device_handle_t* handle = open();
    ASSERT_NE(handle, nullptr);
    Transfers t;
    ASSERT_TRUE(start(handle, t, 160, 768, 15));
    ASSERT_TRUE(camera->waitForFrames(2, std::chrono::seconds(10)));
    auto spoil = [&](const Fl30cTransferFault& fault) {
        camera->setTransferFault(fault);
        const uint64_t sent = camera->framesSent();
        EXPECT_TRUE(camera->waitForFrames(sent + 3, std::chrono::seconds(10)));
    };
    Fl30cTransferFault size;
    size.frameSizeField = 245759;
    size.transfers = 1;
    spoil(size);
    Fl30cTransferFault mjpeg;
    mjpeg.mjpegLengthField = 0;
    mjpeg.kind = 6;
    mjpeg.transfers = 1;
    spoil(mjpeg);
    Fl30cTransferFault cut;
    cut.truncateTo = 1136;
    cut.transfers = 1;
    spoil(cut);
    camera->setSilent(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const uint64_t silent = camera->framesSent();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(camera->framesSent(), silent);
    camera->setSilent(false);
    EXPECT_TRUE(camera->waitForFrames(silent + 2, std::chrono::seconds(10)));
    uvc_stop_streaming(handle);

    std::lock_guard<std::mutex> lock(t.mutex);
    int wrongSize = 0, emptyMjpeg = 0, truncated = 0, good = 0;
    for (size_t i = 0; i < t.sizes.size(); ++i) {
        const auto& header = t.headers[i];
        if (t.sizes[i] == 1136) {
            ++truncated;
            continue;
        }
        ASSERT_EQ(t.sizes[i], 245760u);
        if (u32At(header, 1133) == 245759) ++wrongSize;
        if (u32At(header, 1072) == 0 && header[1137] == 6) ++emptyMjpeg;
        if (u32At(header, 1133) == 245760 && u32At(header, 1072) > 0 && header[1137] == 2) ++good;
    }
    EXPECT_EQ(wrongSize, 1);
    EXPECT_EQ(emptyMjpeg, 1);
    EXPECT_EQ(truncated, 1);
    EXPECT_EQ(good, int(t.sizes.size()) - 3);
}

TEST_F(Fl30cStreamTest, TwoCamerasOnDifferentPortsStreamAtTheSameTime)
{
    Fl30cConfig a, b;
    a.serialDescriptor = "FL30C-A";
    b.serialDescriptor = "FL30C-B";
    a.settings.frameRate = b.settings.frameRate = 30;
    EmulatedFl30c* first = bed().addFl30c(UsbLocation(1, {1}, 3), a);
    EmulatedFl30c* second = bed().addFl30c(UsbLocation(1, {2, 1}, 4), b);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    uvc_device_handle_t* ha = open("FL30C-A");
    uvc_device_handle_t* hb = open("FL30C-B");
    ASSERT_NE(ha, nullptr);
    ASSERT_NE(hb, nullptr);
    Transfers ta, tb;
    ASSERT_TRUE(start(ha, ta, 640, 642, 30));
    ASSERT_TRUE(start(hb, tb, 320, 564, 30));
    EXPECT_TRUE(orrtest::eventually([&] { return ta.count() >= 5 && tb.count() >= 5; }));
    uvc_stop_streaming(ha);
    uvc_stop_streaming(hb);
    std::lock_guard<std::mutex> la(ta.mutex);
    std::lock_guard<std::mutex> lb(tb.mutex);
    for (size_t size : ta.sizes) EXPECT_EQ(size, 821760u);
    for (size_t size : tb.sizes) EXPECT_EQ(size, 360960u);
    EXPECT_TRUE(ta.kept.front() == *first->expectedTransfer(640, 2));
    EXPECT_TRUE(tb.kept.front() == *second->expectedTransfer(320, 2));
}

// The colour image agrees with the depth image through the reported calibration: a depth
// pixel's 3D point, moved into the colour camera and projected, lands on its surface's colour.
TEST(Fl30cScene, ColourAndDepthAreRegisteredThroughTheCalibration)
{
    const Fl30cCalibration c = Fl30cCalibration::defaults();
    Fl30cTransferBuilder builder(c);
    const auto jpeg = builder.mjpeg(640, 480);
    ASSERT_TRUE(jpeg);
    tjhandle decoder = tjInitDecompress();
    std::vector<uint8_t> rgb(640 * 480 * 3);
    ASSERT_EQ(tjDecompress2(decoder, jpeg->data(), jpeg->size(), rgb.data(), 640, 0, 480, TJPF_RGB, 0), 0);
    tjDestroy(decoder);
    const auto depth = builder.depthImage(640, 480);
    const CameraIntrinsics kd = c.depthFor(640, 480);
    const CameraIntrinsics kc = c.colourFor(640, 480);
    int checked = 0, agreed = 0;
    for (int v = 20; v < 480; v += 23)
        for (int u = 20; u < 640; u += 29) {
            const uint16_t raw = depth[size_t(v) * 640 + size_t(u)];
            const SceneHit hit = Fl30cScene::atDepthPixel(u, v, kd);
            if (raw == 0) {
                EXPECT_EQ(hit.surface, SceneSurface::None);
                continue;
            }
            const double z = raw / 16.0;
            const double p[3] = {(u - kd.cx) / kd.fx * z, (v - kd.cy) / kd.fy * z, z};
            double q[3];
            for (int i = 0; i < 3; ++i)
                q[i] = c.rotation[size_t(3 * i)] * p[0] + c.rotation[size_t(3 * i + 1)] * p[1] +
                       c.rotation[size_t(3 * i + 2)] * p[2] + c.translation[size_t(i)];
            const int cu = int(std::lround(kc.fx * q[0] / q[2] + kc.cx));
            const int cv = int(std::lround(kc.fy * q[1] / q[2] + kc.cy));
            if (cu < 2 || cv < 2 || cu >= 638 || cv >= 478) continue;
            // Skip pixels near an edge in the colour image.
            bool uniform = true;
            for (int dv = -2; dv <= 2; ++dv)
                for (int du = -2; du <= 2; ++du)
                    uniform = uniform && Fl30cScene::atColourPixel(cu + du, cv + dv, kc, c).surface == hit.surface;
            if (!uniform) continue;
            ++checked;
            const auto want = Fl30cScene::colourOf(hit.surface);
            const uint8_t* got = &rgb[(size_t(cv) * 640 + size_t(cu)) * 3];
            if (std::abs(got[0] - want[0]) <= 12 && std::abs(got[1] - want[1]) <= 12 && std::abs(got[2] - want[2]) <= 12)
                ++agreed;
        }
    EXPECT_GT(checked, 200);
    EXPECT_EQ(agreed, checked);
    // Ground truth: the sphere's nearest point is 250 mm in front of its centre.
    const SceneHit front = Fl30cScene::cast({350, 350, 0}, {0, 0, 1});
    EXPECT_EQ(front.surface, SceneSurface::Sphere);
    EXPECT_NEAR(front.depthMm, 1450.0, 1e-9);
    EXPECT_EQ(Fl30cScene::rawDepth(front), 1450 * 16);
}

TEST_F(Fl30cStreamTest, SerialNumberDescriptorIsOptional)
{
    Fl30cConfig bare;
    bare.serialDescriptor.clear();
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {4}, 5), bare), nullptr);
    ASSERT_EQ(uvc_init(&m_context, nullptr), UVC_SUCCESS);
    uvc_device_t* device = nullptr;
    ASSERT_EQ(uvc_find_device(m_context, &device, 0x3482, 0x6723, nullptr), UVC_SUCCESS);
    uvc_device_descriptor_t* descriptor = nullptr;
    ASSERT_EQ(uvc_get_device_descriptor(device, &descriptor), UVC_SUCCESS);
    EXPECT_EQ(descriptor->serialNumber, nullptr);
    EXPECT_STREQ(descriptor->product, "Fl30c");
    EXPECT_STREQ(descriptor->manufacturer, "Orrindale");
    uvc_free_device_descriptor(descriptor);
    uvc_unref_device(device);
}

TEST_F(Fl30cStreamTest, LsusbShowsTheDescriptors)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    FILE* pipe = popen("lsusb -v -d 3482:6723 2>&1", "r");
    ASSERT_NE(pipe, nullptr);
    std::string out;
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) out += line;
    EXPECT_EQ(pclose(pipe), 0) << out;
    EXPECT_NE(out.find("Bus 001 Device 005: ID 3482:6723"), std::string::npos) << out;
    EXPECT_NE(out.find("iManufacturer           1 Orrindale"), std::string::npos) << out;
    EXPECT_NE(out.find("iProduct                2 Fl30c"), std::string::npos) << out;
    EXPECT_NE(out.find("iSerial                 3 FL30C0001"), std::string::npos) << out;
    EXPECT_NE(out.find("VideoControl Interface Descriptor"), std::string::npos) << out;
    EXPECT_NE(out.find("bUnitID                10"), std::string::npos) << out;
    EXPECT_NE(out.find("bEndpointAddress     0x85  EP 5 IN"), std::string::npos) << out;
    EXPECT_NE(out.find("wWidth                            640"), std::string::npos) << out;
    EXPECT_NE(out.find("wHeight                           642"), std::string::npos) << out;
    // lsusb is another process: its requests were served through copies of its memory.
    const auto stats = camera->device()->statistics();
    EXPECT_GT(stats.submitted, 0u);
    EXPECT_EQ(stats.servedInPlace, 0u);
}

}  // namespace
