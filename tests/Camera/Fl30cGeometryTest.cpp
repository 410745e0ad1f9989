// The emulated Fl30c as a user first meets it through the exported calls: the images as
// delivered and the calibration reported for them, judged against the scene the camera
// looks at (the sphere found again from the depth and the cloud, the box and the sphere
// where the colour intrinsics put them), and what the open does with bad files and a
// camera that does not answer.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cmath>
#include <fstream>
#include <future>
#include <tuple>
#include <list>
#include <mutex>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "Eventually.h"
#include "LogCapture.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;
using orrtest::countLogLines;
using Vec = std::array<double, 3>;

namespace {

// The latest group with depth and colour, copied out of the callback.
struct Group {
    uint32_t depthW = 0, depthH = 0, colourW = 0, colourH = 0;
    std::vector<uint16_t> depth;
    std::vector<uint8_t> colour;  // B, G, R
    std::vector<float> cloud;     // x, y, z
};

struct GroupCatcher {
    static void onFrames(void*, const CAM_DATA* data, void* user)
    {
        const CAM_FRAME &d = data->frame[CAM_DATA_SLOT_DEPTH], &c = data->frame[CAM_DATA_SLOT_RGB];
        const CAM_FRAME& cloud = data->frame[CAM_DATA_SLOT_POINTCLOUD];
        if (d.size == 0 || c.size == 0) return;
        auto* self = static_cast<GroupCatcher*>(user);
        const auto* depth = reinterpret_cast<const uint16_t*>(d.data);
        const auto* points = reinterpret_cast<const float*>(cloud.data);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->last = {d.width, d.height, c.width, c.height, {depth, depth + d.size / 2}, {c.data, c.data + c.size},
                      {points, points + cloud.size / 4}};
        ++self->count;
    }
    // The second group from now: the first may have been under way before.
    bool next(Group& group)
    {
        const auto counted = [this] { std::lock_guard<std::mutex> lock(mutex); return count; };
        const int now = counted();
        if (!orrtest::eventually([&] { return counted() >= now + 2; }, 30s)) return false;
        std::lock_guard<std::mutex> lock(mutex);
        group = last;
        return true;
    }
    std::mutex mutex;
    Group last;
    int count = 0;
};

// The camera's axes as the delivered pictures see them: clockwise quarter turns, then the mirror.
Vec turned(Vec p, int rotate, bool mirror)
{
    for (int r = 0; r < rotate; r += 90) p = {-p[1], p[0], p[2]};
    return mirror ? Vec{-p[0], p[1], p[2]} : p;
}

Vec unturned(Vec p, int rotate, bool mirror)
{
    if (mirror) p[0] = -p[0];
    for (int r = 0; r < rotate; r += 90) p = {p[1], -p[0], p[2]};
    return p;
}

// colour = R depth + T of the emulated camera, and back (shift false: a direction).
Vec toColour(const Fl30cCalibration& k, const Vec& p)
{
    Vec c{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) c[i] += k.rotation[3 * i + j] * p[j] + (j == 0 ? k.translation[i] : 0);
    return c;
}

Vec fromColour(const Fl30cCalibration& k, const Vec& c, bool shift = true)
{
    Vec p{};
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) p[j] += k.rotation[3 * i + j] * (c[i] - (shift ? k.translation[i] : 0));
    return p;
}

// The delivered depth pixels unprojected with the reported intrinsics, and the cloud's points.
std::vector<Vec> unprojected(const Group& g, const CAM_Parameter& p)
{
    std::vector<Vec> points;
    for (uint32_t i = 0; i < g.depth.size(); ++i)
        if (const double d = g.depth[i], u = i % g.depthW, v = i / g.depthW; d > 0)
            points.push_back({(u - p.depthCx) / p.depthFx * d, (v - p.depthCy) / p.depthFy * d, d});
    return points;
}

std::vector<Vec> cloudPoints(const Group& g)
{
    std::vector<Vec> points;
    for (size_t i = 0; i + 2 < g.cloud.size(); i += 3) points.push_back({g.cloud[i], g.cloud[i + 1], g.cloud[i + 2]});
    return points;
}

