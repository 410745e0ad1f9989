#include "Base64.h"

namespace orrindale {

namespace {
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int valueOf(char c)
{
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}
}  // namespace

std::string Base64::encode(const uint8_t* data, size_t size)
{
    std::string out;
    if (data == nullptr) return out;
    out.reserve((size + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 3 <= size; i += 3) {
        const uint32_t v = uint32_t(data[i]) << 16 | uint32_t(data[i + 1]) << 8 | data[i + 2];
        out += kAlphabet[v >> 18];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += kAlphabet[v & 63];
    }
    if (size - i == 1) {
        const uint32_t v = uint32_t(data[i]) << 16;
        out += kAlphabet[v >> 18];
        out += kAlphabet[(v >> 12) & 63];
        out += "==";
    } else if (size - i == 2) {
        const uint32_t v = uint32_t(data[i]) << 16 | uint32_t(data[i + 1]) << 8;
        out += kAlphabet[v >> 18];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += '=';
    }
    return out;
}

std::string Base64::encode(const std::string& text)
{
    return encode(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

bool Base64::decode(const std::string& text, std::vector<uint8_t>& out)
{
    out.clear();
    if (text.size() % 4 != 0) return false;
    out.reserve(text.size() / 4 * 3);
    for (size_t i = 0; i < text.size(); i += 4) {
        const bool last = i + 4 == text.size();
        int v[4];
        int pad = 0;
        for (int k = 0; k < 4; ++k) {
            const char c = text[i + k];
            if (c == '=' && last && k >= 2) {
                ++pad;
                v[k] = 0;
                continue;
            }
            if (pad > 0) return false;  // data after padding
            v[k] = valueOf(c);
            if (v[k] < 0) return false;
        }
        const uint32_t word = uint32_t(v[0]) << 18 | uint32_t(v[1]) << 12 | uint32_t(v[2]) << 6 | uint32_t(v[3]);
        out.push_back(uint8_t(word >> 16));
        if (pad < 2) out.push_back(uint8_t(word >> 8));
        if (pad < 1) out.push_back(uint8_t(word));
    }
    return true;
}

}  // namespace orrindale
