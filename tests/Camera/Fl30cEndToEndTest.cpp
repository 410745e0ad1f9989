// The Fl30c through the exported interface only, against emulated cameras: streams of
// depth, colour, point cloud (and infrared) checked frame by frame against the emulated
// scene, two cameras at once, every kind of bad transfer the camera can send, the clock
// of the timestamps, unplugging while streaming, and many open/start/stop/close cycles.
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "Eventually.h"
#include "Fl30cScene.h"
#include "Fl30cTransferBuilder.h"
#include "LogCapture.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;
using orrtest::countLogLines;

namespace {

constexpr int kW = 640, kH = 480;
#if defined(__SANITIZE_THREAD__)
// Under ThreadSanitizer every transfer costs many times more: shorter streams and fewer
// cycles, the same checks.
constexpr int kStreamFrames = 90;
constexpr int kCycles = 3;
#else
constexpr int kStreamFrames = 300;
constexpr int kCycles = 100;
#endif

constexpr int kGrid = 4;  // ground truth is cast for every 4th pixel of every 4th row

uint32_t u32At(const std::vector<uint8_t>& b, size_t at)
{
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24;
}

// What every frame of an emulated Fl30c must show at 640 x 480: the images the camera sends
// as the library must deliver them, and the scene's ground truth on a grid of pixels.
struct SceneReference {
    std::vector<uint16_t> depthMm;   // each raw word of the camera rounded to millimetres
    std::vector<uint8_t> ir;         // the camera's infrared image (empty unless asked for)
    std::vector<uint8_t> colourBgr;  // the camera's MJPEG as the library decodes it (fast DCT, B, G, R)
    std::vector<SceneHit> grid;      // ground truth of the grid pixels, row by row
    int depthOffTruth = -1;          // grid pixels whose depth is not the true depth within the rounding
    int colourOffScene = -1;         // grid pixels inside one surface more than 12 off its colour

    const SceneHit* truthAt(int u, int v) const
    {
        if (u % kGrid != 0 || v % kGrid != 0) return nullptr;
        return &grid[size_t(v / kGrid) * (kW / kGrid) + size_t(u / kGrid)];
    }

    static std::shared_ptr<const SceneReference> of(EmulatedFl30c& camera, bool withIr = false)
    {
        auto r = std::make_shared<SceneReference>();
        const auto depthTransfer = camera.expectedTransfer(kW, 2);
        const size_t imageAt = 2560 + u32At(*depthTransfer, 1072);
        r->depthMm.resize(size_t(kW) * kH);
        for (size_t i = 0; i < r->depthMm.size(); ++i) {
            const uint16_t raw = uint16_t((*depthTransfer)[imageAt + 2 * i] | (*depthTransfer)[imageAt + 2 * i + 1] << 8);
            r->depthMm[i] = uint16_t(Fl30cScene::hostMillimetres(raw));
        }
        if (withIr) {
            const auto irTransfer = camera.expectedTransfer(kW, 1);
            const size_t at = 2560 + u32At(*irTransfer, 1072);
            r->ir.assign(irTransfer->begin() + long(at), irTransfer->begin() + long(at) + kW * kH);
        }
        const auto jpeg = camera.renderer().mjpeg(kW, kH);
        tjhandle tj = tjInitDecompress();
        r->colourBgr.resize(size_t(kW) * kH * 3);
        const int ret =
            tjDecompress2(tj, jpeg->data(), jpeg->size(), r->colourBgr.data(), kW, 0, kH, TJPF_BGR, TJFLAG_FASTDCT);
        tjDestroy(tj);
        if (ret != 0) r->colourBgr.clear();

        const CameraIntrinsics depth = camera.calibration().depthFor(kW, kH);
        r->depthOffTruth = 0;
        for (int v = 0; v < kH; v += kGrid)
            for (int u = 0; u < kW; u += kGrid) {
                r->grid.push_back(Fl30cScene::atDepthPixel(u, v, depth));
                const SceneHit& hit = r->grid.back();
                const uint16_t mm = r->depthMm[size_t(v) * kW + size_t(u)];
                r->depthOffTruth += hit.surface == SceneSurface::None ? mm != 0 : std::fabs(mm - hit.depthMm) > 0.5 + 1.0 / 32;
                if (withIr) r->depthOffTruth += r->ir[size_t(v) * kW + size_t(u)] != Fl30cScene::irOf(hit.surface);
            }
        r->colourOffScene = ret != 0 ? -1 : r->countColourOffScene(camera.calibration());
        return r;
    }

