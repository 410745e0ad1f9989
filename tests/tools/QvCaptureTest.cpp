// qv capture on an emulated bulk-stream camera: the files hold the frames the camera
// sent, byte for byte, with their frame_info; the stream type is required first.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "EmulatedBulkCamera.h"
#include "QvProcess.h"

using orrindale::emulator::EmulatedBulkCamera;
using qvtest::contains;
using qvtest::Outcome;
using qvtest::runQv;

TEST(QvCapture, WritesTheRawFramesOfABulkCameraWithTheirFrameInfo)
{
    const Outcome refused = runQv({"capture", "--emulate", "halvo", "--frames", "2"});
    EXPECT_EQ(refused.status, 2) << refused.both();
    EXPECT_TRUE(contains(refused.err, "streams over bulk USB: give its stream type with --stream-type N"))
        << refused.both();

    const std::string dir = qvtest::scratchDirectory("capture");
    const Outcome r = runQv({"capture", "--emulate", "halvo", "--stream-type", "2", "--frames", "3", "--mode",
                             "1280x720@30", "--out", dir, "--quiet"});
    ASSERT_EQ(r.status, 0) << r.both();
    EXPECT_TRUE(contains(r.out, "3482:2789 on bus 1, address 2: bulk USB transport, stream type 2")) << r.both();
    EXPECT_TRUE(contains(r.out, "1160192 bytes each")) << r.both();
    const std::vector<std::string> index = qvtest::lines(qvtest::readFile(dir + "/frames.txt"));
    ASSERT_EQ(index.size(), 4u) << r.both();
    EXPECT_EQ(index[0], "file\tsequence\ttimestamp_ms\twidth\theight\tformat\tsize");
    for (size_t i = 1; i < index.size(); ++i) {
        std::istringstream row(index[i]);
        std::string file;
        unsigned sequence = 0, width = 0, height = 0, format = 0, size = 0;
        unsigned long long timestamp = 0;
        row >> file >> sequence >> timestamp >> width >> height >> format >> size;
        EXPECT_EQ(sequence, i - 1);
        EXPECT_EQ(width, 1280u);
        EXPECT_EQ(height, 720u);
        EXPECT_EQ(size, 1160192u);
        const std::string bytes = qvtest::readFile(dir + "/" + file);
        uint32_t cameraSequence = 0;
        std::memcpy(&cameraSequence, bytes.data(), std::min<size_t>(4, bytes.size()));
        const std::vector<uint8_t> expected = EmulatedBulkCamera::expectedFrame(cameraSequence, 1160192);
        EXPECT_TRUE(bytes.size() == expected.size() && std::memcmp(bytes.data(), expected.data(), bytes.size()) == 0)
            << file;
    }
}
