// Two implementations agree: containers written by qv-conf open with the openssl command line,
// and containers made with the openssl command line open in the library and in qv-conf.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "ConfTestDocuments.h"
#include "ConfTestFiles.h"
#include "Fl30cCameraConf.h"
#include "LogCapture.h"
#include "TargetProgram.h"

using namespace orrindale::sdk;

namespace {

struct Result {
    int code;
    std::string out;
};

Result shell(const std::string& command)
{
    Result result{-1, {}};
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) result.out.append(buffer, n);
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// qv-conf as the shell starts it (under the tests' emulator in a cross build).
std::string tool() { return orrtest::targetCommandLine(QV_CONF_EXE); }

std::string quoted(const std::string& path) { return "'" + path + "'"; }

std::string opensslCipher(const char* direction, bool noPadding)
{
    return std::string(OPENSSL_EXE) + " enc " + direction + " -aes-256-cbc " + (noPadding ? "-nopad " : "") +
           "-K " CONF_AES_KEY_HEX " -iv " CONF_AES_IV_HEX;
}

}  // namespace

TEST(QvConfOpenssl, ToolContainerDecryptsWithOpensslToTheSameJson)
{
    const std::string document = conftest::kVireneBDocument;
    const std::string in = conftest::writeFile("in.json", document);
    const std::string sealed = conftest::tmpPath("out.bin");
    ASSERT_EQ(shell(tool() + " encrypt " + quoted(in) + " " + quoted(sealed) + " 2>&1").code, 0);

    const std::string container = conftest::readFile(sealed);
    ASSERT_GE(container.size(), 12u);
    const std::string cipher = container.substr(12);
    EXPECT_EQ(container.substr(0, 12), conftest::header(static_cast<int32_t>(document.size()),
                                                        static_cast<int32_t>(cipher.size()), conftest::byteSum(cipher)));
    const std::string cipherPath = conftest::writeFile("cipher.raw", cipher);
    const Result plain = shell(opensslCipher("-d", true) + " -in " + quoted(cipherPath));
    ASSERT_EQ(plain.code, 0);
    ASSERT_EQ(plain.out.size(), cipher.size());
    EXPECT_EQ(plain.out.substr(0, document.size()), document);
    EXPECT_EQ(plain.out.substr(document.size()), std::string(cipher.size() - document.size(), ' '));
}

TEST(QvConfOpenssl, OpensslContainersAreReadByTheLibraryAndTheTool)
{
    const std::string document = conftest::kFl30cDocument;
    const std::string in = conftest::writeFile("in.json", document);
    // With openssl's own block padding (not blanks), so only the length field can end the text;
    // and without padding, over text the test pads with blanks.
    const std::string blankPadded =
        conftest::writeFile("padded.json", document + std::string((16 - document.size() % 16) % 16, ' '));
    for (const bool noPadding : {false, true}) {
        const Result cipher =
            shell(opensslCipher("-e", noPadding) + " -in " + quoted(noPadding ? blankPadded : in));
        ASSERT_EQ(cipher.code, 0);
        ASSERT_EQ(cipher.out.size() % 16, 0u);
        const std::string path = conftest::writeFile(
            noPadding ? "nopad.bin" : "pkcs.bin",
            conftest::header(static_cast<int32_t>(document.size()), static_cast<int32_t>(cipher.out.size()),
                             conftest::byteSum(cipher.out)) +
                cipher.out);

        Fl30c::fl30c_config_para record;
        {
            orrtest::StdoutCapture capture;
            ASSERT_EQ(Fl30c::getConfigurationParameters(path.c_str(), record), 0);
        }
        EXPECT_EQ(record.rotate, 270);
        EXPECT_EQ(record.maxTh, 4000);

        const Result decrypted = shell(tool() + " decrypt " + quoted(path));
        EXPECT_EQ(decrypted.code, 0);
        EXPECT_EQ(decrypted.out, document + "\n");
    }
}

TEST(QvConfOpenssl, ToolProcessExitCodes)
{
    EXPECT_EQ(shell(tool() + " 2>/dev/null").code, 2);
    EXPECT_EQ(shell(tool() + " decrypt " + quoted(conftest::tmpPath("missing")) + " 2>/dev/null").code, 1);
    const std::string in = conftest::writeFile("in.json", conftest::kZentaDocument);
    const Result check = shell(tool() + " check " + quoted(in) + " --module QV_CAM_ZENTA");
    EXPECT_EQ(check.code, 0);
    EXPECT_NE(check.out.find("\n  Camera/Decimal = 2\n"), std::string::npos);
}
