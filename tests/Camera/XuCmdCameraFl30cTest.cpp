#include <gtest/gtest.h>

#include <functional>

#include "FakeCapture.h"
#include "LogCapture.h"
#include "XuCmdCameraFl30c.h"

using orrtest::countLogLines;
using orrtest::FakeCapture;
using orrtest::StdoutCapture;

namespace {

constexpr const char* kSource = "XuCmdCameraFl30c";

class XuCommandTest : public ::testing::Test {
protected:
    FakeCapture capture;
    XuCmdCameraFl30c cmd{&capture, nullptr, QV_CAM_ATTR_USB};
};

}  // namespace

TEST_F(XuCommandTest, WriteAndReadUseTheExtensionUnitTransfer)
{
    ASSERT_EQ(cmd.setLightingTime(1500), 0);
    capture.replyText(0x22, "1500");
    int value = 0;
    ASSERT_EQ(cmd.getLightingTime(value), 0);
    EXPECT_EQ(value, 1500);

    const auto reqs = capture.requests();
    ASSERT_EQ(reqs.size(), 2u);
    EXPECT_EQ(reqs[0].requestType, 0x21);
    EXPECT_EQ(reqs[0].request, 0x22);
    EXPECT_EQ(reqs[0].value, 0x0100);
    EXPECT_EQ(reqs[0].index, 0x0A00);
    EXPECT_EQ(reqs[0].length, 64);
    EXPECT_EQ(reqs[0].timeout, 3000u);
    std::vector<unsigned char> expected(64, 0);
    std::memcpy(expected.data(), "1500", 4);
    EXPECT_EQ(reqs[0].data, expected);  // zero-filled after the text
    EXPECT_EQ(reqs[1].requestType, 0xA1);
    EXPECT_EQ(reqs[1].request, 0x22);
    EXPECT_EQ(reqs[1].length, 64);
}

TEST_F(XuCommandTest, GainIsTwoRegisterTextsOfTheirOwnLength)
{
    StdoutCapture out;
    EXPECT_EQ(cmd.setGain(0), -1);
    EXPECT_EQ(cmd.setGain(29), -1);
    EXPECT_TRUE(capture.requests().empty());
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, "setGain", "gain not in range 1 to 28"), 2);

    ASSERT_EQ(cmd.setGain(1), 0);
    ASSERT_EQ(cmd.setGain(28), 0);
    ASSERT_EQ(cmd.setGain(15), 0);
    const auto reqs = capture.requests();
    ASSERT_EQ(reqs.size(), 6u);
    const char* texts[6] = {"S=C0,R2=3e08,D=03", "S=C0,R2=3e09,D=20", "S=C0,R2=3e08,D=3f",
                            "S=C0,R2=3e09,D=3e", "S=C0,R2=3e08,D=3f", "S=C0,R2=3e09,D=22"};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(reqs[i].request, 0x47);
        EXPECT_EQ(reqs[i].length, 18) << i;  // 17 characters and the terminating zero
        EXPECT_EQ(reqs[i].text(), texts[i]);
        EXPECT_EQ(reqs[i].data.back(), 0);
    }
}

TEST_F(XuCommandTest, FailedGainWriteStopsAtTheFirstRegister)
{
    capture.fail(0x47);
    StdoutCapture out;
    EXPECT_EQ(cmd.setGain(5), -88);
    EXPECT_EQ(capture.requests().size(), 1u);
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "xucmd_write", "write command, ret: -2"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "setGain", "set Gain(G) failed"), 1);
}

