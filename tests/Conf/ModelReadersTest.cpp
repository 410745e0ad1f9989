// The model readers: every key into its field, the common document checks, types and ranges,
// and the rule that a record is written only by a parse that succeeds as a whole.
#include <gtest/gtest.h>

#include <string>

#include "CameraConfResult.h"
#include "ConfJsonDocument.h"
#include "ConfTestDocuments.h"
#include "ConfTestFiles.h"
#include "Fl30cCameraConf.h"
#include "LogCapture.h"
#include "SolenConf.h"
#include "VireneACameraConf.h"
#include "VireneBCameraConf.h"
#include "ZentaCameraConf.h"

using namespace orrindale::sdk;
using orrtest::countLogLines;

namespace {

// A VireneB document with the given module body and version.
std::string vireneB(const std::string& body, const std::string& version = "v1.0")
{
    return R"({"version": ")" + version + R"(", "config_version": "t", "QV_CAM_VIRENE_B": )" + body + "}";
}

std::string fl30c(const std::string& body)
{
    return R"({"version": "v1.0", "QV_CAM_FL30C": )" + body + "}";
}

// The depth-processing fields every reader shares.
struct Processing {
    int width, height, factor, newVal, speckle, diff, maxTh;
    bool median, registration, organized;
};

template <typename Record>
void expectProcessing(const Record& r, const Processing& p)
{
    EXPECT_EQ(r.denoiseWidth, p.width);
    EXPECT_EQ(r.denoiseHeight, p.height);
    EXPECT_EQ(r.denoiseFactor, p.factor);
    EXPECT_EQ(r.newVal, p.newVal);
    EXPECT_EQ(r.maxSpeckleSize, p.speckle);
    EXPECT_EQ(r.maxDiff, p.diff);
    EXPECT_EQ(r.maxTh, p.maxTh);
    EXPECT_EQ(r.medianFilterEnable, p.median);
    EXPECT_EQ(r.registrationEnable, p.registration);
    EXPECT_EQ(r.pclOrganized, p.organized);
}

}  // namespace

TEST(VireneBReader, ReadsEveryKeyOfItsTableIntoItsField)
{
    VireneB::CameraConf reader;
    VireneB::vireneb_config_para r;
    orrtest::StdoutCapture capture;
    ASSERT_EQ(reader.parseConfigParmeter(conftest::kVireneBDocument, "QV_CAM_VIRENE_B", &r), 0);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "INFO", "ConfJsonDocument", "parse", "configuration protocol Version: v1.4"), 1);
    EXPECT_EQ(countLogLines(log, "INFO", "ConfJsonDocument", "parse", "configuration Version: vb-7"), 1);
    EXPECT_EQ(countLogLines(log, "INFO", "ConfJsonDocument", "findModule", "found moduleName: QV_CAM_VIRENE_B"), 1);

    EXPECT_TRUE(r.cameraEnable);
    EXPECT_EQ(r.lightingTime, 11);
    EXPECT_EQ(r.currentIntensity, 12);
    EXPECT_EQ(r.gain, 13);
    EXPECT_TRUE(r.denoiseEnable);
    expectProcessing(r, {1280, 960, 3, -5, 150, 25, 3500, true, true, true});
    const auto& d = r.dsense;
    const int32_t dsense[] = {d.disparity_number, d.disparity_offset, d.rho, d.depth_scale, d.isdual, d.isleftcam,
                              d.z, d.sad_size, d.LeftClockwiseRotate, d.LeftCounterClockRotate, d.LeftDownScaling,
                              d.norm_on, d.outdoor_mode, d.pixel_bits, d.RightDownScaling, d.SadWinSIZE,
                              d.stereo_mode, d.warp_on, d.slot0_warp_ratio, d.slot1_warp_ratio,
                              d.slot2_warp_ratio, d.slot3_warp_ratio, d.ftzero, d.LeftDarkThreshold,
                              d.RightDarkThreshold, d.height, d.is_resize, d.width, d.texture_threshold,
                              d.uniqueness_ratio, d.num, d.top, d.left_pix_bits, d.rite_pix_bits,
                              d.default_scale_g, d.sad_offset};
    ASSERT_EQ(std::size(dsense), 36u);
    for (std::size_t i = 0; i < std::size(dsense); ++i)
        EXPECT_EQ(dsense[i], i == 3 ? 4 : static_cast<int32_t>(101 + i)) << "Dsense key #" << i;
}