    // Grid pixels whose 17 x 17 neighbourhood (a JPEG block and its chroma) sees one
    // surface (judged at its corners and edge middles) must show that surface's colour.
    int countColourOffScene(const Fl30cCalibration& calibration) const
    {
        const CameraIntrinsics colour = calibration.colourFor(kW, kH);
        const auto surfaceAt = [&](int u, int v) { return Fl30cScene::atColourPixel(u, v, colour, calibration).surface; };
        int off = 0;
        for (int v = 8; v < kH - 8; v += 2 * kGrid)
            for (int u = 8; u < kW - 8; u += 2 * kGrid) {
                const SceneSurface s = surfaceAt(u, v);
                bool interior = true;
                for (int dv = -8; dv <= 8 && interior; dv += 8)
                    for (int du = -8; du <= 8 && interior; du += 8) interior = surfaceAt(u + du, v + dv) == s;
                if (!interior) continue;
                const auto rgb = Fl30cScene::colourOf(s);
                const uint8_t* bgr = &colourBgr[(size_t(v) * kW + size_t(u)) * 3];
                for (int c = 0; c < 3; ++c) off += std::abs(int(bgr[2 - c]) - int(rgb[size_t(c)])) > 12;
            }
        return off;
    }
};

// Checks every callback of one camera against the reference and keeps the counts. Frames
// equal to the reference byte for byte; a cloud is judged against the scene the first time
// and must then repeat byte for byte.
class StreamChecker {
public:
    explicit StreamChecker(std::shared_ptr<const SceneReference> reference) : m_ref(std::move(reference)) {}

    static void onFrames(void* handle, const CAM_DATA* data, void* user)
    {
        static_cast<StreamChecker*>(user)->check(handle, *data);
    }
    STREAM_CALLBACK_S callback() { return STREAM_CALLBACK_S{&StreamChecker::onFrames, this}; }
    const SceneReference& reference() const { return *m_ref; }

    bool waitFor(int callbacks, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cv.wait_for(lock, timeout, [&] { return calls >= callbacks; });
    }
    int callCount()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return calls;
    }
    // Waits until a frame with this id or a later one was delivered.
    bool waitForId(uint32_t id, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cv.wait_for(lock, timeout, [&] { return !ids.empty() && ids.back() >= id; });
    }
    // Waits until no callback came for half a second; false when they go on for `limit`.
    bool waitQuiet(std::chrono::milliseconds limit)
    {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (int seen = callCount(); std::chrono::steady_clock::now() < end;) {
            std::this_thread::sleep_for(500ms);
            const int now = callCount();
            if (now == seen) return true;
            seen = now;
        }
        return false;
    }

