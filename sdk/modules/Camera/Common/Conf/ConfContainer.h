// The encrypted configuration container: a 12-byte little-endian header (plaintext length L,
// cipher length N, checksum of the N cipher bytes), then N bytes of AES-256-CBC cipher text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "AesCbc256.h"

namespace orrindale::sdk {

class ConfContainer {
public:
    static constexpr std::size_t kHeaderSize = 12;

    struct Header {
        int32_t plainLength = 0;   // L
        int32_t cipherLength = 0;  // N
        uint32_t checksum = 0;
    };

    // false when fewer than kHeaderSize bytes are given.
    static bool readHeader(const char* data, std::size_t size, Header& header);
    // Empty when the header describes the size bytes of a file, otherwise why it does not.
    static std::string headerProblem(const Header& header, std::size_t size);
    // Sum of the bytes as unsigned values, modulo 2^32.
    static uint32_t checksum(const unsigned char* data, std::size_t size);

    // Checks the header against the file, verifies the checksum and decrypts the cipher bytes in
    // place. On success the text is file[kHeaderSize, kHeaderSize + textLength).
    static int decrypt(std::vector<char>& file, const unsigned char (&key)[AesCbc256::kKeySize],
                       const unsigned char (&iv)[AesCbc256::kIvSize], std::size_t& textLength);
    // Builds a container around text, padded with blanks to whole blocks (so the padded
    // plaintext is still the same JSON document).
    static int seal(const std::string& text, const unsigned char (&key)[AesCbc256::kKeySize],
                    const unsigned char (&iv)[AesCbc256::kIvSize], std::vector<char>& container);
};

}  // namespace orrindale::sdk
