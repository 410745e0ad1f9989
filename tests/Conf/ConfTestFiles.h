// Scratch files and hand-built containers for the configuration tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "AesCbc256.h"
#include "ConfAesKey.h"

namespace conftest {

// A path under the build tree's scratch directory, unique per test.
inline std::string tmpPath(const std::string& name)
{
    const char* root = std::getenv("ORR_TEST_TMP");
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    std::string test = std::string(info->test_suite_name()) + "." + info->name();
    for (char& c : test)
        if (c == '/') c = '_';
    return std::string(root != nullptr ? root : "/tmp") + "/conf-" + test + "-" + name;
}

inline std::string writeFile(const std::string& name, const std::string& bytes)
{
    const std::string path = tmpPath(name);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

inline std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::string le32(uint32_t value)
{
    std::string bytes(4, '\0');
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    return bytes;
}

inline std::string header(int32_t plainLength, int32_t cipherLength, uint32_t checksum)
{
    return le32(static_cast<uint32_t>(plainLength)) + le32(static_cast<uint32_t>(cipherLength)) + le32(checksum);
}

inline uint32_t byteSum(const std::string& bytes)
{
    uint32_t sum = 0;
    for (unsigned char b : bytes) sum += b;
    return sum;
}

// Encrypts padded (a whole number of blocks) with the build's key, independently of the
// library's container writer.
inline std::string encryptBlocks(const std::string& padded)
{
    unsigned char key[orrindale::sdk::AesCbc256::kKeySize];
    unsigned char iv[orrindale::sdk::AesCbc256::kIvSize];
    orrindale::sdk::ConfAesKey::build(key, iv);
    std::string cipher(padded.size(), '\0');
    EXPECT_TRUE(orrindale::sdk::AesCbc256::encrypt(reinterpret_cast<const unsigned char*>(padded.data()),
                                                   padded.size(), key, iv,
                                                   reinterpret_cast<unsigned char*>(&cipher[0])));
    return cipher;
}

// A container whose plaintext is text followed by fill bytes up to whole blocks.
inline std::string container(const std::string& text, char fill = ' ', int32_t plainLength = -1)
{
    std::string padded = text;
    padded.append((16 - padded.size() % 16) % 16, fill);
    const std::string cipher = encryptBlocks(padded);
    return header(plainLength < 0 ? static_cast<int32_t>(text.size()) : plainLength,
                  static_cast<int32_t>(cipher.size()), byteSum(cipher)) +
           cipher;
}

// Number of log lines of one level.
inline int countLevel(const std::string& log, const std::string& level)
{
    int n = 0;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);)
        if (line.find("[" + level + "] [") != std::string::npos) ++n;
    return n;
}

}  // namespace conftest