TEST(VireneBReader, EnableValuesZeroAndTwoReadAsFalseAndTrue)
{
    VireneB::CameraConf reader;
    orrtest::StdoutCapture capture;
    for (const int value : {0, 2}) {
        const std::string v = std::to_string(value);
        VireneB::vireneb_config_para r;
        r.cameraEnable = r.denoiseEnable = r.medianFilterEnable = r.registrationEnable = r.pclOrganized = value == 0;
        ASSERT_EQ(reader.parseConfigParmeter(
                      vireneB(R"({"Camera": {"enable": )" + v + R"(}, "DepthProcess": {"Denoise": {"enable": )" + v +
                              R"(}, "MedianFilter": {"enable": )" + v + R"(}, "Registration": {"enable": )" + v +
                              R"(}}, "PointCloudProcess": {"pcl_organized": {"enable": )" + v + "}}}")
                          .c_str(),
                      "QV_CAM_VIRENE_B", &r),
                  0);
        const bool expected = value != 0;
        EXPECT_EQ(r.cameraEnable, expected);
        EXPECT_EQ(r.denoiseEnable, expected);
        EXPECT_EQ(r.medianFilterEnable, expected);
        EXPECT_EQ(r.registrationEnable, expected);
        EXPECT_EQ(r.pclOrganized, expected);
    }
    VireneB::vireneb_config_para r;
    ASSERT_EQ(reader.parseConfigParmeter(vireneB(R"({"Camera": {"enable": true}})").c_str(), "QV_CAM_VIRENE_B", &r), 0);
    EXPECT_TRUE(r.cameraEnable);
}

TEST(VireneBReader, AbsentKeysKeepTheCallersValues)
{
    VireneB::CameraConf reader;
    VireneB::vireneb_config_para r;
    r.gain = 99;
    r.dsense.rite_pix_bits = 12;
    r.denoiseFactor = 6;
    orrtest::StdoutCapture capture;
    ASSERT_EQ(reader.parseConfigParmeter(vireneB(R"({"Camera": {"T": 5}, "Dsense": {"top": 3}})").c_str(),
                                         "QV_CAM_VIRENE_B", &r),
              0);
    EXPECT_EQ(r.lightingTime, 5);
    EXPECT_EQ(r.dsense.top, 3);
    EXPECT_EQ(r.gain, 99);
    EXPECT_EQ(r.dsense.rite_pix_bits, 12);
    EXPECT_EQ(r.denoiseFactor, 6);
}

TEST(VireneBReader, MissingModuleFailsWithTheDocumentedLine)
{
    VireneB::CameraConf reader;
    VireneB::vireneb_config_para r;
    r.gain = 99;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(reader.parseConfigParmeter(conftest::kVireneADocument, "QV_CAM_VIRENE_B", &r), CONF_ERR_VERSION);
    EXPECT_EQ(reader.parseConfigParmeter(R"({"version": "v1.0", "QV_CAM_VIRENE_A": {}})", "QV_CAM_VIRENE_B", &r),
              CONF_ERR_MODULE);
    // A module that is not an object is as good as missing.
    EXPECT_EQ(reader.parseConfigParmeter(R"({"version": "v1.0", "QV_CAM_VIRENE_B": 3})", "QV_CAM_VIRENE_B", &r),
              CONF_ERR_MODULE);
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", "ConfJsonDocument", "findModule",
                            "can't found module : QV_CAM_VIRENE_B in josn"),
              2);
    EXPECT_EQ(r.gain, 99);
}

