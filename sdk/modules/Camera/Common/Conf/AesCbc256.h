// AES-256 in CBC mode without padding (FIPS-197, SP 800-38A), through OpenSSL's libcrypto.
#pragma once

#include <cstddef>

namespace orrindale::sdk {

class AesCbc256 {
public:
    static constexpr std::size_t kKeySize = 32;
    static constexpr std::size_t kIvSize = 16;
    static constexpr std::size_t kBlockSize = 16;

    // size must be a multiple of kBlockSize; out may equal in. false (with one ERROR line)
    // when the cipher library fails.
    static bool encrypt(const unsigned char* in, std::size_t size, const unsigned char* key,
                        const unsigned char* iv, unsigned char* out);
    static bool decrypt(const unsigned char* in, std::size_t size, const unsigned char* key,
                        const unsigned char* iv, unsigned char* out);

private:
    static bool run(bool encrypting, const unsigned char* in, std::size_t size, const unsigned char* key,
                    const unsigned char* iv, unsigned char* out);
};

}  // namespace orrindale::sdk
