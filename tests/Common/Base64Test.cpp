#include <gtest/gtest.h>

#include "Base64.h"

using orrindale::Base64;

TEST(Base64, EncodesAndDecodesTheStandardAlphabetAndRefusesMalformedText)
{
    const std::pair<const char*, const char*> vectors[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"foobar", "Zm9vYmFy"},
        {"\xfb\xff\xbf", "+/+/"}};
    std::vector<uint8_t> out;
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(Base64::encode(plain), encoded);
        ASSERT_TRUE(Base64::decode(encoded, out)) << encoded;
        EXPECT_EQ(std::string(out.begin(), out.end()), plain);
    }
    // Length, alphabet, too much padding, padding inside, data after padding, URL-safe.
    for (const char* bad : {"Zg=", "Zm9v!A==", "Z===", "Zg==Zm8=", "Zm=v", "Zm9v-_=="})
        EXPECT_FALSE(Base64::decode(bad, out)) << bad;
}
