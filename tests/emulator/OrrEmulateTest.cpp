// The orr-emulate runner: programs it starts see the emulated cameras as USB devices.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "EmulatorSession.h"
#include "TargetProgram.h"

using orrindale::emulator::EmulatorSessionOptions;
using orrtest::targetCommandLine;

namespace {

// Runs a shell command; returns its exit status and standard output.
int run(const std::string& command, std::string& out)
{
    FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return -1;
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) out += line;
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int count(const std::string& text, const std::string& what)
{
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

TEST(OrrEmulate, CommandsSeeTheCamerasAndTheirStatusComesBack)
{
    std::string out;
    ASSERT_EQ(run(targetCommandLine(ORR_EMULATE) + " --fl30c 3 -- lsusb -d 3482:6723", out), 0);
    EXPECT_EQ(count(out, "ID 3482:6723 Orrindale Fl30c"), 3) << out;
    std::string ignored;
    EXPECT_EQ(run(targetCommandLine(ORR_EMULATE) + " -- sh -c 'exit 3'", ignored), 3);
    EXPECT_EQ(run(targetCommandLine(ORR_EMULATE) + " --fl30c 0 -- true", ignored), 2);
    EXPECT_EQ(run(targetCommandLine(ORR_EMULATE) + " --fps", ignored), 2);
}

// The rate it streams at is measured in bench/emulator.
TEST(OrrEmulate, AProgramInAnotherProcessStreamsWholeTransfers)
{
    std::string out;
    const std::string client = targetCommandLine(ORR_STREAM_CLIENT) + " 320 564 30 10";
    ASSERT_EQ(run(targetCommandLine(ORR_EMULATE) + " --fps 30 -- " + client, out), 0) << out;
    int transfers = 0;
    double rate = 0;
    size_t size = 0;
    ASSERT_EQ(std::sscanf(out.c_str(), "transfers %d rate %lf size %zu", &transfers, &rate, &size), 3) << out;
    EXPECT_EQ(size, 360960u);
    EXPECT_GE(transfers, 10);
}

TEST(OrrEmulate, SessionOptionsAreChecked)
{
    EXPECT_EQ(EmulatorSessionOptions::parse("fl30c")->cameraCount(), 1);
    EXPECT_EQ(EmulatorSessionOptions::parse("fl30c,4")->cameraCount(), 4);
    EXPECT_EQ(EmulatorSessionOptions::parse("fl30c,4,fl30c")->cameraCount(), 5);
    EXPECT_FALSE(EmulatorSessionOptions::parse("fl30c,0").has_value());
    EXPECT_FALSE(EmulatorSessionOptions::parse("fl30c,2,3").has_value());
    EXPECT_FALSE(EmulatorSessionOptions::parse("2").has_value());
    EXPECT_FALSE(EmulatorSessionOptions::parse("fl30c,9,fl30c,8").has_value());
    EXPECT_FALSE(EmulatorSessionOptions::parse("fl30c,17").has_value());
    EXPECT_FALSE(EmulatorSessionOptions::parse("fl30c,2x").has_value());
    EXPECT_FALSE(EmulatorSessionOptions::parse("zx81,1").has_value());
    EXPECT_EQ(EmulatorSessionOptions::parse("fl30c,gm80,2,gm80-serial")->cameraCount(), 4);
}

}  // namespace