// Centre of the sphere (its radius known) fitted to the points within 25 mm of it, taken
// back into the scene's frame: each point pulled one radius inwards, averaged, repeated.
Vec fittedSphereCentre(const std::vector<Vec>& delivered, int rotate, bool mirror, bool aligned,
                       const Fl30cCalibration& k, size_t& n)
{
    const SceneSphere s = Fl30cScene::sphere();
    const auto distance = [](const Vec& a, const Vec& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); };
    std::vector<Vec> points;
    for (const Vec& d : delivered) {
        const Vec q = aligned ? fromColour(k, unturned(d, rotate, mirror)) : unturned(d, rotate, mirror);
        if (std::fabs(distance(q, s.centre) - s.radius) < 25 && q[1] < 550) points.push_back(q);  // not the floor
    }
    n = points.size();
    Vec c = s.centre;
    for (int iteration = 0; iteration < 40; ++iteration) {
        Vec sum{};
        for (const Vec& q : points)
            for (int i = 0; i < 3; ++i) sum[i] += q[i] - s.radius * (q[i] - c[i]) / distance(q, c);
        for (int i = 0; i < 3; ++i) c[i] = sum[i] / double(n);
    }
    return c;
}

// Pixel count and mean position, in the delivered colour picture, of the pixels showing a
// surface's colour (seen) and of those whose ray through the reported intrinsics (and the
// camera's own extrinsics) meets it (cast): {n, u, v} each.
void colourBlobs(const Group& g, const CAM_Parameter& p, int rotate, bool mirror, const Fl30cCalibration& k,
                 SceneSurface surface, Vec& seen, Vec& cast)
{
    seen = cast = Vec{};
    for (uint32_t v = 0; v < g.colourH; v += 2)
        for (uint32_t u = 0; u < g.colourW; u += 2) {
            const uint8_t* bgr = &g.colour[(size_t(v) * g.colourW + u) * 3];
            int best = 1 << 30;
            SceneSurface nearest = SceneSurface::None;
            for (SceneSurface s : {SceneSurface::None, SceneSurface::Floor, SceneSurface::BackWall, SceneSurface::Box,
                                   SceneSurface::Sphere}) {
                const auto rgb = Fl30cScene::colourOf(s);
                const int d = std::abs(bgr[2] - rgb[0]) + std::abs(bgr[1] - rgb[1]) + std::abs(bgr[0] - rgb[2]);
                if (d < best) best = d, nearest = s;
            }
            const Vec ray = unturned({(u - p.rgbCx) / p.rgbFx, (v - p.rgbCy) / p.rgbFy, 1}, rotate, mirror);
            const bool hit = Fl30cScene::cast(fromColour(k, {0, 0, 0}), fromColour(k, ray, false)).surface == surface;
            for (auto [blob, in] : {std::pair<Vec*, bool>{&seen, nearest == surface}, {&cast, hit}})
                if (in) *blob = {(*blob)[0] + 1, (*blob)[1] + u, (*blob)[2] + v};
        }
    for (Vec* blob : {&seen, &cast}) *blob = {(*blob)[0], (*blob)[1] / (*blob)[0], (*blob)[2] / (*blob)[0]};
}

// A scratch file (an earlier run's may be a FIFO: it is removed first).
std::string scratchFile(const std::string& name, const std::string& text)
{
    const std::string path = std::string(std::getenv("ORR_TEST_TMP") ? std::getenv("ORR_TEST_TMP") : "/tmp") +
                             "/fl30c-user-" + name;
    std::remove(path.c_str());
    if (!text.empty()) std::ofstream(path) << text;
    return path;
}

class Fl30cUserTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        QV_SDK_Init();
        camera = bed().addFl30c(UsbLocation(1, {4}, 5));
        ASSERT_NE(camera, nullptr);
        ASSERT_EQ(QV_SDK_GetCameraList(list), 1);
        handle = list.front();
    }
    void TearDown() override
    {
        QV_SDK_FreeCameraList(list);
        QV_SDK_Deinit();
        EmulatedDeviceTest::TearDown();
    }

    GroupCatcher catcher;  // outlives the streams, which TearDown ends
    EmulatedFl30c* camera = nullptr;
    std::list<void*> list;
    void* handle = nullptr;
};

}  // namespace

