// The files of "qv stream --save" read back by programs that share nothing with qv
// (libpng, ImageMagick's identify, PCL's pcl_pcd2ply, Open3D), compared with what the
// emulated camera rendered: the same millimetres, surfaces and points.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "Fl30cScene.h"
#include "QvProcess.h"
#include "SceneTruth.h"

using orrindale::emulator::Fl30cScene;
using qvtest::contains;
using qvtest::Extent;
using qvtest::PngImage;
using qvtest::Point;
using qvtest::Outcome;
using qvtest::SceneTruth;

namespace {

class QvSavedFiles : public ::testing::Test {
protected:
    // One stream for the whole suite: every kind of file, from the group at callback 5.
    static void SetUpTestSuite()
    {
        s_dir = new std::string(qvtest::scratchDirectory("qv-saved"));
        s_files = new std::map<std::string, std::string>();
        s_run = new Outcome(qvtest::runQv({"stream", "--emulate", "fl30c", "--streams", "depth,rgb,ir,cloud",
                                       "--processor-output", "alternate", "--frames", "14", "--save", *s_dir,
                                       "--save-at", "5", "--quiet"}));
        std::smatch m;
        const std::regex saved("  saved (.*/cam0_frame[0-9]+_([a-z0-9_]+\\.[a-z]+))");
        for (const std::string& line : qvtest::lines(s_run->out))
            if (std::regex_match(line, m, saved)) (*s_files)[m[2]] = m[1];
    }
    static void TearDownTestSuite()
    {
        std::filesystem::remove_all(*s_dir);
        delete s_run;
        delete s_files;
        delete s_dir;
    }
    void SetUp() override { ASSERT_EQ(s_run->status, 0) << s_run->both(); }

    static std::string file(const std::string& kind)
    {
        auto it = s_files->find(kind);
        return it == s_files->end() ? std::string() : it->second;
    }
    static const SceneTruth& truth()
    {
        static const SceneTruth scene(640, 480);
        return scene;
    }
    static void readPng(const std::string& kind, PngImage& image)
    {
        const std::string path = file(kind);
        ASSERT_FALSE(path.empty()) << "no " << kind << " saved\n" << s_run->out;
        std::string error;
        ASSERT_TRUE(qvtest::readPng(path, image, error)) << error;
    }
    static std::string identify(const std::string& kind)
    {
        const Outcome r = qvtest::runProgram({QV_IDENTIFY, "-format", "%m %w %h %z %[channels]", file(kind)}, {true, ""});
        EXPECT_EQ(r.status, 0) << r.both();
        return r.out;
    }
    // Every point where it should be (the files hold metres), and the planes of the scene
    // where the scene has them.
    static void expectSceneCloud(std::vector<Point> points, const char* reader)
    {
        for (Point& p : points) p = {p.x * 1000, p.y * 1000, p.z * 1000};
        const std::vector<Point>& expected = truth().cloud();
        ASSERT_EQ(points.size(), expected.size()) << reader;
        size_t wrong = 0, first = 0;
        for (size_t i = 0; i < points.size(); ++i)
            if (std::abs(points[i].x - expected[i].x) > 0.01 || std::abs(points[i].y - expected[i].y) > 0.01 ||
                std::abs(points[i].z - expected[i].z) > 0.01)
                first = wrong++ == 0 ? i : first;
        EXPECT_EQ(wrong, 0u) << reader << ": first wrong point " << first << " (" << points[first].x << ", "
                             << points[first].y << ", " << points[first].z << "), expected (" << expected[first].x
                             << ", " << expected[first].y << ", " << expected[first].z << ")";

        // Back wall: z = 2800 mm, from the top of the wall (1000 mm above the camera) down to
        // the floor, across the whole field of view (x = +-319.5 / 570 * 2800 mm).
        const Extent wall = SceneTruth::wall(points, 0.5);
        EXPECT_GT(wall.count, 100000u) << reader;
        EXPECT_NEAR(wall.min.y, Fl30cScene::kWallTop, 5.0) << reader;
        EXPECT_NEAR(wall.max.y, 600.0, 10.0) << reader;
        EXPECT_NEAR(wall.min.x, -319.5 / 570 * 2800, 1.0) << reader;
        EXPECT_NEAR(wall.max.x, 319.5 / 570 * 2800, 1.0) << reader;
        // Floor: y = 600 mm, from the bottom row of the image (z = 600 * 570 / 239.5) to the
        // wall, whose last floor row (v = 362) lies 600 * 570 / 122.5 mm ahead.
        const Extent floor = SceneTruth::floor(points, 0.5);
        EXPECT_GT(floor.count, 20000u) << reader;
        EXPECT_NEAR(floor.min.z, 600.0 * 570 / 239.5, 1.0) << reader;
        EXPECT_NEAR(floor.max.z, 600.0 * 570 / 122.5, 1.0) << reader;
    }

