// Point clouds saved with per-point colour when depth is aligned to the colour image:
// frames from an emulated Fl30c whose configuration registers depth onto colour, saved
// by qv's FrameSaver and read back by Open3D.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <list>
#include <mutex>
#include <optional>
#include <thread>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "FrameSaver.h"
#include "QvProcess.h"
#include "SceneTruth.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using qvtest::Point;
using qvtest::Outcome;

namespace {

struct Capture {
    std::mutex mutex;
    std::atomic<int> callbacks{0};
    std::optional<qv::SavedGroup> group;
};

class QvColouredCloud : public EmulatedDeviceTest {};

TEST_F(QvColouredCloud, EachPointCarriesTheColourOfItsPixel)
{
    if (std::string(QV_PYTHON3).empty()) GTEST_SKIP() << "python3 is not installed";
    ASSERT_NE(bed().addFl30c(UsbLocation(1, {1}, 2)), nullptr);
    const std::string dir = qvtest::scratchDirectory("qv-coloured-cloud");
    const std::string config = dir + "/registered.json";
    std::ofstream(config) << R"({"version": "v1.0", "QV_CAM_FL30C": {"DepthProcess": {"Registration": {"enable": 1}}}})";

    ASSERT_EQ(QV_SDK_Init(), 0);
    std::list<void*> handles;
    ASSERT_EQ(QV_SDK_GetCameraList(handles), 1);
    void* handle = handles.front();
    ASSERT_EQ(QV_SDK_OpenCamera(handle, config.c_str()), 0);
    Capture capture;
    STREAM_CALLBACK_S callback{[](void*, const CAM_DATA* data, void* user) {
                                   auto* c = static_cast<Capture*>(user);
                                   std::lock_guard<std::mutex> lock(c->mutex);
                                   if (++c->callbacks >= 3 && !c->group && data->frame[CAM_DATA_SLOT_POINTCLOUD].size)
                                       c->group = qv::FrameSaver::copy(*data);
                               },
                               &capture};
    ASSERT_EQ(QV_SDK_RegisterStreamCallback(handle, &callback), 0);
    ASSERT_EQ(QV_SDK_StartStream(handle, QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_POINTCLOUD), 0);
    for (int i = 0; i < 500; ++i) {
        {
            std::lock_guard<std::mutex> lock(capture.mutex);
            if (capture.group) break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    QV_SDK_StopStream(handle, 0);
    QV_SDK_CloseCamera(handle);
    QV_SDK_FreeCameraList(handles);
    QV_SDK_Deinit();
    ASSERT_TRUE(capture.group.has_value());
    const qv::SavedGroup& g = *capture.group;
    ASSERT_EQ(g.depth.width, 640u);
    ASSERT_EQ(g.rgb.width, 640u);

    std::string error;
    const auto written = qv::FrameSaver::write(g, dir, "aligned_", true, qv::CloudUnits::Millimetres, error);
    EXPECT_EQ(error, "");
    const std::string ply = dir + "/aligned_cloud.ply";
    ASSERT_NE(std::find(written.begin(), written.end(), ply), written.end());
    const Outcome r = qvtest::runProgram({QV_PYTHON3, std::string(QV_TEST_SOURCE_DIR) + "/read_ply.py", ply,
                                      dir + "/points", dir + "/colours"},
                                     {true, ""});
    ASSERT_EQ(r.status, 0) << r.both();

    // The cloud holds the aligned depth pixels of 1..5000 mm in raster order, through the
    // colour camera's intrinsics (610, 610, 319.5, 239.5 at 640 x 480).
    const auto* depth = reinterpret_cast<const uint16_t*>(g.depth.bytes.data());
    std::vector<size_t> pixels;
    for (size_t i = 0; i < 640u * 480u; ++i)
        if (depth[i] >= 1 && depth[i] <= 5000) pixels.push_back(i);
    EXPECT_EQ(r.out, std::to_string(pixels.size()) + " points, colours yes\n");
    const std::vector<Point> points = qvtest::readPointFile(dir + "/points");
    const std::vector<uint8_t> colours = qvtest::readBytes(dir + "/colours");
    ASSERT_EQ(points.size(), pixels.size());
    ASSERT_EQ(colours.size(), pixels.size() * 3);

    const qvtest::SceneTruth scene(640, 480);
    size_t wrongPoint = 0, wrongColour = 0, offScene = 0, checked = 0;
    for (size_t k = 0; k < pixels.size(); ++k) {
        const size_t i = pixels[k];
        const double u = double(i % 640), v = double(i / 640), d = depth[i];
        const Point& p = points[k];
        wrongPoint += std::abs(p.x - (u - 319.5) * d / 610) > 0.01 || std::abs(p.y - (v - 239.5) * d / 610) > 0.01 ||
                      std::abs(p.z - d) > 0.01;
        // The colour of the same pixel of the colour image (the library delivers B, G, R).
        const uint8_t* bgr = &g.rgb.bytes[i * 3];
        wrongColour += colours[k * 3] != bgr[2] || colours[k * 3 + 1] != bgr[1] || colours[k * 3 + 2] != bgr[0];
        // ... which is the colour of the surface the emulated camera shows there (away from edges).
        const uint8_t* truth = &scene.colour()[i * 3];
        if (i % 3 != 0 || (i / 640) % 3 != 0 || !scene.colourInterior(int(u), int(v), 8)) continue;
        ++checked;
        for (int c = 0; c < 3; ++c)
            if (std::abs(int(colours[k * 3 + c]) - int(truth[c])) > 12) {
                ++offScene;
                break;
            }
    }
    EXPECT_EQ(wrongPoint, 0u);
    EXPECT_EQ(wrongColour, 0u);
    EXPECT_GT(checked, 20000u);
    EXPECT_EQ(offScene, 0u) << "of " << checked << " points inside surfaces";
}

}  // namespace