TEST(VireneBReader, ProtocolVersionOfAnotherGenerationOrMissingIsRefused)
{
    VireneB::CameraConf reader;
    VireneB::vireneb_config_para r;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(reader.parseConfigParmeter(vireneB("{}", "v2.0").c_str(), "QV_CAM_VIRENE_B", &r), CONF_ERR_VERSION);
    EXPECT_EQ(reader.parseConfigParmeter(vireneB("{}", "v10.1").c_str(), "QV_CAM_VIRENE_B", &r), CONF_ERR_VERSION);
    EXPECT_EQ(reader.parseConfigParmeter(R"({"QV_CAM_VIRENE_B": {}})", "QV_CAM_VIRENE_B", &r), CONF_ERR_VERSION);
    EXPECT_EQ(reader.parseConfigParmeter(R"({"version": 1, "QV_CAM_VIRENE_B": {}})", "QV_CAM_VIRENE_B", &r),
              CONF_ERR_VERSION);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfJsonDocument", "parse",
                            "The protocol version of the configuration file is incompatible with the sdk version ! "),
              2);
    EXPECT_EQ(countLogLines(log, "INFO", "ConfJsonDocument", "parse", "configuration protocol Version: v10.1"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfJsonDocument", "parse", "configuration file has no \"version\" string"), 2);
}

TEST(ConfJsonDocumentVersion, ComparesTheGenerationBeforeTheFirstDot)
{
    EXPECT_TRUE(ConfJsonDocument::isCompatibleVersion("v1.x", "v1.x"));
    EXPECT_TRUE(ConfJsonDocument::isCompatibleVersion("v1.3", "v1.x"));
    EXPECT_TRUE(ConfJsonDocument::isCompatibleVersion("v1", "v1.x"));
    EXPECT_TRUE(ConfJsonDocument::isCompatibleVersion("v2.0.7", "v2.x"));
    EXPECT_FALSE(ConfJsonDocument::isCompatibleVersion("v2.0", "v1.x"));
    EXPECT_FALSE(ConfJsonDocument::isCompatibleVersion("v10.0", "v1.x"));
    EXPECT_FALSE(ConfJsonDocument::isCompatibleVersion("V1.0", "v1.x"));
    EXPECT_FALSE(ConfJsonDocument::isCompatibleVersion("", "v1.x"));
    EXPECT_FALSE(ConfJsonDocument::isCompatibleVersion(".x", ".x"));
}

TEST(VireneBReader, TextThatIsNotOneJsonDocumentIsRefused)
{
    VireneB::CameraConf reader;
    VireneB::vireneb_config_para r;
    orrtest::StdoutCapture capture;
    for (const char* text : {"", "{", "not json", "{} trailing", "{\"version\": \"v1.0\",}"})
        EXPECT_EQ(reader.parseConfigParmeter(text, "QV_CAM_VIRENE_B", &r), CONF_ERR_JSON) << text;
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", "ConfJsonDocument", "parse", "Parse json fail."), 5);
    // Trailing blanks and a NUL-terminated document are fine.
    EXPECT_EQ(reader.parseConfigParmeter(vireneB("{}").append(" \n\t").c_str(), "QV_CAM_VIRENE_B", &r), 0);
}

TEST(VireneBReader, NullArgumentsAreRefused)
{
    VireneB::CameraConf reader;
    VireneB::vireneb_config_para r;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(reader.parseConfigParmeter(nullptr, "QV_CAM_VIRENE_B", &r), CONF_ERR_ARGUMENT);
    EXPECT_EQ(reader.parseConfigParmeter(conftest::kVireneBDocument, "QV_CAM_VIRENE_B", nullptr), CONF_ERR_ARGUMENT);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfJsonDocument", "parse", "config text is nullptr"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfRecordParser", "parseModuleRecord", "output record is nullptr"), 1);
}

struct BadValue {
    const char* name;
    const char* body;
    const char* message;
};

void PrintTo(const BadValue& v, std::ostream* os) { *os << v.name; }

class VireneBBadValue : public testing::TestWithParam<BadValue> {};

