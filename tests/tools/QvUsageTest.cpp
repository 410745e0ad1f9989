// qv's command line: every mistake is answered with a message, a usage line and exit
// status 2, before any camera is looked at (had qv gone on to the cameras it would have
// answered 1, "no camera is attached", or 0 with a camera).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QvProcess.h"

using qvtest::contains;
using qvtest::Outcome;
using qvtest::runQv;

namespace {

struct Mistake {
    std::vector<std::string> args;
    std::string message;  // part of the first line qv prints
};

void expectUsageError(const Mistake& m, const std::string& usageLine)
{
    std::string shown;
    for (const std::string& a : m.args) shown += a + " ";
    const Outcome r = runQv(m.args);
    EXPECT_EQ(r.status, 2) << "qv " << shown << "\n" << r.both();
    EXPECT_TRUE(contains(r.err, m.message)) << "qv " << shown << "\n" << r.both();
    EXPECT_TRUE(contains(r.err, usageLine)) << "qv " << shown << "\n" << r.both();
    EXPECT_EQ(r.out, "") << "qv " << shown;
}

TEST(QvUsage, WithoutACommandOrWithAnUnknownOneTheCommandsAreListed)
{
    expectUsageError({{}, "usage: qv COMMAND"}, "stream [selector]");
    expectUsageError({{"frobnicate"}, "unknown command \"frobnicate\""}, "usage: qv COMMAND");
    expectUsageError({{"frobnicate", "--emulate", "fl30c"}, "unknown command"}, "usage: qv COMMAND");

    const Outcome help = runQv({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(contains(help.out, "usage: qv COMMAND")) << help.both();
    const Outcome streamHelp = runQv({"stream", "--help"});
    EXPECT_EQ(streamHelp.status, 0);
    EXPECT_TRUE(contains(streamHelp.out, "--processor-output")) << streamHelp.both();
}

TEST(QvUsage, EachCommandRefusesOptionsAndArgumentsItDoesNotTake)
{
    expectUsageError({{"list", "--bogus"}, "qv list: unknown option --bogus"}, "usage: qv list");
    expectUsageError({{"list", "extra"}, "qv list: unexpected argument"}, "usage: qv list");
    expectUsageError({{"info", "--bogus"}, "qv info: unknown option --bogus"}, "usage: qv info");
    expectUsageError({{"info", "camera0"}, "qv info: unexpected argument"}, "usage: qv info");
    expectUsageError({{"stream", "--bogus"}, "qv stream: unknown option --bogus"}, "usage: qv stream");
    expectUsageError({{"stream", "5"}, "qv stream: unexpected argument \"5\""}, "usage: qv stream");
    expectUsageError({{"set", "--bogus", "x"}, "qv set: unknown option --bogus"}, "usage: qv set");
    expectUsageError({{"get", "--bogus"}, "qv get: unknown option --bogus"}, "usage: qv set");
    expectUsageError({{"set", "gain"}, "qv set: needs a setting and a value"}, "usage: qv set");
    expectUsageError({{"set", "gain", "5", "6"}, "qv set: needs a setting and a value"}, "usage: qv set");
    expectUsageError({{"get"}, "qv get: needs one setting"}, "usage: qv set");
    expectUsageError({{"set", "brightness", "5"}, "qv set: unknown setting \"brightness\""}, "usage: qv set");
    expectUsageError({{"get", "fps"}, "qv get: unknown setting \"fps\""}, "usage: qv set");
}

TEST(QvUsage, StreamOptionsWithBadValuesAreRefused)
{
    const std::string usage = "usage: qv stream";
    const std::vector<Mistake> mistakes = {
        {{"stream", "--frames"}, "option --frames needs a value"},
        {{"stream", "--frames", "0"}, "--frames needs a positive number"},
        {{"stream", "--frames", "ten"}, "--frames needs a positive number"},
        {{"stream", "--seconds", "-1"}, "--seconds needs a positive number"},
        {{"stream", "--seconds", "inf"}, "--seconds needs a positive number"},
        {{"stream", "--frames", "5", "--seconds", "2"}, "choose --frames or --seconds"},
        {{"stream", "--streams", "depth,heat"}, "unknown stream \"heat\""},
        {{"stream", "--streams", ""}, "--streams needs at least one"},
        {{"stream", "--streams", "depth", "--mask", "1"}, "choose --streams or --mask"},
        {{"stream", "--mask", "0x100"}, "--mask needs the stream bits"},
        {{"stream", "--mask", "0x10"}, "--mask needs the stream bits"},
        {{"stream", "--depth", "640x"}, "--depth needs WIDTHxHEIGHT[@FPS]"},
        {{"stream", "--rgb", "640x480@fast"}, "--rgb needs WIDTHxHEIGHT[@FPS]"},
        {{"stream", "--clock", "lunar"}, "--clock is steady or system"},
        {{"stream", "--processor-output", "both"}, "--processor-output is depth, ir or alternate"},
        {{"stream", "--save-at", "3"}, "--save-at goes with --save DIR"},
        {{"stream", "--save", "/tmp/x", "--save-at", "0"}, "--save-at needs frame numbers"},
        {{"stream", "--config="}, "--config needs a file"},
        {{"stream", "--units", "km"}, "--units is m or mm"},
    };
    for (const Mistake& m : mistakes) expectUsageError(m, usage);
}

TEST(QvUsage, CameraSelectorsThatAreNotWellFormedAreRefused)
{
    for (const std::string command : {"info", "stream", "get"}) {
        std::vector<std::string> head{command};
        if (command == "get") head.push_back("gain");
        const std::string usage = command == "get" ? "usage: qv set" : "usage: qv " + command;
        auto with = [&](std::vector<std::string> tail) {
            std::vector<std::string> args = head;
            args.insert(args.end(), tail.begin(), tail.end());
            return args;
        };
        expectUsageError({with({"--index", "first"}), "--index needs a camera number"}, "");
        expectUsageError({with({"--index", "-1"}), "--index needs a camera number"}, "");
        expectUsageError({with({"--bus", "1"}), "both --bus B and --port-path P"}, "");
        expectUsageError({with({"--port-path", "1.4"}), "both --bus B and --port-path P"}, "");
        expectUsageError({with({"--index", "0", "--serial", "FL30C0001"}), "choose a camera one way only"}, "");
        expectUsageError({with({"--serial"}), "option --serial needs a value"}, usage);
    }
}

TEST(QvUsage, SettingValuesOutsideTheirRangesAreRefused)
{
    const std::vector<Mistake> mistakes = {
        {{"set", "gain", "0"}, "gain (sensor gain, 1..28) must be a whole number from 1 to 28, not \"0\""},
        {{"set", "gain", "29"}, "from 1 to 28, not \"29\""},
        {{"set", "gain", "1.5"}, "not \"1.5\""},
        {{"set", "gain", "0x1d"}, "not \"0x1d\""},
        {{"set", "ae", "256"}, "ae (auto-exposure mode) must be a whole number from 0 to 255"},
        {{"set", "lighting-time", "-1"}, "lighting-time (lighting time) must be a whole number from 0 to 65535"},
        {{"set", "current", "65536"}, "from 0 to 65535"},
        {{"set", "confidence", "x"}, "confidence (depth confidence level) must be a whole number"},
        {{"set", "sd", "300"}, "from 0 to 255"},
        {{"set", "td", "-2"}, "from 0 to 255"},
        {{"set", "tdc", "2"}, "tdc (temperature-drift compensation) must be 0 or 1"},
        {{"set", "fps", "12"}, "fps must be 10, 15, 25 or 30 (Fl30c) or 5, 10, 15, 20, 25 or 30 (Solen), not \"12\""},
        {{"set", "serial", "FL30C 0001"}, "a serial number is 1 to 63 printable characters without blanks"},
        {{"set", "serial", std::string(64, 'S')}, "a serial number is 1 to 63 printable characters"},
    };
    for (const Mistake& m : mistakes) expectUsageError(m, "");
}

TEST(QvUsage, EmulationNeedsAKnownCameraAndCount)
{
    expectUsageError({{"list", "--emulate"}, "--emulate needs a value such as fl30c or fl30c,2"}, "");
    expectUsageError({{"list", "--emulate", "fl30c,0"}, "--emulate takes models with optional counts such as fl30c or fl30c,2 (at most 16 cameras"}, "");
    expectUsageError({{"list", "--emulate=zx81"}, "not \"zx81\""}, "");
}

}  // namespace
