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
    return std::string(dir ? dir : "/tmp") + "/" + ::testing::UnitTest::GetInstance()->current_test_info()->name() +
           "_" + name;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

TEST(PcdFileTest, HeaderIsExactAndYZAreNegated)
{
    const std::string path = tempPath("cloud.pcd");
    std::remove(path.c_str());
    float points[7] = {1.5f, 2.0f, 3.25f, -4.0f, 0.0f, 1000.0f, 99.0f};  // the 7th float is no point
    savePointCloudWithPcdFormat(path.c_str(), points, 7);
    EXPECT_EQ(readFile(path),
              "# .PCD v0.7 - Point Cloud Data file format\n"
              "VERSION 0.7\n"
              "FIELDS x y z\n"
              "SIZE 4 4 4\n"
              "TYPE F F F\n"
              "COUNT 1 1 1\n"
              "WIDTH 2\n"
              "HEIGHT 1\n"
              "VIEWPOINT 0 0 0 1 0 0 0\n"
              "POINTS 2\n"
              "DATA ascii\n"
              "1.500000 -2.000000 -3.250000\n"
              "-4.000000 -0.000000 -1000.000000\n");
}

TEST(PointCloudTextTest, ThreeFloatsPerLineSeparatedBySemicolons)
{
    const std::string path = tempPath("cloud.txt");
    float points[6] = {1.5f, -2.0f, 3.0f, 0.25f, 0.0f, 1000.0f};
    savePointCloud(path.c_str(), points, 6);
    EXPECT_EQ(readFile(path), "1.5;-2;3\n0.25;0;1000\n");

    float two[2] = {1.0f, 2.0f};
    savePointCloud(path.c_str(), two, 2);
    EXPECT_EQ(readFile(path), "");
}

TEST(DumpHelpersTest, NullPointersAreRefusedWithOneLine)
{
    orrtest::StdoutCapture capture;
    const std::string path = tempPath("null.bin");
    std::remove(path.c_str());
    saveYUVImg(path.c_str(), nullptr, 10);
    savePointCloud(path.c_str(), nullptr, 3);
    savePointCloudWithPcdFormat(path.c_str(), nullptr, 3);
    const std::string out = capture.text();
    EXPECT_EQ(orrtest::countLogLines(out, "ERROR", "common", "saveYUVImg", "null ptr!"), 1);
    EXPECT_EQ(orrtest::countLogLines(out, "ERROR", "common", "savePointCloud", "null ptr!"), 1);
    EXPECT_EQ(orrtest::countLogLines(out, "ERROR", "common", "savePointCloudWithPcdFormat", "null ptr!"), 1);
    EXPECT_FALSE(std::ifstream(path).good());
}

TEST(DumpHelpersTest, RawBytesRoundTripThroughSaveAndRead)
{
    const std::string path = tempPath("raw.yuv");
    std::vector<unsigned char> bytes(1000);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 3);
    saveYUVImg(path.c_str(), bytes.data(), bytes.size());

    std::vector<unsigned char> back(2000, 0xEE);
    EXPECT_EQ(readData(path.c_str(), back.data(), 2000), 1000);  // up to size: the file is shorter
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), back.begin()));
    EXPECT_EQ(back[1000], 0xEE);

    EXPECT_EQ(readData(path.c_str(), back.data(), 10), 10);
    EXPECT_EQ(readData((path + ".missing").c_str(), back.data(), 10), -1);
}

TEST(DumpHelpersTest, Save4imgWritesHeaderRowsAndValue)
{
    const std::string path = tempPath("four.txt");
    float tof[2] = {1, 2}, peak[2] = {3, 4}, noise[2] = {5, 6}, multi[2] = {7, 8};
    save4img(path.c_str(), tof, peak, noise, multi, 2, 0.5f);
    EXPECT_EQ(readFile(path),
              "tof,peak,noise,multishot\n1.000000 3.000000 5.000000 7.000000\n2.000000 4.000000 6.000000 "
              "8.000000\n0.500000\n");
    EXPECT_EQ(save4img("/nonexistent-dir/x.txt", tof, peak, noise, multi, 2, 0.5f), 0);
}

TEST(Bgr2Mono8Test, WeightsBlueGreenRedAndTruncates)
{
    unsigned char bgr[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};
    unsigned char mono[4] = {};
    bgr2mono8(mono, bgr, 2, 2);
    EXPECT_EQ(mono[0], 29);   // 0.114 * 255 = 29.07
    EXPECT_EQ(mono[1], 149);  // 0.587 * 255 = 149.685
    EXPECT_EQ(mono[2], 76);   // 0.299 * 255 = 76.245
    EXPECT_EQ(mono[3], 255);  // weights sum to 1
}

TEST(Bgr2Mono8Test, NullOrEmptyInputLeavesOutputAlone)
{
    unsigned char bgr[3] = {1, 2, 3};
    unsigned char mono[1] = {77};
    orrtest::StdoutCapture capture;
    bgr2mono8(nullptr, bgr, 1, 1);
    bgr2mono8(mono, nullptr, 1, 1);
    bgr2mono8(mono, bgr, 0, 5);
    const std::string out = capture.text();
    EXPECT_EQ(orrtest::countLogLines(out, "WARN", "common", "bgr2mono8", "data is nullptr"), 2);
    EXPECT_EQ(mono[0], 77);
}