TEST_P(VireneBBadValue, FailsTheWholeParseWithOneErrorLine)
{
    VireneB::CameraConf reader;
    VireneB::vireneb_config_para r;
    r.lightingTime = 777;
    r.dsense.depth_scale = 2;
    orrtest::StdoutCapture capture;
    // "T" comes first in the table, so a later bad key must not leave it written.
    EXPECT_EQ(reader.parseConfigParmeter(vireneB(GetParam().body).c_str(), "QV_CAM_VIRENE_B", &r), CONF_ERR_VALUE);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfKey", "read", GetParam().message), 1) << log;
    EXPECT_EQ(conftest::countLevel(log, "ERROR"), 1);
    EXPECT_EQ(r.lightingTime, 777);
    EXPECT_EQ(r.dsense.depth_scale, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, VireneBBadValue,
    testing::Values(
        BadValue{"String", R"({"Camera": {"T": 5, "Gain": "8"}})", "\"Camera/Gain\" must be a whole number of at least 0, got a string"},
        BadValue{"Fraction", R"({"Camera": {"T": 5, "P": 1.5}})", "\"Camera/P\" must be a whole number of at least 0, got 1.5"},
        BadValue{"Negative", R"({"Camera": {"T": -1}})", "\"Camera/T\" must be a whole number of at least 0, got -1"},
        BadValue{"BeyondInt32", R"({"Camera": {"T": 5}, "Dsense": {"rho": 3000000000}})",
                 "\"Dsense/rho\" must be a whole number, got 3e+09"},
        BadValue{"Overflow", R"({"Camera": {"T": 5}, "Dsense": {"z": 1e400}})", "\"Dsense/z\" must be a whole number, got inf"},
        BadValue{"NullSwitch", R"({"Camera": {"T": 5, "enable": null}})",
                 "\"Camera/enable\" must be a whole number or true/false, got null"},
        BadValue{"ArraySwitch", R"({"Camera": {"T": 5}, "PointCloudProcess": {"pcl_organized": {"enable": [1]}}})",
                 "\"PointCloudProcess/pcl_organized/enable\" must be a whole number or true/false, got an array"},
        BadValue{"ObjectNotObject", R"({"Camera": {"T": 5}, "DepthProcess": {"Denoise": 1}})",
                 "\"DepthProcess/Denoise\" must be an object"},
        BadValue{"TopObjectNotObject", R"({"Camera": {"T": 5}, "Dsense": [1, 2]})", "\"Dsense\" must be an object"},
        BadValue{"DepthScale", R"({"Camera": {"T": 5}, "Dsense": {"depth_scale": 16}})",
                 "\"Dsense/depth_scale\" must be a whole number from 0 to 15, got 16"},
        BadValue{"DenoiseFactor", R"({"Camera": {"T": 5}, "DepthProcess": {"Denoise": {"factor": 0}}})",
                 "\"DepthProcess/Denoise/factor\" must be a whole number of at least 1, got 0"},
        BadValue{"NewValBeyond16Bit", R"({"Camera": {"T": 5}, "DepthProcess": {"Denoise": {"newVal": 32768}}})",
                 "\"DepthProcess/Denoise/newVal\" must be a whole number from -32768 to 32767, got 32768"}),
    [](const testing::TestParamInfo<BadValue>& info) { return info.param.name; });

TEST(VireneAReader, ReadsItsKeysUnderProtocolVersionTwo)
{
    VireneA::CameraConf reader;
    VireneA::virenea_config_para r;
    orrtest::StdoutCapture capture;
    ASSERT_EQ(reader.parseConfigParmeter(conftest::kVireneADocument, "QV_CAM_VIRENE_A", &r), 0);
    EXPECT_TRUE(r.cameraEnable);
    EXPECT_EQ(r.aeMode, 2);
    EXPECT_EQ(r.lightingTime, 21);
    EXPECT_EQ(r.currentIntensity, 22);
    EXPECT_EQ(r.gain, 23);
    EXPECT_TRUE(r.denoiseEnable);
    expectProcessing(r, {640, 480, 2, 7, 90, 15, 2500, false, true, false});
    VireneA::virenea_config_para untouched;
    EXPECT_EQ(reader.parseConfigParmeter(R"({"version": "v1.x", "QV_CAM_VIRENE_A": {"Camera": {"T": 1}}})",
                                         "QV_CAM_VIRENE_A", &untouched),
              CONF_ERR_VERSION);
    EXPECT_EQ(untouched.lightingTime, 0);
}

TEST(ZentaReader, BothFormsReadTheRecordAndLogTheAppliedValues)
{
    Zenta::CameraConf reader;
    Zenta::zenta_config_para r;
    orrtest::StdoutCapture capture;
    ASSERT_EQ(reader.parseConfigParmeter(conftest::kZentaDocument, "QV_CAM_ZENTA", r), 0);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "INFO", "ZentaCameraConf", "parseConfigParmeter", "LightingTime: 31"), 1);
    EXPECT_EQ(countLogLines(log, "INFO", "ZentaCameraConf", "parseConfigParmeter", "CurrentIntensity: 32"), 1);
    EXPECT_EQ(countLogLines(log, "INFO", "ZentaCameraConf", "parseConfigParmeter", "Gain: 35"), 1);
    EXPECT_TRUE(r.cameraEnable);
    EXPECT_EQ(r.sdLevel, 33);
    EXPECT_EQ(r.tdLevel, 34);
    EXPECT_TRUE(r.tdc);
    EXPECT_EQ(r.decimal, 2);
    expectProcessing(r, {320, 240, 4, 1, 60, 10, 1500, true, false, true});

    Zenta::zenta_config_para viaPointer;
    orrindale::sdk::CameraConf& base = reader;
    ASSERT_EQ(base.parseConfigParmeter(conftest::kZentaDocument, "QV_CAM_ZENTA", &viaPointer), 0);
    EXPECT_EQ(viaPointer.gain, 35);
    EXPECT_EQ(viaPointer.maxTh, 1500);
}