    // Results, read under the lock.
    std::mutex m_mutex;
    int calls = 0;
    int depthFrames = 0, colourFrames = 0, cloudFrames = 0, irFrames = 0;
    int badDepth = 0, badColour = 0, badCloud = 0, badIr = 0, badIds = 0;
    int badShapes = 0;
    std::vector<uint32_t> ids;
    std::vector<uint64_t> stamps;
    void* handle = nullptr;
    bool otherHandle = false;
    std::atomic<int> delayMs{0};                // each callback then takes this long

private:
    void check(void* h, const CAM_DATA& data)
    {
        const CAM_FRAME& depth = data.frame[CAM_DATA_SLOT_DEPTH];
        const CAM_FRAME& colour = data.frame[CAM_DATA_SLOT_RGB];
        const CAM_FRAME& cloud = data.frame[CAM_DATA_SLOT_POINTCLOUD];
        const CAM_FRAME& ir = data.frame[CAM_DATA_SLOT_IR];
        const SceneReference& ref = *m_ref;
        int bad[5] = {};
        int shapes = 0;
        if (depth.size != 0) {
            const bool shaped = depth.width == kW && depth.height == kH && depth.size == kW * kH * 2;
            shapes += !shaped;
            bad[0] = shaped && std::memcmp(depth.data, ref.depthMm.data(), depth.size) != 0;
        }
        if (colour.size != 0) {
            const bool shaped = colour.width == kW && colour.height == kH && colour.size == kW * kH * 3;
            shapes += !shaped;
            bad[1] = shaped && std::memcmp(colour.data, ref.colourBgr.data(), colour.size) != 0;
        }
        if (cloud.size != 0) bad[2] = !cloudMatches(depth, cloud);
        if (ir.size != 0) {
            const bool shaped = ir.width == kW && ir.height == kH && ir.size == kW * kH;
            shapes += !shaped;
            bad[3] = shaped && std::memcmp(ir.data, ref.ir.data(), ir.size) != 0;
        }
        // Every slot of one callback carries the transfer's frame id.
        const uint32_t id = depth.frameId;
        for (int s = CAM_DATA_SLOT_DEPTH; s <= CAM_DATA_SLOT_POINTCLOUD; ++s) bad[4] += data.frame[s].frameId != id;
        const CAM_FRAME& stamped = depth.size != 0 ? depth : colour;

        std::lock_guard<std::mutex> lock(m_mutex);
        if (handle == nullptr) handle = h;
        otherHandle = otherHandle || h != handle;
        ++calls;
        depthFrames += depth.size != 0;
        colourFrames += colour.size != 0;
        cloudFrames += cloud.size != 0;
        irFrames += ir.size != 0;
        badDepth += bad[0];
        badColour += bad[1];
        badCloud += bad[2];
        badIr += bad[3];
        badIds += bad[4] != 0 || (!ids.empty() && id <= ids.back());
        badShapes += shapes != 0;
        ids.push_back(id);
        stamps.push_back(stamped.timestamp);
        m_cv.notify_all();
        if (delayMs > 0) {
            m_mutex.unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs.load()));
            m_mutex.lock();
        }
    }

    bool cloudMatches(const CAM_FRAME& depth, const CAM_FRAME& cloud)
    {
        if (!m_verifiedCloud.empty())
            return cloud.size == m_verifiedCloud.size() && std::memcmp(cloud.data, m_verifiedCloud.data(), cloud.size) == 0;
        if (!cloudShowsTheScene(depth, cloud)) return false;
        m_verifiedCloud.assign(cloud.data, cloud.data + cloud.size);  // only this thread touches it
        return true;
    }

    // One point per depth pixel of 1 .. 5000 mm, in raster order, with the pixel's depth as
    // z; at the grid pixels within 1% of the scene point the pixel sees, and on the floor or
    // the wall plane within 1%.
    bool cloudShowsTheScene(const CAM_FRAME& depth, const CAM_FRAME& cloud) const
    {
        if (depth.size != kW * kH * 2) return false;
        const auto* points = reinterpret_cast<const float*>(cloud.data);
        const size_t count = cloud.size / 12;
        size_t n = 0;
        int bad = 0;
        for (int v = 0; v < kH; ++v)
            for (int u = 0; u < kW; ++u) {
                uint16_t mm;
                std::memcpy(&mm, depth.data + 2 * (size_t(v) * kW + size_t(u)), 2);
                if (mm == 0 || mm > 5000) continue;
                if (n >= count) return false;
                const float* p = points + 3 * n++;
                bad += p[2] != float(mm);
                const SceneHit* hit = m_ref->truthAt(u, v);
                if (hit == nullptr) continue;
                const double dx = p[0] - hit->point[0], dy = p[1] - hit->point[1], dz = p[2] - hit->point[2];
                const double norm = std::sqrt(hit->point[0] * hit->point[0] + hit->point[1] * hit->point[1] +
                                              hit->point[2] * hit->point[2]);
                bad += std::sqrt(dx * dx + dy * dy + dz * dz) > 0.01 * norm;
                if (hit->surface == SceneSurface::Floor) bad += std::fabs(p[1] - 600.0) > 6.0;
                if (hit->surface == SceneSurface::BackWall) bad += std::fabs(p[2] - 2800.0) > 28.0;
            }
        return bad == 0 && n == count;
    }

    std::shared_ptr<const SceneReference> m_ref;
    std::condition_variable m_cv;
    std::vector<uint8_t> m_verifiedCloud;
};

