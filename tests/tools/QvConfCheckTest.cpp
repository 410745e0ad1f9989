// qv-conf check run as a program: its result alone on standard output, and what it says
// about files that would not do what their author meant.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "QvProcess.h"

using qvtest::contains;
using qvtest::Outcome;

TEST(QvConfCheck, ResultsStandAloneAndSuspectFilesAreNamedWithoutHanging)
{
    const std::string dir = qvtest::scratchDirectory("qv-conf-check");
    const auto check = [](const std::string& path) {
        return qvtest::runProgram({QV_CONF_BINARY, "check", path, "--module", "QV_CAM_FL30C"});
    };
    std::ofstream(dir + "/denoise.json")
        << R"({"version": "v1.0", "QV_CAM_FL30C": {"DepthProcess": {"Denoise": {"enable": 1, "maxTh": 3000}}}})";
    const Outcome denoise = check(dir + "/denoise.json");
    EXPECT_EQ(denoise.status, 0) << denoise.both();
    EXPECT_EQ(denoise.out.rfind("QV_CAM_FL30C settings from " + dir + "/denoise.json:\n  Camera/enable = ", 0), 0u)
        << denoise.out;
    EXPECT_FALSE(contains(denoise.out, "[INFO]")) << denoise.out;  // the library's lines are on standard error
    EXPECT_TRUE(contains(denoise.out, "\n  DepthProcess/Denoise/max_th = 65535\n")) << denoise.out;
    EXPECT_TRUE(contains(denoise.err, "qv-conf: warning: Denoise is enabled without a positive \"max_th\": it keeps "
                                      "depth up to 65535 mm (no far limit)\n"))
        << denoise.err;

    ASSERT_EQ(mkfifo((dir + "/fifo.json").c_str(), 0600), 0);
    qvtest::Background fifo({QV_CONF_BINARY, "check", dir + "/fifo.json", "--module", "QV_CAM_FL30C"});
    const bool refused = fifo.waitForError("qv-conf: " + dir + "/fifo.json is not a regular file\n");
    if (!refused) fifo.signal(SIGKILL);  // it hangs on the FIFO
    EXPECT_TRUE(refused);
    EXPECT_EQ(fifo.finish().status, 1);
}
