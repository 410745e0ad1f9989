// The Solen text requests on the wire, over the USB bulk pair and over the tty of the
// serial bridge: the exact bytes the emulated firmware recorded, how its replies are
// judged and read, and the exchange's timing, misbehaving replies and unplugs.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedTty.h"
#include "Eventually.h"
#include "LogCapture.h"
#include "SolenSerialBridge.h"
#include "SolenSerialCtrl.h"
#include "SolenUsbControl.h"
#include "UsbCameraList.h"

using namespace orrindale::emulator;
using orrtest::countLogLines;
using orrtest::StdoutCapture;
using Clock = std::chrono::steady_clock;

namespace {

constexpr const char* kSource = "SolenCommonCtrl";

std::string wire(const std::string& text) { return text + std::string(1, '\0'); }

enum class Line { Bulk, Tty };

class SolenControlWireTest : public EmulatedDeviceTest, public testing::WithParamInterface<Line> {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        if (GetParam() == Line::Bulk) {
            SolenUsbControl* device = bed().addSolenControl(UsbLocation(1, {3}, 7), SolenUsbControlConfig());
            ASSERT_NE(device, nullptr);
            firmware = &device->firmware();
            usb = device->device();
            ctrl = std::make_unique<SolenCommonCtrl>(0x3482, 0x5723, 1, 7);
        } else {
            SolenSerialBridge* bridge = bed().addSolenBridge(UsbLocation(1, {3}, 7), SolenSerialBridgeConfig());
            ASSERT_NE(bridge, nullptr);
            firmware = &bridge->firmware();
            usb = bridge->device();
            tty = bridge->tty();
            // The tty is found through sysfs by the bridge's bus and address.
            ASSERT_EQ(getTtyNodeByUsbPosition(1, 7), tty->node());
            ctrl = std::make_unique<SolenSerialCtrl>(0x1A86, 0x5722, 1, 7, tty->node());
        }
        ASSERT_EQ(ctrl->init(), 0);
    }
    void TearDown() override
    {
        ctrl.reset();
        EmulatedDeviceTest::TearDown();
    }
    // The requests the firmware received since the last call.
    std::vector<std::string> taken()
    {
        std::vector<std::string> requests = firmware->requests();
        firmware->clearRequests();
        return requests;
    }

    SolenFirmware* firmware = nullptr;
    EmulatedUsbDevice* usb = nullptr;
    EmulatedTty* tty = nullptr;
    std::unique_ptr<SolenCommonCtrl> ctrl;
};

struct Step {
    const char* name;
    std::function<int(SolenCommonCtrl&)> run;
    std::vector<std::string> requests;  // as sent, without their zero
};

}  // namespace

