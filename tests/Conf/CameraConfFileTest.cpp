// Reading configuration files: plain files through CameraConf, containers through CameraConfAes.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "CameraConfAes.h"
#include "CameraConfResult.h"
#include "ConfTestDocuments.h"
#include "ConfTestFiles.h"
#include "Fl30cCameraConf.h"
#include "LogCapture.h"

using namespace orrindale::sdk;
using orrtest::countLogLines;

namespace {

// Records what the file layer hands to the model reader.
class RecordingReader : public CameraConf {
public:
    int parseConfigParmeter(char const* text, std::string const& moduleName, void*) override
    {
        ++calls;
        received = text;
        receivedModule = moduleName;
        return result;
    }
    int calls = 0;
    std::string received;
    std::string receivedModule;
    int result = 0;
};

Fl30c::fl30c_config_para sentinelRecord()
{
    Fl30c::fl30c_config_para record;
    record.lightingTime = 777;
    record.rotate = 180;
    return record;
}

}  // namespace

using Fl30c::fl30c_config_para;

TEST(CameraConfPlainFile, HandsTheWholeFileToTheModelReaderWithTheDocumentedLines)
{
    const std::string text = "{\"version\":\"v1.0\"}\n\t";
    const std::string path = conftest::writeFile("plain.json", text);
    RecordingReader reader;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(reader.parseConfigFileParameter(path, "QV_CAM_X", nullptr), 0);
    const std::string log = capture.text();
    EXPECT_EQ(reader.calls, 1);
    EXPECT_EQ(reader.received, text);
    EXPECT_EQ(reader.receivedModule, "QV_CAM_X");
    EXPECT_EQ(countLogLines(log, "INFO", "CameraConf", "parseConfigFileParameter", "moduleName:QV_CAM_X"), 1);
    EXPECT_EQ(countLogLines(log, "INFO", "CameraConf", "getDataFromFile", "Parsing config file " + path), 1);
}

TEST(CameraConfPlainFile, UnreadablePathsFailBeforeTheReaderRuns)
{
    const std::string missing = conftest::tmpPath("missing.json");
    const std::string directory = conftest::tmpPath("dir");
    std::filesystem::create_directories(directory);
    RecordingReader reader;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(reader.parseConfigFileParameter(missing, "M", nullptr), CONF_ERR_READ);
    EXPECT_EQ(reader.parseConfigFileParameter(directory, "M", nullptr), CONF_ERR_READ);
    EXPECT_EQ(reader.parseConfigFileParameter("", "M", nullptr), CONF_ERR_READ);
    const std::string log = capture.text();
    EXPECT_EQ(reader.calls, 0);
    EXPECT_EQ(countLogLines(log, "ERROR", "CameraConf", "getDataFromFile", "Can't open config file " + missing), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "CameraConf", "getDataFromFile",
                            "Config file " + directory + " is not a regular file"),
              1);
}

TEST(CameraConfPlainFile, EmptyFileGivesEmptyTextAndOversizedFileIsRefused)
{
    RecordingReader reader;
    reader.received = "unchanged";
    const std::string empty = conftest::writeFile("empty.json", "");
    const std::string huge = conftest::writeFile("huge.json", "");
    std::filesystem::resize_file(huge, CameraConf::kMaxFileSize + 1);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(reader.parseConfigFileParameter(empty, "M", nullptr), 0);
    EXPECT_EQ(reader.received, "");
    std::vector<char> data{'x'};
    EXPECT_EQ(CameraConf::getDataFromFile(huge, data), CONF_ERR_READ);
    EXPECT_EQ(data, std::vector<char>{'x'});
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", "CameraConf", "getDataFromFile",
                            "Config file " + huge + " has 16777217 bytes, more than the 16777216 allowed"),
              1);
}