class Fl30cEndToEndTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        QV_SDK_Init();
    }
    void TearDown() override
    {
        EXPECT_EQ(QV_SDK_FreeCameraList(list), 0);
        QV_SDK_Deinit();
        EmulatedDeviceTest::TearDown();
    }
    // Lists the cameras; the handle of the one at this bus and address.
    void* handleAt(int bus, int address)
    {
        if (list.empty()) QV_SDK_GetCameraList(list);
        for (void* h : list) {
            QV_CAM_ATTR a;
            if (QV_SDK_GetCameraAttrs(h, a) == 0 && a.attr.usbAttrs.busnum == bus && a.attr.usbAttrs.dev == address)
                return h;
        }
        return nullptr;
    }
    // Opens the camera and registers the checker's callback.
    void openAndRegister(void* handle, StreamChecker& checker)
    {
        ASSERT_EQ(QV_SDK_OpenCamera(handle, nullptr), 0);
        STREAM_CALLBACK_S cb = checker.callback();
        ASSERT_EQ(QV_SDK_RegisterStreamCallback(handle, &cb), 0);
    }
    // Adds a camera at bus 1, address 5, opens it and registers a checker of its scene.
    void addOpenCamera(bool withIr = false)
    {
        camera = bed().addFl30c(UsbLocation(1, {4}, 5));
        ASSERT_NE(camera, nullptr);
        if (withIr) camera->setStreamMode(Fl30cStreamMode::Alternate);
        theChecker = std::make_unique<StreamChecker>(SceneReference::of(*camera, withIr));
        handle = handleAt(1, 5);
        ASSERT_NE(handle, nullptr);
        openAndRegister(handle, *theChecker);
    }
    static void setMode(void* handle, MEDIA_TYPE_E type, uint32_t w, uint32_t h, uint32_t fps)
    {
        STREAM_PARAM_S p{w, h, fps};
        ASSERT_EQ(QV_SDK_SetStreamParam(handle, type, &p), 0);
    }

    std::list<void*> list;
    EmulatedFl30c* camera = nullptr;
    void* handle = nullptr;
    std::unique_ptr<StreamChecker> theChecker;
};

void expectCleanStream(StreamChecker& c, int frames, bool withIr)
{
    std::lock_guard<std::mutex> lock(c.m_mutex);
    EXPECT_EQ(c.reference().colourOffScene, 0);
    EXPECT_EQ(c.reference().depthOffTruth, 0);
    EXPECT_GE(c.calls, frames);
    EXPECT_EQ(c.badShapes, 0);
    EXPECT_EQ(c.badDepth, 0);
    EXPECT_EQ(c.badColour, 0);
    EXPECT_EQ(c.badCloud, 0);
    EXPECT_EQ(c.badIr, 0);
    EXPECT_EQ(c.badIds, 0);  // strictly increasing: none delivered twice
    EXPECT_FALSE(c.otherHandle);
    EXPECT_EQ(c.colourFrames, c.calls);
    if (withIr) {
        // Depth and infrared transfers take turns (a busy host may skip some of either).
        EXPECT_GE(c.depthFrames, c.calls / 4);
        EXPECT_GE(c.irFrames, c.calls / 4);
        EXPECT_EQ(c.depthFrames + c.irFrames, c.calls);
    } else {
        EXPECT_EQ(c.depthFrames, c.calls);
        EXPECT_EQ(c.irFrames, 0);
    }
    EXPECT_EQ(c.cloudFrames, c.depthFrames);
}

}  // namespace

// ---------------------------------------------------------------- streams checked against the scene

TEST_F(Fl30cEndToEndTest, ThreeHundredFramesWithInfraredTakingTurnsWithDepth)
{
    ASSERT_NO_FATAL_FAILURE(addOpenCamera(true));
    StreamChecker& checker = *theChecker;
    ASSERT_EQ(QV_SDK_StartStream(handle, QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_IR | QV_MEDIA_POINTCLOUD), 0);
    EXPECT_EQ(camera->settings().frameRate, 30);
    ASSERT_TRUE(checker.waitFor(kStreamFrames, 120s)) << checker.callCount() << " frames";
    ASSERT_EQ(QV_SDK_StopStream(handle, 0), 0);
    expectCleanStream(checker, kStreamFrames, true);
}