TEST(ZentaReader, FailedParseLogsNoAppliedValues)
{
    Zenta::CameraConf reader;
    Zenta::zenta_config_para r;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(reader.parseConfigParmeter(R"({"version": "v1.0", "QV_CAM_ZENTA": {"Camera": {"Gain": "x"}}})",
                                         "QV_CAM_ZENTA", r),
              CONF_ERR_VALUE);
    orrindale::sdk::CameraConf& base = reader;
    EXPECT_EQ(base.parseConfigParmeter(conftest::kZentaDocument, "QV_CAM_ZENTA", nullptr), CONF_ERR_ARGUMENT);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "INFO", "ZentaCameraConf", "parseConfigParmeter", "Gain: 0"), 0);
    EXPECT_EQ(countLogLines(log, "ERROR", "ZentaCameraConf", "parseConfigParmeter", "output record is nullptr"), 1);
}

TEST(Fl30cReader, ReadsTheDriversSettingsInDocumentOrder)
{
    Fl30c::CameraConf reader;
    Fl30c::fl30c_config_para r;
    orrtest::StdoutCapture capture;
    ASSERT_EQ(reader.parseConfigParmeter(conftest::kFl30cDocument, "QV_CAM_FL30C", &r), 0);
    EXPECT_TRUE(r.settingsEnable);
    EXPECT_EQ(r.aeMode, 1);
    EXPECT_EQ(r.lightingTime, 41);
    EXPECT_EQ(r.currentIntensity, 42);
    EXPECT_EQ(r.gain, 8);
    EXPECT_EQ(r.confidence, 3);
    EXPECT_EQ(r.sdLevel, 2);
    EXPECT_EQ(r.tdLevel, 5);
    EXPECT_TRUE(r.tdc);
    EXPECT_EQ(r.rotate, 270);
    EXPECT_TRUE(r.mirror);
    EXPECT_TRUE(r.denoiseEnable);
    expectProcessing(r, {1280, 960, 2, 9, 120, 33, 4000, true, true, true});
}