TEST(CameraConfAesFile, PlaintextLengthDecidesWhereTheTextEnds)
{
    // 20 bytes of text in two blocks: the 12 fill bytes are not blanks, so a reader that
    // looked past L would see them.
    const std::string text = "{\"k\":\"0123456789ab\"}";
    ASSERT_EQ(text.size(), 20u);
    auto reader = std::make_shared<RecordingReader>();
    CameraConfAes aes(reader);
    orrtest::StdoutCapture capture;

    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("short.bin", conftest::container(text, 'Z')), "M", nullptr), 0);
    EXPECT_EQ(reader->received, text);

    // L equal to N keeps every decrypted byte.
    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("full.bin", conftest::container(text, 'Z', 32)), "M", nullptr), 0);
    EXPECT_EQ(reader->received, text + std::string(12, 'Z'));

    // L of zero gives an empty text.
    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("zero.bin", conftest::container(text, 'Z', 0)), "M", nullptr), 0);
    EXPECT_EQ(reader->received, "");
    EXPECT_EQ(reader->receivedModule, "M");
    EXPECT_EQ(reader->calls, 3);
}

TEST(CameraConfAesFile, ReadsAContainerIntoTheModelRecordAndIgnoresTrailingBytes)
{
    const std::string bytes = conftest::container(conftest::kFl30cDocument) + "trailing";
    CameraConfAes aes(std::make_shared<Fl30c::CameraConf>());
    fl30c_config_para record;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("fl30c.bin", bytes), "QV_CAM_FL30C", &record), 0);
    EXPECT_EQ(record.rotate, 270);
    EXPECT_EQ(record.lightingTime, 41);
    EXPECT_TRUE(record.mirror);
}

TEST(CameraConfAesFile, ChecksumOffByOneIsRefusedBeforeDecryptionAndLeavesTheRecordUntouched)
{
    std::string good = conftest::container(conftest::kFl30cDocument);
    for (const int delta : {+1, -1}) {
        std::string bytes = good;
        const uint32_t sum = conftest::byteSum(bytes.substr(12)) + static_cast<uint32_t>(delta);
        bytes.replace(8, 4, conftest::le32(sum));
        CameraConfAes aes(std::make_shared<Fl30c::CameraConf>());
        fl30c_config_para record = sentinelRecord();
        orrtest::StdoutCapture capture;
        EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("bad-sum.bin", bytes), "QV_CAM_FL30C", &record),
                  CONF_ERR_VERIFY);
        const std::string log = capture.text();
        EXPECT_EQ(countLogLines(log, "INFO", "ConfContainer", "decrypt", "File verification failed."), 1);
        EXPECT_EQ(countLogLines(log, "INFO", "ConfJsonDocument", "parse",
                                "configuration protocol Version: v1.x"), 0);
        EXPECT_EQ(record.lightingTime, 777);
        EXPECT_EQ(record.rotate, 180);
        EXPECT_FALSE(record.settingsEnable);
    }
}

TEST(CameraConfAesFile, CipherBytesChangedWithTheChecksumKeptAreRefused)
{
    std::string bytes = conftest::container(conftest::kFl30cDocument);
    bytes[20] = static_cast<char>(bytes[20] + 1);
    auto reader = std::make_shared<RecordingReader>();
    CameraConfAes aes(reader);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("tampered.bin", bytes), "M", nullptr), CONF_ERR_VERIFY);
    EXPECT_EQ(reader->calls, 0);
}

struct HostileContainer {
    const char* name;
    std::string bytes;
    std::string message;
};

void PrintTo(const HostileContainer& c, std::ostream* os) { *os << c.name; }

class CameraConfAesHostile : public testing::TestWithParam<HostileContainer> {};

TEST_P(CameraConfAesHostile, IsRefusedWithOneErrorLineAndNeverReachesTheReader)
{
    const auto& c = GetParam();
    auto reader = std::make_shared<RecordingReader>();
    CameraConfAes aes(reader);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("hostile.bin", c.bytes), "M", nullptr), CONF_ERR_CONTAINER);
    const std::string log = capture.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "ConfContainer", "decrypt", c.message), 1) << log;
    EXPECT_EQ(conftest::countLevel(log, "ERROR"), 1) << log;
    EXPECT_EQ(reader->calls, 0);
}