TEST_F(Fl30cEndToEndTest, TwoCamerasStreamAtOnceEachToItsOwnCallback)
{
    EmulatedFl30c* first = bed().addFl30c(UsbLocation(1, {4}, 5));
    EmulatedFl30c* second = bed().addFl30c(UsbLocation(2, {1, 3}, 8));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    const auto reference = SceneReference::of(*first);
    StreamChecker a(reference), b(reference);
    void* ha = handleAt(1, 5);
    void* hb = handleAt(2, 8);
    ASSERT_NE(ha, nullptr);
    ASSERT_NE(hb, nullptr);
    openAndRegister(ha, a);
    openAndRegister(hb, b);
    for (void* h : {ha, hb}) {
        setMode(h, MEDIA_TYPE_DEPTH, 640, 480, 30);
        setMode(h, MEDIA_TYPE_RGB, 640, 480, 30);
        ASSERT_EQ(QV_SDK_StartStream(h, 0), 0);
    }
    EXPECT_TRUE(a.waitFor(kStreamFrames, 120s)) << a.callCount() << " frames";
    EXPECT_TRUE(b.waitFor(kStreamFrames, 120s)) << b.callCount() << " frames";
    EXPECT_EQ(QV_SDK_StopStream(ha, 0), 0);
    EXPECT_EQ(QV_SDK_StopStream(hb, 0), 0);
    expectCleanStream(a, kStreamFrames, false);
    expectCleanStream(b, kStreamFrames, false);
    EXPECT_EQ(a.handle, ha);
    EXPECT_EQ(b.handle, hb);
    for (EmulatedFl30c* one : {first, second}) {
        EXPECT_EQ(one->settings().frameRate, 30);
        EXPECT_EQ(one->commits(), 1u);
    }
}

// ---------------------------------------------------------------- commands on the wire

namespace {

std::string writeConfig(const std::string& text)
{
    const char* root = std::getenv("ORR_TEST_TMP");
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    const std::string path =
        std::string(root != nullptr ? root : "/tmp") + "/fl30c-" + info->test_suite_name() + "." + info->name() + ".json";
    std::ofstream(path, std::ios::trunc) << text;
    return path;
}

// An extension-unit write as the camera saw it: 0x21, the code, wValue 0x0100, wIndex
// 0x0A00, the text zero-filled to length bytes.
void expectWrite(const ControlRecord& r, uint8_t code, const std::string& text, uint16_t length = 64)
{
    SCOPED_TRACE("code " + std::to_string(code) + " \"" + text + "\"");
    EXPECT_EQ(r.setup.requestType, 0x21);
    EXPECT_EQ(r.setup.request, code);
    EXPECT_EQ(r.setup.value, 0x0100);
    EXPECT_EQ(r.setup.index, 0x0A00);
    EXPECT_EQ(r.setup.length, length);
    std::vector<uint8_t> expected(length, 0);
    std::memcpy(expected.data(), text.data(), text.size());
    EXPECT_EQ(r.data, expected);
}

}  // namespace

