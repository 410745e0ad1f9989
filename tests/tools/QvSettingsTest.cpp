// qv set and qv get against an emulated Fl30c in this process: a value outside its
// range never reaches the camera, a good one does and reads back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "QvProcess.h"

using namespace orrindale::emulator;
using qvtest::contains;
using qvtest::Outcome;
using qvtest::runQv;

namespace {

class QvSettings : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        camera = bed().addFl30c(UsbLocation(1, {1}, 2));
        ASSERT_NE(camera, nullptr);
    }
    // The extension-unit writes (class requests to the interface, host to device) the camera received.
    std::vector<ControlRecord> writes() const
    {
        std::vector<ControlRecord> found;
        for (const ControlRecord& r : camera->commandRecord())
            if (r.setup.requestType == 0x21) found.push_back(r);
        return found;
    }
    static std::string text(const ControlRecord& r) { return std::string(reinterpret_cast<const char*>(r.data.data())); }

    EmulatedFl30c* camera = nullptr;
};

TEST_F(QvSettings, ValuesOutsideTheirRangesNeverReachTheCamera)
{
    const std::vector<std::vector<std::string>> refused = {
        {"gain", "0"},          {"gain", "29"},         {"gain", "-3"},     {"ae", "256"},
        {"lighting-time", "-1"}, {"current", "70000"},  {"confidence", "x"}, {"sd", "256"},
        {"td", "1e3"},          {"tdc", "2"},           {"fps", "20"},      {"fps", "60"},
        {"serial", std::string(64, 'S')}, {"serial", "TWO WORDS"},
    };
    const Fl30cSettings before = camera->settings();
    for (const auto& setting : refused) {
        const Outcome r = runQv({"set", setting[0], setting[1], "--quiet"});
        EXPECT_EQ(r.status, 2) << setting[0] << " " << setting[1] << "\n" << r.both();
        EXPECT_EQ(r.out, "");
    }
    EXPECT_TRUE(writes().empty()) << writes().size() << " commands were written, the first "
                                  << int(writes().front().setup.request);
    const Fl30cSettings after = camera->settings();
    EXPECT_EQ(after.gainCoarse, before.gainCoarse);
    EXPECT_EQ(after.gainFine, before.gainFine);
    EXPECT_EQ(after.frameRate, before.frameRate);
    EXPECT_EQ(after.serialNumber, before.serialNumber);
    EXPECT_EQ(after.aeMode, before.aeMode);
}

TEST_F(QvSettings, GoodValuesReachTheCameraAndReadBack)
{
    struct Case {
        std::string name, value;
        int (*stored)(const Fl30cSettings&);
    };
    const std::vector<Case> cases = {
        {"ae", "0", [](const Fl30cSettings& s) { return s.aeMode; }},
        {"lighting-time", "1500", [](const Fl30cSettings& s) { return s.lightingTime; }},
        {"current", "7", [](const Fl30cSettings& s) { return s.currentIntensity; }},
        {"confidence", "2", [](const Fl30cSettings& s) { return s.confidenceLevel; }},
        {"sd", "4", [](const Fl30cSettings& s) { return s.spatialDenoise; }},
        {"td", "0", [](const Fl30cSettings& s) { return s.temporalDenoise; }},
        {"gain", "12", [](const Fl30cSettings& s) { return Fl30cCommandSet::gainOf(s.gainCoarse, s.gainFine); }},
    };
    for (const Case& c : cases) {
        const Outcome set = runQv({"set", c.name, c.value, "--quiet"});
        EXPECT_EQ(set.status, 0) << c.name << "\n" << set.both();
        EXPECT_EQ(set.out, c.name + " = " + c.value + "\n");
        EXPECT_EQ(c.stored(camera->settings()), std::stoi(c.value)) << c.name;
        const Outcome get = runQv({"get", c.name, "--quiet"});
        EXPECT_EQ(get.status, 0) << c.name << "\n" << get.both();
        EXPECT_EQ(get.out, c.name + " = " + c.value + "\n");
    }
    // ITO is the current intensity under another name.
    EXPECT_EQ(runQv({"get", "ito", "--quiet"}).out, "ito = 7\n");
}

TEST_F(QvSettings, WriteOnlySettingsReachTheCamera)
{
    const Outcome fps = runQv({"set", "fps", "25", "--quiet"});
    EXPECT_EQ(fps.status, 0) << fps.both();
    EXPECT_EQ(camera->settings().frameRate, 25);
    ASSERT_FALSE(writes().empty());
    EXPECT_EQ(writes().back().setup.request, 0x54);
    EXPECT_EQ(text(writes().back()), "25");

    const Outcome tdc = runQv({"set", "tdc", "0", "--quiet"});
    EXPECT_EQ(tdc.status, 0) << tdc.both();
    EXPECT_EQ(camera->settings().temperatureDrift, 0);

    const Outcome serial = runQv({"set", "serial", "FL30C-0042", "--quiet"});
    EXPECT_EQ(serial.status, 0) << serial.both();
    EXPECT_EQ(camera->settings().serialNumber, "FL30C-0042");
    EXPECT_EQ(runQv({"get", "serial", "--quiet"}).out, "serial = FL30C-0042\n");
    // The new serial number selects the camera.
    EXPECT_EQ(runQv({"get", "gain", "--serial", "FL30C-0042", "--quiet"}).status, 0);
}

TEST_F(QvSettings, NumbersWithALeadingZeroAreDecimal)
{
    const Outcome r = runQv({"set", "gain", "010", "--quiet"});
    EXPECT_EQ(r.status, 0) << r.both();
    EXPECT_EQ(Fl30cCommandSet::gainOf(camera->settings().gainCoarse, camera->settings().gainFine), 10);
    EXPECT_EQ(runQv({"set", "lighting-time", "0x10", "--quiet"}).status, 0);
    EXPECT_EQ(camera->settings().lightingTime, 16);
}

TEST_F(QvSettings, ReadOnlyValuesComeFromTheCamera)
{
    camera->setTemperature(1, 50.5f);
    camera->setFirmwareVersion("FL30C:V1.0.9:H01:20250101");
    camera->setHimaxVersion("HX2.2.0");
    const Outcome t = runQv({"get", "temperature", "--quiet"});
    EXPECT_EQ(t.status, 0) << t.both();
    EXPECT_EQ(t.out,
              "temperature depth processor  41.25 C\n"
              "temperature projector        50.50 C\n"
              "temperature image sensor     45.75 C\n");
    EXPECT_EQ(runQv({"get", "firmware", "--quiet"}).out, "firmware = FL30C:V1.0.9:H01:20250101\n");
    EXPECT_EQ(runQv({"get", "himax", "--quiet"}).out, "himax = HX2.2.0\n");
}

TEST_F(QvSettings, ACommandTheCameraRefusesFailsWithItsReason)
{
    camera->stallCommand(0x47);
    const Outcome set = runQv({"set", "gain", "5", "--quiet"});
    EXPECT_EQ(set.status, 1);
    EXPECT_EQ(set.out, "");
    EXPECT_TRUE(contains(set.err, "qv set: gain failed (code -88: the command could not be sent)")) << set.both();
    const Outcome get = runQv({"get", "gain", "--quiet"});
    EXPECT_EQ(get.status, 1);
    EXPECT_TRUE(contains(get.err, "qv get: gain failed (code -89: no valid answer)")) << get.both();
}

}  // namespace
