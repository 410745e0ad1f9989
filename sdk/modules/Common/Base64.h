// RFC 4648 Base64 with the standard alphabet and "=" padding.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orrindale {

class Base64 {
public:
    static std::string encode(const uint8_t* data, size_t size);
    static std::string encode(const std::string& text);
    // false on a character outside the alphabet, misplaced padding or a bad length.
    static bool decode(const std::string& text, std::vector<uint8_t>& out);
};

}  // namespace orrindale