TEST(Fl30cReader, RotateAndGainOutsideWhatTheDriverSupportsAreRefused)
{
    Fl30c::CameraConf reader;
    orrtest::StdoutCapture capture;
    for (const int rotate : {0, 90, 180, 270}) {
        Fl30c::fl30c_config_para r;
        ASSERT_EQ(reader.parseConfigParmeter(fl30c(R"({"Image": {"rotate": )" + std::to_string(rotate) + "}}").c_str(),
                                             "QV_CAM_FL30C", &r),
                  0);
        EXPECT_EQ(r.rotate, rotate);
    }
    for (const int gain : {1, 28}) {
        Fl30c::fl30c_config_para r;
        ASSERT_EQ(reader.parseConfigParmeter(fl30c(R"({"Camera": {"Gain": )" + std::to_string(gain) + "}}").c_str(),
                                             "QV_CAM_FL30C", &r),
                  0);
        EXPECT_EQ(r.gain, gain);
    }
    Fl30c::fl30c_config_para r;
    r.rotate = 180;
    r.gain = 4;
    EXPECT_EQ(reader.parseConfigParmeter(fl30c(R"({"Image": {"rotate": 45}})").c_str(), "QV_CAM_FL30C", &r), CONF_ERR_VALUE);
    EXPECT_EQ(reader.parseConfigParmeter(fl30c(R"({"Image": {"rotate": -90}})").c_str(), "QV_CAM_FL30C", &r), CONF_ERR_VALUE);
    EXPECT_EQ(reader.parseConfigParmeter(fl30c(R"({"Camera": {"Gain": 0}})").c_str(), "QV_CAM_FL30C", &r), CONF_ERR_VALUE);
    EXPECT_EQ(reader.parseConfigParmeter(fl30c(R"({"Camera": {"Gain": 29}})").c_str(), "QV_CAM_FL30C", &r), CONF_ERR_VALUE);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfKey", "read", "\"Image/rotate\" must be one of 0, 90, 180, 270, got 45"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfKey", "read", "\"Image/rotate\" must be one of 0, 90, 180, 270, got -90"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfKey", "read", "\"Camera/Gain\" must be a whole number from 1 to 28, got 0"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfKey", "read", "\"Camera/Gain\" must be a whole number from 1 to 28, got 29"), 1);
    EXPECT_EQ(r.rotate, 180);
    EXPECT_EQ(r.gain, 4);
}

TEST(SolenReader, PicksItsModuleFromTheModuleListByName)
{
    Solen::solen_config_para r;
    orrtest::StdoutCapture capture;
    ASSERT_EQ(Solen::parseConfigText(conftest::kSolenDocument, "QV_CAM_G700", r), 0);
    EXPECT_EQ(countLogLines(capture.text(), "INFO", "ConfJsonDocument", "findModuleInList", "found moduleName: QV_CAM_G700"), 1);
    EXPECT_EQ(r.sdLevel, 51);
    EXPECT_EQ(r.tdLevel, 52);
    EXPECT_EQ(r.gain, 53);
    EXPECT_TRUE(r.denoiseEnable);
    expectProcessing(r, {640, 400, 2, 3, 80, 12, 3000, true, true, true});
    EXPECT_EQ(r.windows, 5);
    EXPECT_EQ(r.wborder, 8);
    EXPECT_EQ(r.hborder, 6);
}

TEST(SolenReader, AbsentOrMalformedModuleListFailsWithTheDocumentedLine)
{
    Solen::solen_config_para r;
    r.windows = 9;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(Solen::parseConfigText(conftest::kSolenDocument, "QV_CAM_GM80", r), CONF_ERR_MODULE);
    EXPECT_EQ(Solen::parseConfigText(R"({"version": "v1.0", "module": {"name": "QV_CAM_GM80"}})", "QV_CAM_GM80", r),
              CONF_ERR_MODULE);
    EXPECT_EQ(Solen::parseConfigText(R"({"version": "v1.0", "module": [1, "QV_CAM_GM80", {"name": 5}]})", "QV_CAM_GM80", r),
              CONF_ERR_MODULE);
    EXPECT_EQ(Solen::parseConfigText(R"({"version": "v1.0", "module": [{"name": "QV_CAM_GM80", "hborder": -2}]})",
                                     "QV_CAM_GM80", r),
              CONF_ERR_VALUE);
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", "ConfJsonDocument", "findModuleInList",
                            "can't found module : QV_CAM_GM80 in josn"),
              3);
    EXPECT_EQ(r.windows, 9);
}