namespace {
const std::string kBlock(16, 'A');
const std::string kTwoBlocks(32, 'A');
std::vector<HostileContainer> hostileContainers()
{
    using conftest::header;
    return {
        {"Empty", "", "configuration container has 0 bytes, shorter than its 12-byte header"},
        {"ElevenBytes", header(0, 0, 0).substr(0, 11), "configuration container has 11 bytes, shorter than its 12-byte header"},
        {"NegativeCipherLength", header(0, -16, 0) + kBlock, "configuration container cipher length -16 is negative"},
        {"MostNegativeCipherLength", header(0, INT32_MIN, 0) + kBlock,
         "configuration container cipher length -2147483648 is negative"},
        {"CipherLengthNotBlocks", header(4, 17, 0) + kTwoBlocks,
         "configuration container cipher length 17 is not a multiple of 16"},
        {"CipherLengthBeyondFile", header(4, 32, 0) + kBlock,
         "configuration container cipher length 32 exceeds the 16 bytes present"},
        {"HugeCipherLength", header(4, 0x7FFFFFF0, 0) + kBlock,
         "configuration container cipher length 2147483632 exceeds the 16 bytes present"},
        {"CipherLengthWithNothingPresent", header(0, 16, 0),
         "configuration container cipher length 16 exceeds the 0 bytes present"},
        {"NegativePlainLength", header(-1, 16, 0) + kBlock, "configuration container plaintext length -1 is negative"},
        {"PlainLengthBeyondCipher", header(17, 16, 0) + kBlock,
         "configuration container plaintext length 17 exceeds cipher length 16"},
        {"MaxPlainLength", header(INT32_MAX, 16, 0) + kBlock,
         "configuration container plaintext length 2147483647 exceeds cipher length 16"},
    };
}
}  // namespace

INSTANTIATE_TEST_SUITE_P(Headers, CameraConfAesHostile, testing::ValuesIn(hostileContainers()),
                         [](const testing::TestParamInfo<HostileContainer>& info) { return info.param.name; });

TEST(CameraConfAesFile, EmptyContainerAndForeignKeyFailAsUnparsableText)
{
    CameraConfAes aes(std::make_shared<Fl30c::CameraConf>());
    fl30c_config_para record = sentinelRecord();
    // Encrypted with a key that is not the build's: the checksum holds, the text is noise.
    std::string foreign = conftest::container(conftest::kFl30cDocument);
    for (std::size_t i = 12; i < foreign.size(); ++i) foreign[i] = static_cast<char>(foreign[i] ^ 0x5A);
    foreign.replace(8, 4, conftest::le32(conftest::byteSum(foreign.substr(12))));
    orrtest::StdoutCapture capture;
    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("empty.bin", conftest::header(0, 0, 0)), "QV_CAM_FL30C", &record),
              CONF_ERR_JSON);
    EXPECT_EQ(aes.parseConfigFileParameter(conftest::writeFile("foreign.bin", foreign), "QV_CAM_FL30C", &record),
              CONF_ERR_JSON);
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", "ConfJsonDocument", "parse", "Parse json fail."), 2);
    EXPECT_EQ(record.lightingTime, 777);
}

TEST(CameraConfAesFile, WithoutComponentFailsCleanlyAndTextParsingForwards)
{
    CameraConfAes empty(nullptr);
    auto reader = std::make_shared<RecordingReader>();
    reader->result = 5;
    CameraConfAes aes(reader);
    int record = 0;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(empty.parseConfigFileParameter(conftest::writeFile("x.bin", conftest::container("{}")), "M", nullptr),
              CONF_ERR_ARGUMENT);
    EXPECT_EQ(empty.parseConfigParmeter("{}", "M", nullptr), CONF_ERR_ARGUMENT);
    EXPECT_EQ(aes.parseConfigParmeter("{\"a\":1}", "QV", &record), 5);
    EXPECT_EQ(reader->received, "{\"a\":1}");
    EXPECT_EQ(reader->receivedModule, "QV");
}