TEST_F(Fl30cEndToEndTest, OpenAndStartCommandsReachTheCameraInTheirOrder)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    void* handle = handleAt(1, 5);
    ASSERT_NE(handle, nullptr);
    const std::string config = writeConfig(R"({"version": "v1.x", "QV_CAM_FL30C": {"Camera":
        {"enable": 1, "AE": 0, "T": 1500, "P": 7, "Gain": 12, "Confidence": 4, "SD": 3, "TD": 2, "TDC": 0}}})");
    orrtest::StdoutCapture out;
    ASSERT_EQ(QV_SDK_OpenCamera(handle, config.c_str()), 0);
    EXPECT_EQ(countLogLines(out.text(), "INFO", "CameraFl30c", "applySettings",
                            "Camera confiParaEnable true, setting configuration parameter"),
              1);
    auto commands = camera->commandRecord();
    ASSERT_EQ(commands.size(), 9u);
    expectWrite(commands[0], 0x23, "0");
    expectWrite(commands[1], 0x22, "1500");
    expectWrite(commands[2], 0x36, "7");
    expectWrite(commands[3], 0x47, "S=C0,R2=3e08,D=2f", 18);
    expectWrite(commands[4], 0x47, "S=C0,R2=3e09,D=35", 18);
    expectWrite(commands[5], 0x24, "4");
    expectWrite(commands[6], 0x52, "3");
    expectWrite(commands[7], 0x51, "2");
    EXPECT_EQ(commands[8].setup.requestType, 0xA1);
    EXPECT_EQ(commands[8].setup.request, 0x27);
    const Fl30cSettings settings = camera->settings();
    EXPECT_EQ(settings.aeMode, 0);
    EXPECT_EQ(settings.lightingTime, 1500);
    EXPECT_EQ(settings.currentIntensity, 7);
    EXPECT_EQ(Fl30cCommandSet::gainOf(settings.gainCoarse, settings.gainFine), 12);
    EXPECT_EQ(settings.confidenceLevel, 4);
    EXPECT_EQ(settings.spatialDenoise, 3);
    EXPECT_EQ(settings.temporalDenoise, 2);

    // The endpoint halt was cleared before the first command.
    const auto all = camera->device()->controlRecord();
    const auto clear = std::find_if(all.begin(), all.end(), [](const ControlRecord& r) {
        return r.setup.requestType == 0x02 && r.setup.request == 0x01 && r.setup.value == 0 && r.setup.index == 0x85;
    });
    const auto firstCommand = std::find_if(all.begin(), all.end(), [](const ControlRecord& r) {
        return r.setup.index == 0x0A00 && r.setup.type() == 1;
    });
    ASSERT_NE(clear, all.end());
    EXPECT_LT(clear - all.begin(), firstCommand - all.begin());

    camera->clearCommandRecord();
    setMode(handle, MEDIA_TYPE_RGB, 640, 480, 30);
    const auto started = std::chrono::steady_clock::now();
    ASSERT_EQ(QV_SDK_StartStream(handle, 0), 0);
    const bool quickStart = std::chrono::steady_clock::now() - started < 1900ms;
    // The gain of two seconds into the stream comes from the frame handler: on a slow host
    // it may come before the command sent after the transport started.
    const auto split = [](const std::vector<ControlRecord>& all, std::vector<ControlRecord>& gain,
                          std::vector<ControlRecord>& others) {
        gain.clear(), others.clear();
        for (const auto& r : all) (r.setup.request == 0x47 ? gain : others).push_back(r);
    };
    std::vector<ControlRecord> gain, others;
    split(camera->commandRecord(), gain, others);
    if (quickStart) {
        EXPECT_TRUE(gain.empty());
    }
    ASSERT_EQ(others.size(), 3u);
    expectWrite(others[0], 0x54, "30");
    expectWrite(others[1], 0x48, "0");
    expectWrite(others[2], 0x54, "30");
    const auto committed = camera->committed();
    ASSERT_TRUE(committed.has_value());
    EXPECT_EQ(committed->width, 640);
    EXPECT_EQ(committed->height, 642);
    EXPECT_EQ(committed->interval, 333333u);
    EXPECT_EQ(camera->settings().temperatureDrift, 0);

    // Two seconds into the stream the gain is sent once more, and only once.
    orrtest::eventually([&] { return camera->commandRecord().size() >= 5; }, 10s);
    std::this_thread::sleep_for(300ms);
    split(camera->commandRecord(), gain, others);
    EXPECT_EQ(others.size(), 3u);
    ASSERT_EQ(gain.size(), 2u);
    expectWrite(gain[0], 0x47, "S=C0,R2=3e08,D=2f", 18);
    expectWrite(gain[1], 0x47, "S=C0,R2=3e09,D=35", 18);
    EXPECT_GE(std::chrono::steady_clock::now() - started, 2000ms);
    EXPECT_EQ(QV_SDK_StopStream(handle, 0), 0);
}

// ---------------------------------------------------------------- bad transfers