TEST_F(Fl30cUserTest, DeliveredImagesAndTheReportedCalibrationShowTheSceneWhereItIs)
{
    enum Step { Reopen, Restart, IrJoins };  // Restart: the open camera, new sizes; IrJoins: depth sized up
    struct Case {
        const char* mjpeg;  // the firmware's size code: H01 640 x 480, 001 1280 x 720, H03 640 x 360
        uint32_t depthW, rgbW, rgbH;
        int rotate;
        bool mirror, aligned, denoise;  // denoise: enabled with a "max_th" of -1
        Step step;
        uint32_t colourW, colourH, depthOutW, depthOutH;  // as delivered
    };
    const Case cases[] = {
        {"H01", 640, 640, 480, 0, false, false, false, Reopen, 640, 480, 640, 480},
        {"H01", 320, 640, 480, 0, false, false, false, Restart, 640, 480, 320, 240},
        {"H01", 640, 640, 480, 90, false, true, false, Reopen, 480, 640, 480, 640},
        {"H01", 640, 640, 480, 180, true, false, true, Reopen, 640, 480, 640, 480},
        {"001", 640, 640, 480, 0, false, true, false, Reopen, 640, 480, 640, 480},
        {"001", 640, 1280, 720, 270, true, false, false, Reopen, 720, 960, 480, 640},
        {"H03", 640, 640, 360, 90, false, true, false, Reopen, 360, 640, 360, 640},
        {"H01", 160, 640, 480, 0, false, false, false, IrJoins, 640, 480, 640, 480},
    };
    const Fl30cCalibration& k = camera->calibration();
    STREAM_CALLBACK_S callback{&GroupCatcher::onFrames, &catcher};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.mjpeg) + " depth " + std::to_string(c.depthW) + " rotate " +
                     std::to_string(c.rotate) + (c.mirror ? " mirrored" : "") + (c.aligned ? " aligned" : ""));
        if (c.step == Restart) {
            ASSERT_EQ(QV_SDK_StopStream(handle, 0), 0);
        } else {
            QV_SDK_CloseCamera(handle);
            camera->setFirmwareVersion(std::string("FL30C:V1.0.8:") + c.mjpeg + ":20241021");
            camera->setStreamMode(c.step == IrJoins ? Fl30cStreamMode::Alternate : Fl30cStreamMode::Depth);
            char json[512];
            std::snprintf(json, sizeof json,
                          R"({"version": "v1.0", "QV_CAM_FL30C": {"Image": {"rotate": %d, "mirror": %d}, )"
                          R"("DepthProcess": {"Registration": {"enable": %d}, "Denoise": {"enable": %d, )"
                          R"("depth_width": 640, "depth_height": 480, "maxSpeckleSize": 50, "maxDiff": 10, "max_th": -1}}}})",
                          c.rotate, c.mirror, c.aligned, c.denoise);
            const std::string config = scratchFile("geometry.json", json);
            orrtest::StdoutCapture out;
            ASSERT_EQ(QV_SDK_OpenCamera(handle, config.c_str()), 0);
            CAM_Parameter none{};
            EXPECT_EQ(QV_SDK_GetCamParameter(handle, &none), -1);
            EXPECT_EQ(countLogLines(out.text(), "ERROR", "CameraFl30c", "getCameraParameter",
                                    "the calibration arrives with the first frame: start streaming first"),
                      1);
            // A far limit that would clear every pixel is no limit, and the open says so.
            EXPECT_EQ(countLogLines(out.text(), "WARN", "DepthProcessConfig", "settleDepthProcess",
                                    "\"DepthProcess/Denoise/max_th\" is missing or not positive: Denoise keeps "
                                    "depth up to 65535 mm"),
                      c.denoise ? 1 : 0);
            ASSERT_EQ(QV_SDK_RegisterStreamCallback(handle, &callback), 0);
        }
        const STREAM_PARAM_S depthMode{c.depthW, c.depthW * 3 / 4, 15}, rgbMode{c.rgbW, c.rgbH, 15};
        ASSERT_EQ(QV_SDK_SetStreamParam(handle, MEDIA_TYPE_DEPTH, &depthMode), 0);
        ASSERT_EQ(QV_SDK_SetStreamParam(handle, MEDIA_TYPE_RGB, &rgbMode), 0);
        ASSERT_EQ(QV_SDK_StartStream(handle, QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_POINTCLOUD), 0);
        Group g;
        if (c.step == IrJoins) {
            ASSERT_TRUE(catcher.next(g));
            ASSERT_EQ(QV_SDK_StartStream(handle, QV_MEDIA_IR), 0);
        }
        ASSERT_TRUE(catcher.next(g));
        CAM_Parameter p{};
        ASSERT_EQ(QV_SDK_GetCamParameter(handle, &p), 0);
        STREAM_PARAM_S sizes[STREAM_PARAM_COUNT + 1] = {};
        sizes[1] = {7, 7, 7};  // one record asked for: the next one stays as it was
        EXPECT_EQ(QV_SDK_GetStreamParamArray(handle, sizes, 1), 1);
        EXPECT_EQ(sizes[1].width, 7u);
        EXPECT_EQ(QV_SDK_GetStreamParamArray(handle, sizes, STREAM_PARAM_COUNT + 1), STREAM_PARAM_COUNT);

        // The pictures keep the scene's shape, and the library says which sizes they have.
        const std::vector<uint32_t> delivered{g.colourW, g.colourH, g.depthW, g.depthH};
        EXPECT_EQ(delivered, std::vector<uint32_t>({c.colourW, c.colourH, c.depthOutW, c.depthOutH}));
        EXPECT_EQ(delivered, std::vector<uint32_t>({sizes[STREAM_PARAM_RGB].width, sizes[STREAM_PARAM_RGB].height,
                                                    sizes[STREAM_PARAM_DEPTH].width, sizes[STREAM_PARAM_DEPTH].height}));

        // Depth through the reported depth intrinsics, and the point cloud, find the sphere
        // where it is. (Registered depth is dilated: the farthest of each 3 x 3 pushes the
        // surface back a little.)
        for (const auto& points : {unprojected(g, p), cloudPoints(g)}) {
            size_t n = 0;
            const Vec centre = fittedSphereCentre(points, c.rotate, c.mirror, c.aligned, k, n);
            EXPECT_GT(n, g.depthW * g.depthH / 50);
            for (int i = 0; i < 3; ++i)
                EXPECT_NEAR(centre[i], Fl30cScene::sphere().centre[i], c.aligned ? 3.0 : 1.5) << "axis " << i;
        }
        // The colour intrinsics put the box and the sphere where the colour picture shows them.
        for (SceneSurface surface : {SceneSurface::Box, SceneSurface::Sphere}) {
            Vec seen{}, cast{};
            colourBlobs(g, p, c.rotate, c.mirror, k, surface, seen, cast);
            EXPECT_NEAR(seen[0], cast[0], 0.02 * cast[0]);
            EXPECT_NEAR(seen[1], cast[1], 0.5);
            EXPECT_NEAR(seen[2], cast[2], 0.5);
        }
        // Extrinsics from the delivered depth to the delivered colour: none once depth is
        // seen from the colour camera.
        for (const Vec& q : {Vec{0, 0, 1000}, Vec{500, -300, 2000}}) {
            const Vec want = turned(toColour(k, q), c.rotate, c.mirror);
            const Vec from = c.aligned ? want : turned(q, c.rotate, c.mirror);
            for (int i = 0; i < 3; ++i)
                EXPECT_NEAR(p.translation[i] + p.rotation[3 * i] * from[0] + p.rotation[3 * i + 1] * from[1] +
                                p.rotation[3 * i + 2] * from[2],
                            want[i], 0.05);
        }
    }
}

