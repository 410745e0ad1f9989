// qv-conf's commands: results, messages and exit codes.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "ConfTestDocuments.h"
#include "ConfTestFiles.h"
#include "LogCapture.h"
#include "QvConfCli.h"

namespace {

struct CliRun {
    int code;
    std::string out;
    std::string err;
};

CliRun qvConf(const std::vector<std::string>& args)
{
    std::ostringstream out;
    std::ostringstream err;
    orrtest::StdoutCapture logs;  // the library's log lines are not the tool's output
    QvConfCli cli(out, err);
    const int code = cli.run(args);
    return {code, out.str(), err.str()};
}

}  // namespace

TEST(QvConfCli, EncryptThenDecryptGivesBackTheDocument)
{
    const std::string in = conftest::writeFile("in.json", conftest::kFl30cDocument);
    const std::string sealed = conftest::tmpPath("out.bin");
    const CliRun encrypted = qvConf({"encrypt", in, sealed});
    EXPECT_EQ(encrypted.code, 0) << encrypted.err;
    EXPECT_EQ(encrypted.err, "qv-conf: wrote " + sealed + " (" +
                                 std::to_string(std::string(conftest::kFl30cDocument).size()) + " bytes of JSON in " +
                                 std::to_string(conftest::readFile(sealed).size() - 12) + " cipher bytes)\n");
    const CliRun decrypted = qvConf({"decrypt", sealed});
    EXPECT_EQ(decrypted.code, 0) << decrypted.err;
    EXPECT_EQ(decrypted.out, std::string(conftest::kFl30cDocument) + "\n");
    EXPECT_EQ(decrypted.err, "");
}

TEST(QvConfCli, EncryptRefusesWhatIsNotJson)
{
    const std::string sealed = conftest::tmpPath("out.bin");
    const std::string broken = conftest::writeFile("broken.json", "{\"version\": ");
    CliRun run = qvConf({"encrypt", broken, sealed});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.err, "qv-conf: " + broken + " is not a valid JSON document; nothing was written\n");
    EXPECT_FALSE(std::filesystem::exists(sealed));

    const std::string already = conftest::writeFile("already.bin", conftest::container(conftest::kFl30cDocument));
    run = qvConf({"encrypt", already, sealed});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.err, "qv-conf: " + already + " is already an encrypted container; nothing was written\n");

    const std::string withNul = conftest::writeFile("nul.json", std::string("{}\0{", 4));
    EXPECT_EQ(qvConf({"encrypt", withNul, sealed}).code, 1);
    const std::string missing = conftest::tmpPath("missing.json");
    run = qvConf({"encrypt", missing, sealed});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.err, "qv-conf: cannot open " + missing + "\n");
    EXPECT_FALSE(std::filesystem::exists(sealed));
}

TEST(QvConfCli, DecryptExplainsWhyItCannot)
{
    const std::string plain = conftest::writeFile("plain.json", conftest::kFl30cDocument);
    CliRun run = qvConf({"decrypt", plain});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qv-conf: " + plain + " is plain JSON, not an encrypted container\n");

    std::string bytes = conftest::container(conftest::kFl30cDocument);
    bytes[8] = static_cast<char>(bytes[8] ^ 1);
    const std::string tampered = conftest::writeFile("tampered.bin", bytes);
    run = qvConf({"decrypt", tampered});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.err, "qv-conf: cannot decrypt " + tampered + ": the container's checksum does not match its contents\n");

    const std::string truncated = conftest::writeFile("truncated.bin", conftest::container(conftest::kFl30cDocument).substr(0, 40));
    run = qvConf({"decrypt", truncated});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.err, "qv-conf: cannot decrypt " + truncated + ": the container's header does not fit the file\n");

    std::string noise = conftest::container("{}");
    for (std::size_t i = 12; i < noise.size(); ++i) noise[i] = static_cast<char>(noise[i] ^ 0x33);
    noise.replace(8, 4, conftest::le32(conftest::byteSum(noise.substr(12))));
    const std::string foreign = conftest::writeFile("foreign.bin", noise);
    run = qvConf({"decrypt", foreign});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qv-conf: " + foreign + " decrypts to something that is not JSON (was it encrypted with another key?)\n");
}

TEST(QvConfCli, CheckPrintsTheRecordTheDriverWouldApply)
{
    const std::string sealed = conftest::writeFile("fl.bin", conftest::container(conftest::kFl30cDocument));
    const CliRun run = qvConf({"check", sealed, "--module", "QV_CAM_FL30C"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out.rfind("QV_CAM_FL30C settings from " + sealed + ":\n  Camera/enable = true\n  Camera/AE = 1\n", 0), 0u)
        << run.out;
    EXPECT_NE(run.out.find("\n  Image/rotate = 270\n"), std::string::npos);
    EXPECT_NE(run.out.find("\n  PointCloudProcess/pcl_organized/enable = true\n"), std::string::npos);

    const std::string solen = conftest::writeFile("solen.json", conftest::kSolenDocument);
    const CliRun solenRun = qvConf({"check", "--module", "QV_CAM_G700", solen});
    EXPECT_EQ(solenRun.code, 0) << solenRun.err;
    EXPECT_NE(solenRun.out.find("\n  hborder = 6\n"), std::string::npos);
}

TEST(QvConfCli, CheckReportsTheReadersError)
{
    const std::string bad = conftest::writeFile(
        "bad.json", R"({"version": "v1.0", "QV_CAM_FL30C": {"Image": {"rotate": 45}}})");
    CliRun run = qvConf({"check", bad, "--module", "QV_CAM_FL30C"});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qv-conf: " + bad +
                           " is not accepted for QV_CAM_FL30C: a key has the wrong type or an out-of-range value "
                           "(code -9); a camera given this file does not open\n");
    run = qvConf({"check", bad, "--module", "QV_CAM_VIRENE_B"});
    EXPECT_EQ(run.code, 1);
    EXPECT_NE(run.err.find("the document has no object for this module (code -8)"), std::string::npos);
}

TEST(QvConfCli, UsageErrorsExitWithTwo)
{
    for (const auto& args : std::vector<std::vector<std::string>>{
             {}, {"frobnicate"}, {"encrypt", "a"}, {"decrypt"}, {"decrypt", "a", "b"}, {"check", "a"},
             {"check", "--module", "QV_CAM_FL30C"}, {"check", "a", "--module"}, {"check", "a", "b", "--module", "M"}}) {
        const CliRun run = qvConf(args);
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.err.find("usage:\n  qv-conf encrypt IN.json OUT.bin"), std::string::npos);
    }
    const CliRun unknown = qvConf({"check", "x.json", "--module", "QV_CAM_NOPE"});
    EXPECT_EQ(unknown.code, 2);
    EXPECT_EQ(unknown.err,
              "qv-conf: unknown module \"QV_CAM_NOPE\"; known modules: QV_CAM_VIRENE_A QV_CAM_VIRENE_B QV_CAM_ZENTA "
              "QV_CAM_FL30C QV_CAM_FL30 QV_CAM_FL30V QV_CAM_G700 QV_CAM_GM80\n");
    const CliRun help = qvConf({"--help"});
    EXPECT_EQ(help.code, 0);
}