TEST_F(Fl30cEndToEndTest, EveryKindOfBadTransferIsDroppedWithItsWarningAndStreamingGoesOn)
{
    ASSERT_NO_FATAL_FAILURE(addOpenCamera());
    StreamChecker& checker = *theChecker;
    setMode(handle, MEDIA_TYPE_DEPTH, 640, 480, 10);  // time to look at every transfer
    setMode(handle, MEDIA_TYPE_RGB, 640, 480, 10);
    ASSERT_EQ(QV_SDK_StartStream(handle, 0), 0);
    ASSERT_TRUE(checker.waitFor(3, 10s));

    // Each fault spoils a few transfers in a row. A busy host may skip a transfer before the
    // driver sees it (the transport keeps only the newest), so each spoilt transfer the
    // driver saw gives its warning once: one to kSpoilt of them, and no other line.
    constexpr int kSpoilt = 4;
    // The transport numbers transfers from 1 in the order the camera sent them: the wait
    // ends once a transfer sent after the spoilt ones was delivered.
    const auto spoil = [&](const Fl30cTransferFault& fault) {
        const uint64_t sent = camera->framesSent();
        camera->setTransferFault(fault);
        return checker.waitForId(uint32_t(sent + kSpoilt + 2), 20s);
    };
    struct Case {
        const char* name;
        Fl30cTransferFault fault;
        const char* warning;  // null: dropped without a word
    };
    std::vector<Case> cases;
    const auto add = [&](const char* name, auto set, const char* warning) {
        Fl30cTransferFault f;
        set(f);
        f.transfers = kSpoilt;
        cases.push_back({name, f, warning});
    };
    add("frame size field one more", [](auto& f) { f.frameSizeField = 821761; },
        "wrong size, read :821760,but framesize:821761");
    add("truncated", [](auto& f) { f.truncateTo = 500000; }, "wrong size, read :500000,but framesize:821760");
    add("shorter than a header", [](auto& f) { f.truncateTo = 1136; }, nullptr);
    add("no mjpeg", [](auto& f) { f.mjpegLengthField = 0; }, "warning: mjpeg size is 0, not in range 0 ~ 821760");
    add("mjpeg of the whole transfer", [](auto& f) { f.mjpegLengthField = 821760; },
        "warning: mjpeg size is 821760, not in range 0 ~ 821760");
    add("mjpeg past the end", [](auto& f) { f.mjpegLengthField = 821759; },
        "frame of 821760 bytes cannot hold its header and an mjpeg of 821759 bytes");
    const uint64_t sentBefore = camera->framesSent();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        orrtest::StdoutCapture out;
        ASSERT_TRUE(spoil(c.fault));  // and the stream goes on
        const std::string log = out.text();
        const int lines = orrtest::countAnyLogLines(log);
        if (c.warning != nullptr) {
            const int warnings = countLogLines(log, "WARN", "CameraFl30c", "checkTransfer", c.warning);
            EXPECT_GE(warnings, 1) << log;
            EXPECT_LE(warnings, kSpoilt);
            EXPECT_EQ(lines, warnings) << log;
        } else {
            EXPECT_EQ(lines, 0) << log;
        }
    }
    {  // a silent camera, then frames again
        camera->setSilent(true);
        ASSERT_TRUE(checker.waitQuiet(20s));  // what was under way is handed over, then nothing
        const int during = checker.callCount();
        camera->setSilent(false);
        ASSERT_TRUE(checker.waitFor(during + 3, 10s));
    }
    ASSERT_EQ(QV_SDK_StopStream(handle, 0), 0);
    EXPECT_GT(camera->framesSent(), sentBefore);
    std::lock_guard<std::mutex> lock(checker.m_mutex);
    EXPECT_EQ(checker.badShapes, 0);
    EXPECT_EQ(checker.badDepth, 0);
    EXPECT_EQ(checker.badColour, 0);
    EXPECT_EQ(checker.badCloud, 0);
    EXPECT_EQ(checker.badIds, 0);
}

// ---------------------------------------------------------------- timestamps

TEST_F(Fl30cEndToEndTest, TimestampTypeSwitchesTheClockOfTheFrames)
{
    ASSERT_NO_FATAL_FAILURE(addOpenCamera());
    StreamChecker& checker = *theChecker;
    const auto systemMs = [] {
        return uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count());
    };
    const auto steadyMs = [] {
        return uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::steady_clock::now().time_since_epoch())
                            .count());
    };
    // Three frames that arrive after the clock was chosen carry stamps of that clock.
    const auto expectStampsOf = [&](TIME_STAMP_TYPE type) {
        SCOPED_TRACE(type == TIME_STAMP_SYSTEM ? "system clock" : "steady clock");
        // A frame under way may still carry the previous clock: start from a later one.
        ASSERT_TRUE(checker.waitFor(checker.callCount() + 1, 10s));
        const uint64_t before = type == TIME_STAMP_SYSTEM ? systemMs() : steadyMs();
        // The frame recorded next may have been stamped before `before`; the one after it
        // was handed over only once that one was done.
        const int first = checker.callCount() + 1;
        ASSERT_TRUE(checker.waitFor(first + 3, 10s));
        const uint64_t after = type == TIME_STAMP_SYSTEM ? systemMs() : steadyMs();
        std::lock_guard<std::mutex> lock(checker.m_mutex);
        for (size_t i = size_t(first); i < size_t(first) + 3; ++i) {
            EXPECT_GE(checker.stamps[i], before);
            EXPECT_LE(checker.stamps[i], after);
        }
    };
    ASSERT_EQ(QV_SDK_SetTimeStampType(handle, TIME_STAMP_SYSTEM), 0);
    ASSERT_EQ(QV_SDK_StartStream(handle, 0), 0);
    expectStampsOf(TIME_STAMP_SYSTEM);
    ASSERT_EQ(QV_SDK_StopStream(handle, 0), 0);

    ASSERT_EQ(QV_SDK_SetTimeStampType(handle, TIME_STAMP_STEADY), 0);
    ASSERT_EQ(QV_SDK_StartStream(handle, 0), 0);
    expectStampsOf(TIME_STAMP_STEADY);
    ASSERT_EQ(QV_SDK_SetTimeStampType(handle, TIME_STAMP_SYSTEM), 0);  // while streaming
    expectStampsOf(TIME_STAMP_SYSTEM);
    EXPECT_EQ(QV_SDK_StopStream(handle, 0), 0);
}