// Every key of the table: the request bytes, the firmware's new state read back.
TEST_P(SolenControlWireTest, EveryKeyIsSentAsItsRequestAndReadBack)
{
    int number = -1;
    std::string text;
    CAM_Parameter parameter{};
    const std::vector<Step> steps = {
        {"setAeMode(3)", [](SolenCommonCtrl& c) { return c.setAeMode(3); }, {"ARG WRITE:E=03"}},
        {"getAeMode", [&](SolenCommonCtrl& c) { return c.getAeMode(number); }, {"ARG READ:E="}},
        {"setClMode", [](SolenCommonCtrl& c) { return c.setClMode(7); }, {"ARG WRITE:C=07"}},
        {"setPwmDuty", [](SolenCommonCtrl& c) { return c.setPwmDuty(45); }, {"ARG WRITE:P=45"}},
        {"setLightingTime", [](SolenCommonCtrl& c) { return c.setLightingTime(1500); }, {"ARG WRITE:T=1500"}},
        {"setHimaxSdLevel", [](SolenCommonCtrl& c) { return c.setHimaxSdLevel(4); }, {"ARG WRITE:SD=04"}},
        {"setHimaxTd", [](SolenCommonCtrl& c) { return c.setHimaxTd(0); }, {"ARG WRITE:TD=00"}},
        {"setTemperatureCompensation", [](SolenCommonCtrl& c) { return c.setTemperatureCompensation(false); },
         {"ARG WRITE:TF=0"}},
        {"setFps", [](SolenCommonCtrl& c) { return c.setFps(SOLEN_FPS_30); }, {"ARG WRITE:F=30"}},
        {"setStreamType", [](SolenCommonCtrl& c) { return c.setStreamType(QV_STREAM_DEPTH_IR); }, {"ARG WRITE:S=2"}},
        {"setSn", [](SolenCommonCtrl& c) { return c.setSn("ORR-0042"); }, {"ARG WRITE:SN=ORR-0042"}},
        {"getSn", [&](SolenCommonCtrl& c) { return c.getSn(text); }, {"ARG READ:SN="}},
        {"reboot", [](SolenCommonCtrl& c) { return c.reboot(); }, {"ARG WRITE:RST="}},
        {"setSensorMultiGain", [](SolenCommonCtrl& c) { return c.setSensorMultiGain(0x01A3); },
         {"I2C WRITE:K=3508:01", "I2C WRITE:K=3509:A3"}},
        {"getOriCamParam", [&](SolenCommonCtrl& c) { return c.getOriCamParam(&parameter); }, {"ARG READ:PA="}},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        EXPECT_EQ(step.run(*ctrl), 0);
        std::vector<std::string> expected;
        for (const std::string& request : step.requests) expected.push_back(wire(request));
        EXPECT_EQ(taken(), expected);
    }
    EXPECT_EQ(number, 3);  // "READ OK:3,E": the number at index 8, cut at the comma
    EXPECT_EQ(text, "ORR-0042");
    EXPECT_FLOAT_EQ(parameter.depthFx, 535.125f);
    EXPECT_FLOAT_EQ(parameter.depthCy, 199.5f);
    EXPECT_FLOAT_EQ(parameter.rotation[8], 1.0f);
    const SolenSettings s = firmware->settings();
    EXPECT_EQ(std::vector<int>({s.clMode, s.pwmDuty, s.lightingTime, s.sdLevel, s.tdLevel, s.temperatureCompensation,
                                s.fps, s.streamType, s.reboots}),
              std::vector<int>({7, 45, 1500, 4, 0, 0, 30, 2, 1}));
    EXPECT_EQ(s.sensorRegisters.at(0x3508), 0x01);
    EXPECT_EQ(s.sensorRegisters.at(0x3509), 0xA3);

    int value = 0;
    ASSERT_EQ(ctrl->getLightingTime(value), 0);
    EXPECT_EQ(value, 1500);
    ASSERT_EQ(ctrl->getFwVersion(text), 0);
    EXPECT_EQ(text, "MCU_V1.3.2+ISP_V2.0.7");
    ASSERT_EQ(ctrl->getHimaxVersion(text), 0);
    EXPECT_EQ(text, "HX6.2.1");
}

// "%.2d" widens; "FAIL" anywhere, "ERR" and an empty reply are refused with their line;
// a reply longer than the buffer is read cut; none of it confuses the next exchange.
TEST_P(SolenControlWireTest, RepliesAreJudgedAndTheNextExchangeStaysInStep)
{
    int value = -1;
    {
        StdoutCapture out;
        EXPECT_EQ(ctrl->setAeMode(123), -1);  // the firmware refuses it: "WRITE FAIL:E"
        EXPECT_EQ(taken(), std::vector<std::string>({wire("ARG WRITE:E=123")}));
        firmware->misbehave(SolenMisbehaviour::FailReply);  // "READ OK:1,E,FAIL"
        EXPECT_EQ(ctrl->getAeMode(value), -1);
        firmware->misbehave(SolenMisbehaviour::ErrReply);
        EXPECT_EQ(ctrl->setClMode(1), -1);
        firmware->misbehave(SolenMisbehaviour::EmptyReply);
        EXPECT_EQ(ctrl->getPwmDuty(value), -1);
        const std::string log = out.text();
        const std::string refused = "Read return value failed.Return value is null or failed the string is: ";
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "setAeMode", refused + "WRITE FAIL:E"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "getAeMode", refused + "READ OK:1,E,FAIL"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "setClMode", refused + "ERR:BUSY"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "getPwmDuty", refused), 1);
    }
    EXPECT_EQ(value, -1);
    EXPECT_EQ(firmware->settings().aeMode, 1);

    firmware->misbehave(SolenMisbehaviour::LongReply);  // 160 characters
    EXPECT_EQ(ctrl->getAeMode(value), 0);
    EXPECT_EQ(value, 1);
    std::string serial;
    firmware->misbehave(SolenMisbehaviour::LongReply);
    ASSERT_EQ(ctrl->getSn(serial), 0);
    EXPECT_EQ(serial.size(), 99u - std::string("READ OK:SN=").size());

    {
        StdoutCapture out;
        firmware->misbehave(SolenMisbehaviour::SplitReply);  // "READ O", then "K:60,P" and its zero
        EXPECT_EQ(ctrl->getPwmDuty(value), -1);
        ASSERT_TRUE(tty == nullptr || orrtest::eventually([&] { return tty->idle(); }));
        ASSERT_EQ(ctrl->getPwmDuty(value), 0);
        EXPECT_EQ(value, 60);
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "getPwmDuty", "no number at index 8 of the reply: READ O"), 1);
        EXPECT_EQ(countLogLines(log, "WARN", kSource, "discardStaleInput", "discarded 7 bytes of an earlier reply"),
                  GetParam() == Line::Bulk ? 1 : 0);
    }
}