TEST_F(XuCommandTest, EachSetterSendsDecimalTextAndNamesItsFailure)
{
    struct Setter {
        const char* name;
        std::function<int()> call;
        uint8_t code;
        const char* text;
        const char* failure;  // null: no line of its own
    };
    const Setter setters[] = {
        {"setHimaxStream", [&] { return cmd.setHimaxStream(2); }, 0x20, "2", nullptr},
        {"setLightingTime", [&] { return cmd.setLightingTime(-7); }, 0x22, "-7", "set LightingTime(T) failed"},
        {"setAeMode", [&] { return cmd.setAeMode(1); }, 0x23, "1", "set AE mode failed"},
        {"setHimaxConfidenceLevel", [&] { return cmd.setHimaxConfidenceLevel(3); }, 0x24, "3",
         "set confidence level failed"},
        {"setCurrentIntensity", [&] { return cmd.setCurrentIntensity(1800); }, 0x36, "1800",
         "set current intensity failed"},
        {"setTemperatureDrifgingCompensation", [&] { return cmd.setTemperatureDrifgingCompensation(true); }, 0x48, "1",
         "set confidence level failed"},
        {"setHimaxTd", [&] { return cmd.setHimaxTd(4); }, 0x51, "4", "set time denoise failed"},
        {"setHimaxSdLevel", [&] { return cmd.setHimaxSdLevel(2); }, 0x52, "2", "set sd  level failed"},
        {"setFrameRate", [&] { return cmd.setFrameRate(30); }, 0x54, "30", nullptr},
    };
    for (const Setter& s : setters) {
        capture.clear();
        ASSERT_EQ(s.call(), 0) << s.name;
        const auto reqs = capture.requests();
        ASSERT_EQ(reqs.size(), 1u) << s.name;
        EXPECT_EQ(reqs[0].request, s.code) << s.name;
        EXPECT_EQ(reqs[0].text(), s.text) << s.name;
        EXPECT_EQ(reqs[0].length, 64) << s.name;
    }
    capture.failAll(-2);
    for (const Setter& s : setters) {
        StdoutCapture out;
        EXPECT_EQ(s.call(), -88) << s.name;
        const std::string text = out.text();
        EXPECT_EQ(orrtest::countAnyLogLines(text), s.failure ? 2 : 1) << s.name << "\n" << text;
        if (s.failure) {
            EXPECT_EQ(countLogLines(text, "ERROR", kSource, s.name, s.failure), 1) << s.name;
        }
    }
}

TEST_F(XuCommandTest, NumericGettersCheckTransferEchoAndNumber)
{
    struct Getter {
        const char* name;
        std::function<int(int&)> call;
        uint8_t code;
        int success;            // result with a good reply
        int transferCode;       // result when the transfer fails
        const char* transferText;
        int echoCode;           // result when the echo is wrong
        const char* echoText;
    };
    const Getter getters[] = {
        {"getHimaxConfidenceLevel", [&](int& v) { return cmd.getHimaxConfidenceLevel(v); }, 0x24, 0, -89,
         "get confidence level failed", -89, "get confidence level failed"},
        {"getHimaxSdLevel", [&](int& v) { return cmd.getHimaxSdLevel(v); }, 0x52, 0, -89, "get sd level failed", -89,
         "get sd failed"},
        {"getHimaxTd", [&](int& v) { return cmd.getHimaxTd(v); }, 0x51, 0, -89, "get td level failed", -89,
         "get td failed"},
        {"getGain", [&](int& v) { return cmd.getGain(v); }, 0x47, 1, -89, "get confidence level failed", -89,
         "get gain failed"},
        {"getCurrentIntensity", [&](int& v) { return cmd.getCurrentIntensity(v); }, 0x36, 0, -89,
         "get current intensity failed", -2, "error get current intensity"},
        {"getItoValue", [&](int& v) { return cmd.getItoValue(v); }, 0x36, 0, -89, "get ito failed", -2,
         "error get ito"},
    };
    for (const Getter& g : getters) {
        capture.clear();
        capture.replyText(g.code, "17");
        int value = 0;
        EXPECT_EQ(g.call(value), g.success) << g.name;
        EXPECT_EQ(value, 17) << g.name;

        capture.reply(g.code, {static_cast<unsigned char>(g.code + 1), '9'});
        {
            StdoutCapture out;
            value = 5;
            EXPECT_EQ(g.call(value), g.echoCode) << g.name;
            EXPECT_EQ(value, 5) << g.name;
            EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, g.name, g.echoText), 1) << g.name;
        }
        capture.fail(g.code);
        {
            StdoutCapture out;
            EXPECT_EQ(g.call(value), g.transferCode) << g.name;
            EXPECT_EQ(value, 5) << g.name;
            EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, g.name, g.transferText), 1) << g.name;
        }
        capture.fail(g.code, 0);  // healthy again for the next getter sharing a code
    }
}

