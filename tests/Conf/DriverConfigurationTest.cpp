// What a driver runs while opening: no file, a plain file or a container, for every model,
// with the drivers' log lines.
#include <gtest/gtest.h>

#include <memory>

#include "CameraConfLoader.h"
#include "CameraConfResult.h"
#include "ConfFileKind.h"
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
const char* const kNoFile = "No configuration file was passed in, use the default configuration parameters.";
}

TEST(DriverConfiguration, NoPathKeepsTheDefaultsForEveryModel)
{
    VireneA::virenea_config_para a;
    VireneB::vireneb_config_para b;
    Fl30c::fl30c_config_para f;
    a.gain = b.gain = f.gain = 7;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(VireneA::getConfigurationParameters(nullptr, a), 0);
    EXPECT_EQ(VireneB::getConfigurationParameters(nullptr, b), 0);
    EXPECT_EQ(Fl30c::getConfigurationParameters(nullptr, f), 0);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "INFO", "VireneACameraConf", "getConfigurationParameters", kNoFile), 1);
    EXPECT_EQ(countLogLines(log, "INFO", "VireneBCameraConf", "getConfigurationParameters", kNoFile), 1);
    EXPECT_EQ(countLogLines(log, "INFO", "Fl30cCameraConf", "getConfigurationParameters", kNoFile), 1);
    EXPECT_EQ(orrtest::countAnyLogLines(log), 3);
    EXPECT_EQ(a.gain + b.gain + f.gain, 21);
}

TEST(DriverConfiguration, PlainFileAndContainerGiveTheSameRecordForEveryModel)
{
    orrtest::StdoutCapture capture;
    for (const bool sealed : {false, true}) {
        const auto file = [&](const char* name, const char* document) {
            return conftest::writeFile(std::string(sealed ? "sealed-" : "plain-") + name,
                                       sealed ? conftest::container(document) : std::string(document));
        };
        VireneA::virenea_config_para a;
        ASSERT_EQ(VireneA::getConfigurationParameters(file("va", conftest::kVireneADocument).c_str(), a), 0);
        EXPECT_EQ(a.currentIntensity, 22);
        VireneB::vireneb_config_para b;
        ASSERT_EQ(VireneB::getConfigurationParameters(file("vb", conftest::kVireneBDocument).c_str(), b), 0);
        EXPECT_EQ(b.dsense.rite_pix_bits, 134);
        Fl30c::fl30c_config_para f;
        ASSERT_EQ(Fl30c::getConfigurationParameters(file("fl", conftest::kFl30cDocument).c_str(), f), 0);
        EXPECT_EQ(f.rotate, 270);
        Zenta::zenta_config_para z;
        ASSERT_EQ(CameraConfLoader::parse(file("z", conftest::kZentaDocument), std::make_shared<Zenta::CameraConf>(),
                                          "QV_CAM_ZENTA", &z),
                  0);
        EXPECT_EQ(z.decimal, 2);
        Solen::solen_config_para s;
        ASSERT_EQ(Solen::parseConfigFile(file("s", conftest::kSolenDocument), "QV_CAM_G700", s), 0);
        EXPECT_EQ(s.hborder, 6);
    }
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "INFO", "VireneACameraConf", "getConfigurationParameters",
                            "Camera parameters are set according to the configuration file."),
              2);
    EXPECT_EQ(countLogLines(log, "INFO", "Fl30cCameraConf", "getConfigurationParameters",
                            "Camera parameters are set according to the configuration file."),
              2);
    EXPECT_EQ(countLogLines(log, "INFO", "CameraConfLoader", "parse",
                            "configuration file " + conftest::tmpPath("sealed-fl") + " is an encrypted container"),
              1);
}

TEST(DriverConfiguration, FailuresAreLoggedWithTheDriversLinesAndKeepTheSettings)
{
    const std::string wrongModel = conftest::writeFile("zenta.json", conftest::kZentaDocument);
    const std::string tampered = [] {
        std::string bytes = conftest::container(conftest::kFl30cDocument);
        bytes[8] = static_cast<char>(bytes[8] + 1);
        return conftest::writeFile("tampered.bin", bytes);
    }();
    VireneA::virenea_config_para a;
    VireneB::vireneb_config_para b;
    Fl30c::fl30c_config_para f;
    a.gain = b.gain = f.gain = 7;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(VireneA::getConfigurationParameters(wrongModel.c_str(), a), CONF_ERR_VERSION);
    EXPECT_EQ(VireneB::getConfigurationParameters(wrongModel.c_str(), b), CONF_ERR_MODULE);
    EXPECT_EQ(Fl30c::getConfigurationParameters(tampered.c_str(), f), CONF_ERR_VERIFY);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "VireneACameraConf", "getConfigurationParameters",
                            "parseConfigFileParameter fail."),
              1);
    EXPECT_EQ(countLogLines(log, "INFO", "VireneBCameraConf", "getConfigurationParameters",
                            "parse the configuration file:" + wrongModel),
              1);
    EXPECT_EQ(countLogLines(log, "ERROR", "VireneBCameraConf", "getConfigurationParameters",
                            "failed to parse the configuration from " + wrongModel + ", ret :-8"),
              1);
    EXPECT_EQ(countLogLines(log, "ERROR", "Fl30cCameraConf", "getConfigurationParameters",
                            "failed to parse the configuration from " + tampered + ", ret :-1, the camera is not opened."),
              1);
    EXPECT_EQ(countLogLines(log, "INFO", "ConfContainer", "decrypt", "File verification failed."), 1);
    EXPECT_EQ(a.gain + b.gain + f.gain, 21);
}

TEST(ConfFileKindDetection, TellsPlainJsonFromContainers)
{
    using K = ConfFileKind;
    const auto kind = [](const std::string& bytes) { return K::ofBytes(bytes.data(), bytes.size()); };
    EXPECT_EQ(kind("{}"), K::PlainJson);
    EXPECT_EQ(kind("\r\n\t  {\"version\": \"v1.0\"}"), K::PlainJson);
    EXPECT_EQ(kind("\xEF\xBB\xBF{}"), K::PlainJson);
    EXPECT_EQ(kind(""), K::Container);
    EXPECT_EQ(kind("[1]"), K::Container);
    EXPECT_EQ(kind("garbage"), K::Container);
    // A container whose plaintext length is 123 starts with '{' (0x7B) and is still a container.
    const std::string text(123, ' ');
    const std::string sealed = conftest::container(text);
    ASSERT_EQ(sealed[0], '{');
    EXPECT_EQ(kind(sealed), K::Container);
    EXPECT_EQ(K::ofFile(conftest::writeFile("brace.bin", sealed)), K::Container);
    EXPECT_EQ(K::ofFile(conftest::writeFile("plain.json", "\n{}")), K::PlainJson);
    EXPECT_EQ(K::ofFile(conftest::tmpPath("missing")), K::PlainJson);
}

TEST(DriverConfiguration, GarbageFileIsReportedAsABrokenContainer)
{
    const std::string path = conftest::writeFile("garbage.bin", "garbage");
    Fl30c::fl30c_config_para f;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(Fl30c::getConfigurationParameters(path.c_str(), f), CONF_ERR_CONTAINER);
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", "ConfContainer", "decrypt",
                            "configuration container has 7 bytes, shorter than its 12-byte header"),
              1);
}