TEST_F(Fl30cUserTest, OpenRefusesFilesItCannotUseAndACameraThatDoesNotAnswer)
{
    const std::string fifo = scratchFile("fifo.json", "");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // A container cut short whose plaintext length 123 begins with '{'.
    const std::string cut = scratchFile("cut.bin", std::string("{\0\0\0\x80\0\0\0\0\0\0\0{}", 14));
    for (const auto& [path, code, source, function, line] :
         {std::tuple<std::string, int, const char*, const char*, std::string>{
              fifo, -3, "CameraConf", "getDataFromFile", "Config file " + fifo + " is not a regular file"},
          {cut, -4, "ConfContainer", "decrypt", "configuration container cipher length 128 exceeds the 2 bytes present"}}) {
        orrtest::StdoutCapture out;
        EXPECT_EQ(QV_SDK_OpenCamera(handle, path.c_str()), code);  // a hang fails by the test's time limit
        EXPECT_EQ(countLogLines(out.text(), "ERROR", source, function, line), 1) << out.text();
        EXPECT_EQ(countLogLines(out.text(), "ERROR", "Fl30cCameraConf", "getConfigurationParameters",
                                "failed to parse the configuration from " + path + ", ret :" + std::to_string(code) +
                                    ", the camera is not opened."),
                  1);
    }

    // The halt of the video endpoint is cleared first thing; a camera that never answers
    // fails the open after the commands' 3 s, and the handle is free again.
    ControlMatch clearHalt;
    clearHalt.requestType = 0x02, clearHalt.request = 0x01, clearHalt.index = 0x85;
    camera->device()->setControlFault(clearHalt, ControlFault::NoResponse);
    orrtest::StdoutCapture out;
    const auto started = std::chrono::steady_clock::now();
    auto open = std::async(std::launch::async, [&] { return QV_SDK_OpenCamera(handle, nullptr); });
    const bool answered = open.wait_for(60s) == std::future_status::ready;
    if (!answered) camera->device()->unplug();  // lets the open return, so the test can end
    ASSERT_TRUE(answered);
    EXPECT_EQ(open.get(), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - started, 2900ms);
    EXPECT_EQ(countLogLines(out.text(), "ERROR", "CameraDriverBase", "open", "send clear feature fail !"), 1);
    camera->device()->clearControlFaults();
    EXPECT_EQ(QV_SDK_OpenCamera(handle, nullptr), 0);
}