TEST_F(XuCommandTest, LightingTimeAndAeModeOnlyReportAWrongEcho)
{
    capture.reply(0x22, {0x99, '8'});
    capture.reply(0x23, {0x99, '8'});
    int t = 11, ae = 12;
    StdoutCapture out;
    EXPECT_EQ(cmd.getLightingTime(t), 0);
    EXPECT_EQ(cmd.getAeMode(ae), 0);
    EXPECT_EQ(t, 11);
    EXPECT_EQ(ae, 12);
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "getLightingTime", "error getLightingTime"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "getAeMode", "error getAeMode"), 1);
}

TEST_F(XuCommandTest, FirmwareVersionStopsAtTheFirstUnprintableByteAndAt63Characters)
{
    capture.reply(0x27, {0x27, 'F', 'W', ':', '1', 0x01, 'X'});
    std::string v;
    ASSERT_EQ(cmd.getFwVersion(v), 0);
    EXPECT_EQ(v, "FW:1");

    std::vector<unsigned char> full(64, 'a');  // no terminator anywhere
    full[0] = 0x27;
    capture.reply(0x27, full);
    ASSERT_EQ(cmd.getFwVersion(v), 0);
    EXPECT_EQ(v, std::string(63, 'a'));

    capture.reply(0x27, {0x28, 'x'});
    StdoutCapture out;
    EXPECT_EQ(cmd.getFwVersion(v), -2);
    EXPECT_EQ(v, std::string(63, 'a'));
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, "getFwVersion", "error get fw version"), 1);
}

TEST_F(XuCommandTest, SerialNumberTextAndItsChecks)
{
    capture.replyText(0x29, "SN=QV30C0042 trailing");
    std::string sn = "old";
    ASSERT_EQ(cmd.getSn(sn), 0);
    EXPECT_EQ(sn, "QV30C0042");

    capture.replyText(0x29, "garbage");
    sn = "kept";
    EXPECT_EQ(cmd.getSn(sn), 0);
    EXPECT_EQ(sn, "kept");

    std::vector<unsigned char> hostile(64, 'Z');  // "SN=" then no terminator
    hostile[0] = 0x29;
    hostile[1] = 'S', hostile[2] = 'N', hostile[3] = '=';
    capture.reply(0x29, hostile);
    ASSERT_EQ(cmd.getSn(sn), 0);
    EXPECT_EQ(sn, std::string(60, 'Z'));

    capture.reply(0x29, {0x30});
    StdoutCapture out;
    EXPECT_EQ(cmd.getSn(sn), -2);
    capture.fail(0x29);
    EXPECT_EQ(cmd.getSn(sn), -89);
    EXPECT_EQ(cmd.setSn("NEW"), -88);
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "getSn", "error get sn"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "getSn", "get sn failed"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "setSn", "set sn failed"), 1);
}

TEST_F(XuCommandTest, HimaxVersionIsTakenWithoutAnEchoCheck)
{
    capture.reply(0x28, {0x00, 'H', 'X', '2', 0, 'Q'});
    std::string v;
    ASSERT_EQ(cmd.getHimaxVersion(v), 0);
    EXPECT_EQ(v, "HX2");
    capture.fail(0x28, -2);
    StdoutCapture out;
    EXPECT_EQ(cmd.getHimaxVersion(v), -89);
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, "getHimaxVersion", "himax version failed"), 1);
}

TEST_F(XuCommandTest, TemperaturesByDevice)
{
    capture.replyText(0x26, "41.25");
    capture.replyText(0x2C, "-3.5");
    capture.replyText(0x37, "not a number");
    float t = 0;
    EXPECT_EQ(cmd.readTemperature(DEV_TYPE_DEPTH_PROCESSOR, t), 0);
    EXPECT_FLOAT_EQ(t, 41.25f);
    EXPECT_EQ(cmd.readTemperature(DEV_TYPE_PROJECTOR, t), 0);
    EXPECT_FLOAT_EQ(t, -3.5f);
    EXPECT_EQ(cmd.readTemperature(DEV_TYPE_IMAGE_SENSOR, t), -89);
    EXPECT_FLOAT_EQ(t, -3.5f);

    capture.clear();
    StdoutCapture out;
    EXPECT_EQ(cmd.readTemperature(static_cast<DEV_TYPE_E>(3), t), -1);
    EXPECT_TRUE(capture.requests().empty());
    capture.reply(0x26, {0x27, '1'});
    EXPECT_EQ(cmd.readTemperature(DEV_TYPE_DEPTH_PROCESSOR, t), -2);
    capture.fail(0x26);
    EXPECT_EQ(cmd.readTemperature(DEV_TYPE_DEPTH_PROCESSOR, t), -89);
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "readTemperature", "not support device"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "readTemperature", "error get temperature"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "readTemperature", "get temperature failed"), 1);
}

