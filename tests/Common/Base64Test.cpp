#include <gtest/gtest.h>

#include "Base64.h"

using orrindale::Base64;

TEST(Base64Test, Rfc4648Vectors)
{
    const std::pair<const char*, const char*> vectors[] = {
        {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
    };
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(Base64::encode(plain), encoded);
        std::vector<uint8_t> out;
        ASSERT_TRUE(Base64::decode(encoded, out)) << encoded;
        EXPECT_EQ(std::string(out.begin(), out.end()), plain);
    }
}

TEST(Base64Test, AllByteValuesRoundTripWithTheStandardAlphabet)
{
    std::vector<uint8_t> bytes(256);
    for (int i = 0; i < 256; ++i) bytes[i] = static_cast<uint8_t>(i);
    const std::string text = Base64::encode(bytes.data(), bytes.size());
    EXPECT_NE(text.find('+'), std::string::npos);
    EXPECT_NE(text.find('/'), std::string::npos);
    std::vector<uint8_t> back;
    ASSERT_TRUE(Base64::decode(text, back));
    EXPECT_EQ(back, bytes);
}

TEST(Base64Test, MalformedTextIsRefused)
{
    std::vector<uint8_t> out;
    EXPECT_FALSE(Base64::decode("Zg=", out));       // length not a multiple of 4
    EXPECT_FALSE(Base64::decode("Zm9v!A==", out));  // character outside the alphabet
    EXPECT_FALSE(Base64::decode("Z===", out));      // too much padding
    EXPECT_FALSE(Base64::decode("Zg==Zm8=", out));  // padding before the end
    EXPECT_FALSE(Base64::decode("Zm=v", out));      // data after padding
    EXPECT_FALSE(Base64::decode("Zm9v-_==", out));  // URL-safe alphabet is not this one
}