// ---------------------------------------------------------------- unplug and cycles

TEST_F(Fl30cEndToEndTest, UnplugWhileStreamingLeavesTheLibraryUsable)
{
    ASSERT_NO_FATAL_FAILURE(addOpenCamera());
    StreamChecker& checker = *theChecker;
    ASSERT_EQ(QV_SDK_StartStream(handle, 0), 0);
    ASSERT_TRUE(checker.waitFor(3, 10s));
    // A slow application: the transfer under way when the camera leaves is still in its
    // callback while the stream is stopped and the camera closed.
    checker.delayMs = 150;
    ASSERT_TRUE(checker.waitFor(checker.callCount() + 1, 10s));
    ASSERT_TRUE(camera->device()->unplug());
    // A hang in any of these is caught by the test's time limit.
    EXPECT_EQ(QV_SDK_StopStream(handle, 0), 0);
    const int atStop = checker.callCount();
    EXPECT_EQ(QV_SDK_CloseCamera(handle), 0);
    EXPECT_EQ(QV_SDK_FreeCameraList(list), 0);
    EXPECT_TRUE(list.empty());
    ASSERT_TRUE(checker.waitQuiet(10s));
    EXPECT_EQ(checker.callCount(), atStop);  // nothing reaches the application after the stop
    checker.delayMs = 0;

    // Back at another address: listed, opened and streaming again.
    ASSERT_TRUE(camera->device()->replug(9));
    StreamChecker again(SceneReference::of(*camera));
    void* back = handleAt(1, 9);
    ASSERT_NE(back, nullptr);
    openAndRegister(back, again);
    ASSERT_EQ(QV_SDK_StartStream(back, 0), 0);
    ASSERT_TRUE(again.waitFor(5, 10s));
    EXPECT_EQ(QV_SDK_StopStream(back, 0), 0);
    EXPECT_EQ(QV_SDK_CloseCamera(back), 0);
    expectCleanStream(again, 5, false);
}

TEST_F(Fl30cEndToEndTest, HundredCyclesOfOpenStartStopClose)  // three under ThreadSanitizer
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    StreamChecker checker(SceneReference::of(*camera));
    void* handle = handleAt(1, 5);
    ASSERT_NE(handle, nullptr);
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        SCOPED_TRACE("cycle " + std::to_string(cycle));
        openAndRegister(handle, checker);
        ASSERT_EQ(QV_SDK_StartStream(handle, 0), 0);
        if (cycle % 10 == 9 || cycle == kCycles - 1) {  // now and then a frame is delivered before the stop
            const int before = checker.callCount();
            ASSERT_TRUE(checker.waitFor(before + 1, 10s));
        }
        ASSERT_EQ(QV_SDK_StopStream(handle, 0), 0);
        ASSERT_EQ(QV_SDK_CloseCamera(handle), 0);
    }
    EXPECT_EQ(camera->commits(), uint32_t(kCycles));
    std::lock_guard<std::mutex> lock(checker.m_mutex);
    EXPECT_GE(checker.calls, (kCycles + 9) / 10);
    EXPECT_EQ(checker.badDepth, 0);
    EXPECT_EQ(checker.badColour, 0);
}