TEST_F(XuCommandTest, MjpegSizeFromTheThirdFieldOfTheFirmwareVersion)
{
    struct Case {
        const char* version;
        int result;
        unsigned w, h;
    } cases[] = {
        {"FL30C:V1:H01:2024", 0, 640, 480}, {"FL30C:V1:L02x", 0, 640, 480}, {"FL30C:V1:H03:x", 0, 640, 360},
        {"FL30C:V1:L04", 0, 640, 360},      {"FL30C:V1:001:x", 0, 1280, 720}, {"FL30C:V1:X99", -1, 1, 2},
        {"FL30C:V1", -1, 1, 2},
    };
    for (const Case& c : cases) {
        capture.replyText(0x27, c.version);
        unsigned w = 1, h = 2;
        StdoutCapture out;
        EXPECT_EQ(cmd.getMjpegSize(w, h), c.result) << c.version;
        EXPECT_EQ(w, c.w) << c.version;
        EXPECT_EQ(h, c.h) << c.version;
        const std::string text = out.text();
        const bool fieldsMissing = std::string(c.version) == "FL30C:V1";
        EXPECT_EQ(countLogLines(text, "INFO", kSource, "getMjpegSize",
                                "mjpeg size:" + std::to_string(c.w) + "x" + std::to_string(c.h)),
                  fieldsMissing ? 0 : 1)
            << c.version;
        if (fieldsMissing) {
            EXPECT_EQ(countLogLines(text, "ERROR", kSource, "getMjpegSize", "can't found info in the fw version string"), 1);
        } else if (c.result != 0) {
            EXPECT_EQ(countLogLines(text, "ERROR", kSource, "getMjpegSize", "get mjpeg from xu command failed"), 1);
        }
    }
}

TEST(XuCommandOverrideTest, MjpegSizeAsksTheModelsOwnVersion)
{
    struct Custom : XuCmdCameraFl30c {
        using XuCmdCameraFl30c::XuCmdCameraFl30c;
        int getFwVersion(std::string& v) override
        {
            v = "X:Y:001";
            return 0;
        }
    };
    FakeCapture capture;
    Custom cmd(&capture, nullptr, QV_CAM_ATTR_USB);
    unsigned w = 0, h = 0;
    EXPECT_EQ(cmd.getMjpegSize(w, h), 0);
    EXPECT_EQ(w, 1280u);
    EXPECT_TRUE(capture.requests().empty());
}

TEST_F(XuCommandTest, MaintenanceCommands)
{
    ASSERT_EQ(cmd.reboot(), 0);
    auto r = capture.requests().at(0);
    EXPECT_EQ(r.request, 0x33);
    EXPECT_EQ(r.data, std::vector<unsigned char>(64, 0));

    StdoutCapture out;
    int size = 0;
    char buffer[4];
    EXPECT_EQ(cmd.getPrivateMaxSize(size), -1);
    EXPECT_EQ(cmd.writePrivateData(buffer, 4, 0), -1);
    EXPECT_EQ(cmd.readPrivateData(buffer, 4, 0), -1);
    CAM_UPGRADE_DEV_S progress{};
    EXPECT_EQ(cmd.upgrade("/tmp/fw.zip", &progress), -1);
    capture.fail(0x33);
    EXPECT_EQ(cmd.reboot(), -88);
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", "ICommand", "getPrivateMaxSize", "not support to getPrivateMaxSize"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", "ICommand", "writePrivateData", "not support to writePrivateData"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", "ICommand", "readPrivateData", "not support to readPrivateData"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", "Upgrade", "upgrade", "upgrade is not supported by this release"), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "upgrade", "upgrade fail."), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "reboot", "send reboot to camera failed"), 1);
}
