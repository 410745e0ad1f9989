// The dump helpers: the exact text of each file, the pixel arithmetic, refused null pointers.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "qv_common.h"

namespace {

std::string tempPath(const std::string& name)
{
    const char* dir = std::getenv("ORR_TEST_TMP");
    return std::string(dir ? dir : "/tmp") + "/dump_" + name;
}

std::string readFile(const std::string& path)
{
    std::stringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

}  // namespace

TEST(DumpHelpers, FilesHoldExactlyTheDocumentedText)
{
    // Seven floats: two points and a remainder that is no point.
    float points[7] = {1.5f, 2.0f, 3.25f, -4.0f, 0.0f, 1000.0f, 99.0f};
    savePointCloudWithPcdFormat(tempPath("cloud.pcd").c_str(), points, 7);
    EXPECT_EQ(readFile(tempPath("cloud.pcd")),
              "# .PCD v0.7 - Point Cloud Data file format\nVERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\n"
              "COUNT 1 1 1\nWIDTH 2\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS 2\nDATA ascii\n"
              "1.500000 -2.000000 -3.250000\n-4.000000 -0.000000 -1000.000000\n");
    savePointCloud(tempPath("cloud.txt").c_str(), points, 5);  // one point and two floats
    EXPECT_EQ(readFile(tempPath("cloud.txt")), "1.5;2;3.25\n");

    float tof[2] = {1, 2}, peak[2] = {3, 4}, noise[2] = {5, 6}, multi[2] = {7, 8};
    EXPECT_EQ(save4img(tempPath("four.txt").c_str(), tof, peak, noise, multi, 2, 0.5f), 0);
    EXPECT_EQ(readFile(tempPath("four.txt")), "tof,peak,noise,multishot\n1.000000 3.000000 5.000000 7.000000\n"
                                              "2.000000 4.000000 6.000000 8.000000\n0.500000\n");

    std::vector<unsigned char> bytes(1000), back(2000, 0xEE);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 3);
    saveYUVImg(tempPath("raw.yuv").c_str(), bytes.data(), bytes.size());
    EXPECT_EQ(readData(tempPath("raw.yuv").c_str(), back.data(), 2000), 1000);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), back.begin()));
    EXPECT_EQ(back[1000], 0xEE);
    EXPECT_EQ(readData(tempPath("missing").c_str(), back.data(), 10), -1);
}

TEST(DumpHelpers, GreyWeightsBlueGreenRedAndNullsAreRefusedWithOneLineEach)
{
    unsigned char bgr[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};
    unsigned char mono[4] = {};
    bgr2mono8(mono, bgr, 2, 2);
    EXPECT_EQ(std::vector<int>(mono, mono + 4), (std::vector<int>{29, 149, 76, 255}));  // truncated

    orrtest::StdoutCapture capture;
    std::remove(tempPath("null").c_str());
    saveYUVImg(tempPath("null").c_str(), nullptr, 10);
    savePointCloud(tempPath("null").c_str(), nullptr, 3);
    savePointCloudWithPcdFormat(tempPath("null").c_str(), nullptr, 3);
    bgr2mono8(nullptr, bgr, 1, 1);
    const std::string out = capture.text();
    for (const char* function : {"saveYUVImg", "savePointCloud", "savePointCloudWithPcdFormat"})
        EXPECT_EQ(orrtest::countLogLines(out, "ERROR", "common", function, "null ptr!"), 1) << function;
    EXPECT_EQ(orrtest::countLogLines(out, "WARN", "common", "bgr2mono8", "data is nullptr"), 1);
    EXPECT_FALSE(std::ifstream(tempPath("null")).good());
}