// -1 waits 100 ms and a positive delay that long before the read; 0 reads at once (twenty
// exchanges take less than two default waits would); silence times out after 1 s.
TEST_P(SolenControlWireTest, ExchangeTimingAndSilence)
{
    char reply[SolenCommonCtrl::kReplySize];
    auto timed = [&](int delayMs, int times) {
        const auto start = Clock::now();
        for (int i = 0; i < times; ++i) EXPECT_EQ(ctrl->response("ARG READ:E=", reply, sizeof reply, delayMs), 0);
        return Clock::now() - start;
    };
    EXPECT_GE(timed(-1, 2), std::chrono::milliseconds(200));
    EXPECT_GE(timed(250, 1), std::chrono::milliseconds(250));
    EXPECT_LT(timed(0, 20), std::chrono::milliseconds(2000));
    EXPECT_STREQ(reply, "READ OK:1,E");

    StdoutCapture out;
    firmware->misbehave(SolenMisbehaviour::Silence);
    const auto start = Clock::now();
    EXPECT_EQ(ctrl->setAeMode(2), -1);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(1100));
    EXPECT_EQ(firmware->settings().aeMode, 2);  // it was done, only the answer is missing
    EXPECT_EQ(ctrl->setAeMode(3), 0);
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "ERROR", kSource, "setAeMode", "response err."), 1);
    if (GetParam() == Line::Bulk) {
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "read", "read fail"), 1);
    } else {
        EXPECT_NE(log.find("select timeout[1]:0,fd:"), std::string::npos);
    }
}

// An unplugged camera answers -1 at once, whatever the line.
TEST_P(SolenControlWireTest, UnpluggedCameraFailsWithoutWaiting)
{
    ASSERT_TRUE(usb->unplug());
    StdoutCapture out;
    int value = 0;
    const auto start = Clock::now();
    EXPECT_EQ(ctrl->getAeMode(value), -1);
    EXPECT_EQ(ctrl->setSn("X1"), -1);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1000));
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, "getAeMode", "response error -1"), 1);
}

INSTANTIATE_TEST_SUITE_P(Lines, SolenControlWireTest, testing::Values(Line::Bulk, Line::Tty),
                         [](const testing::TestParamInfo<Line>& info) {
                             return info.param == Line::Bulk ? std::string("Bulk") : std::string("Tty");
                         });

class SolenControlInitTest : public EmulatedDeviceTest {};

// init names what it could not do: no device, no match, an interface another host holds,
// a tty that is not there.
TEST_F(SolenControlInitTest, InitFailuresNameTheirCause)
{
    StdoutCapture out;
    EXPECT_EQ(SolenCommonCtrl(0x3482, 0x5723, 1, 7).init(), -1);
    ASSERT_NE(bed().addSolenControl(UsbLocation(1, {3}, 7), SolenUsbControlConfig()), nullptr);
    EXPECT_EQ(SolenCommonCtrl(0x3482, 0x5723, 1, 8).init(), -1);
    SolenCommonCtrl first(0x3482, 0x5723, 1, 7);
    EXPECT_EQ(first.init(), 0);
    EXPECT_EQ(SolenCommonCtrl(0x3482, 0x5723, 1, 7).init(), -1);
    EXPECT_EQ(SolenSerialCtrl(0x1A86, 0x5722, 1, 7, "/dev/ttyUSB9").init(), -1);
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "ERROR", kSource, "init", "No usb device."), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", kSource, "init", "Match no device"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", kSource, "init", "## libusb_claim_interface fail"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "SolenSerialCtrl", "init", "open /dev/ttyUSB9 fail: No such file or directory"),
              1);
}