    static std::string* s_dir;
    static std::map<std::string, std::string>* s_files;
    static Outcome* s_run;
};

std::string* QvSavedFiles::s_dir = nullptr;
std::map<std::string, std::string>* QvSavedFiles::s_files = nullptr;
Outcome* QvSavedFiles::s_run = nullptr;

TEST_F(QvSavedFiles, EveryKindOfFileIsSavedOnceForTheChosenGroup)
{
    for (const char* kind :
         {"depth_color.png", "depth_raw16.png", "color.png", "ir.png", "cloud.pcd", "cloud.ply"})
        EXPECT_FALSE(file(kind).empty()) << kind << "\n" << s_run->out;
    EXPECT_EQ(s_files->size(), 6u) << s_run->out;
}

TEST_F(QvSavedFiles, RawDepthPngHoldsTheRenderedMillimetres)
{
    if (std::string(QV_IDENTIFY).empty()) GTEST_SKIP() << "ImageMagick is not installed";
    EXPECT_EQ(identify("depth_raw16.png"), "PNG 640 480 16 gray");
    PngImage png;
    readPng("depth_raw16.png", png);
    ASSERT_EQ(png.bitDepth, 16);
    ASSERT_EQ(png.channels, 1);
    ASSERT_EQ(png.samples.size(), truth().depthMm().size());
    size_t wrong = 0;
    for (size_t i = 0; i < png.samples.size(); ++i) wrong += png.samples[i] != truth().depthMm()[i];
    EXPECT_EQ(wrong, 0u) << "pixels whose millimetres differ from the rendered scene";
}

TEST_F(QvSavedFiles, ColourisedDepthMapsNearToDarkAndFarToBrightWithALegendBelow)
{
    if (std::string(QV_IDENTIFY).empty()) GTEST_SKIP() << "ImageMagick is not installed";
    EXPECT_EQ(identify("depth_color.png"), "PNG 640 504 8 srgb");
    PngImage png;
    readPng("depth_color.png", png);
    ASSERT_EQ(png.height, 504);
    ASSERT_EQ(png.channels, 3);
    const auto& mm = truth().depthMm();
    // The ends of the colour map: dark violet near, yellow far.
    const int nearColour[3] = {68, 1, 84}, farColour[3] = {253, 231, 37};
    auto colourAt = [&](int x, int y) {
        return std::array<int, 3>{png.at(x, y, 0), png.at(x, y, 1), png.at(x, y, 2)};
    };
    // No depth (above the wall): black. The wall, the farthest surface: the far end of the map.
    EXPECT_EQ(colourAt(320, 10), (std::array<int, 3>{0, 0, 0}));
    ASSERT_EQ(mm[200 * 640 + 320], 2800);
    EXPECT_EQ(colourAt(320, 200), (std::array<int, 3>{farColour[0], farColour[1], farColour[2]}));
    // The nearest pixels (the floor at the bottom edge) take the near end of the map.
    EXPECT_EQ(colourAt(320, 479), (std::array<int, 3>{nearColour[0], nearColour[1], nearColour[2]}));
    // Nearer is never brighter: along the floor's column depth rises upwards, and so does the colour.
    int darker = 0;
    for (int y = 478; y > 380; --y) {
        auto sum = [&](int row) { return colourAt(320, row)[0] + colourAt(320, row)[1] + colourAt(320, row)[2]; };
        darker += sum(y) < sum(y + 1);
    }
    EXPECT_EQ(darker, 0);
    // The legend's bar runs through the map from left to right.
    const int bar = 480 + 4;
    EXPECT_EQ(colourAt(0, bar), (std::array<int, 3>{nearColour[0], nearColour[1], nearColour[2]}));
    EXPECT_EQ(colourAt(639, bar), (std::array<int, 3>{farColour[0], farColour[1], farColour[2]}));
}

TEST_F(QvSavedFiles, ColourAndInfraredPngsShowTheSceneSurfaces)
{
    if (std::string(QV_IDENTIFY).empty()) GTEST_SKIP() << "ImageMagick is not installed";
    EXPECT_EQ(identify("color.png"), "PNG 640 480 8 srgb");
    EXPECT_EQ(identify("ir.png"), "PNG 640 480 8 gray");

    // Infrared is sent as it is: every pixel is the rendered brightness of its surface.
    PngImage ir;
    readPng("ir.png", ir);
    ASSERT_EQ(ir.channels, 1);
    ASSERT_EQ(ir.samples.size(), truth().ir().size());
    size_t wrongIr = 0;
    for (size_t i = 0; i < ir.samples.size(); ++i) wrongIr += ir.samples[i] != truth().ir()[i];
    EXPECT_EQ(wrongIr, 0u);

    // Colour travels as MJPEG: away from edges it is the surface's colour within the
    // compression's error, in R, G, B order.
    PngImage colour;
    readPng("color.png", colour);
    ASSERT_EQ(colour.channels, 3);
    const auto& expected = truth().colour();
    size_t checked = 0, wrong = 0;
    for (int y = 0; y < 480; y += 4)
        for (int x = 0; x < 640; x += 4) {
            if (!truth().colourInterior(x, y, 8)) continue;
            ++checked;
            for (int c = 0; c < 3; ++c)
                if (std::abs(int(colour.at(x, y, c)) - int(expected[(y * 640 + x) * 3 + c])) > 12) {
                    ++wrong;
                    break;
                }
        }
    EXPECT_GT(checked, 14000u);
    EXPECT_EQ(wrong, 0u) << "of " << checked << " pixels away from edges";
}

TEST_F(QvSavedFiles, PointCloudReadByPclHasTheRenderedPointsAndPlanes)
{
    if (std::string(QV_PCD2PLY).empty()) GTEST_SKIP() << "pcl-tools is not installed";
    const std::string ascii = *s_dir + "/pcl.ply";
    const Outcome r = qvtest::runProgram({QV_PCD2PLY, "-format", "0", file("cloud.pcd"), ascii}, {true, ""});
    ASSERT_EQ(r.status, 0) << r.both();
    EXPECT_TRUE(contains(r.out, ": " + std::to_string(truth().cloud().size()) + " points]")) << r.out;
    EXPECT_TRUE(contains(r.out, "Available dimensions: x y z")) << r.out;

    std::ifstream in(ascii);
    size_t vertices = 0;
    for (std::string line; std::getline(in, line) && line != "end_header";)
        std::sscanf(line.c_str(), "element vertex %zu", &vertices);
    std::vector<Point> points;
    for (size_t i = 0; i < vertices && in; ++i) {
        Point p{};
        in >> p.x >> p.y >> p.z;
        points.push_back({p.x, -p.y, -p.z});  // the PCD file turns y and z for viewers
    }
    expectSceneCloud(points, "PCL");
}

TEST_F(QvSavedFiles, BinaryPlyReadByOpen3dHasTheRenderedPointsAndPlanes)
{
    if (std::string(QV_PYTHON3).empty()) GTEST_SKIP() << "python3 is not installed";
    const std::string points = *s_dir + "/open3d.xyz";
    const Outcome r = qvtest::runProgram(
        {QV_PYTHON3, std::string(QV_TEST_SOURCE_DIR) + "/read_ply.py", file("cloud.ply"), points}, {true, ""});
    ASSERT_EQ(r.status, 0) << r.both();
    // The camera does not report depth aligned to colour here: no colour per point.
    EXPECT_EQ(r.out, std::to_string(truth().cloud().size()) + " points, colours no\n");
    const std::vector<uint8_t> ply = qvtest::readBytes(file("cloud.ply"));
    EXPECT_TRUE(contains(std::string(ply.begin(), ply.begin() + 200), "\ncomment units metres\n"));
    expectSceneCloud(qvtest::readPointFile(points), "Open3D");
}

}  // namespace
