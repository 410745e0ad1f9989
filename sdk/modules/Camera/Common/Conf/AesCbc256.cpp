#include "AesCbc256.h"

#include <openssl/evp.h>

#include <climits>
#include <memory>

#include "Logger.h"

namespace orrindale::sdk {

bool AesCbc256::encrypt(const unsigned char* in, std::size_t size, const unsigned char* key,
                        const unsigned char* iv, unsigned char* out)
{
    return run(true, in, size, key, iv, out);
}

bool AesCbc256::decrypt(const unsigned char* in, std::size_t size, const unsigned char* key,
                        const unsigned char* iv, unsigned char* out)
{
    return run(false, in, size, key, iv, out);
}

bool AesCbc256::run(bool encrypting, const unsigned char* in, std::size_t size, const unsigned char* key,
                    const unsigned char* iv, unsigned char* out)
{
    if (size % kBlockSize != 0 || size > static_cast<std::size_t>(INT_MAX) || key == nullptr || iv == nullptr ||
        (size > 0 && (in == nullptr || out == nullptr))) {
        QV_LOGE("AES-256-CBC needs whole 16-byte blocks, a key and an IV; got ", size, " bytes");
        return false;
    }
    if (size == 0) return true;
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> ctx(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    int written = 0;
    int finalWritten = 0;
    // Padding is off: the container's length field, not the padding, says where the text ends.
    const bool ok = ctx && EVP_CipherInit_ex(ctx.get(), EVP_aes_256_cbc(), nullptr, key, iv, encrypting ? 1 : 0) == 1 &&
                    EVP_CIPHER_CTX_set_padding(ctx.get(), 0) == 1 &&
                    EVP_CipherUpdate(ctx.get(), out, &written, in, static_cast<int>(size)) == 1 &&
                    EVP_CipherFinal_ex(ctx.get(), out + written, &finalWritten) == 1 &&
                    static_cast<std::size_t>(written) + static_cast<std::size_t>(finalWritten) == size;
    if (!ok) QV_LOGE("AES-256-CBC ", encrypting ? "encryption" : "decryption", " failed");
    return ok;
}

}  // namespace orrindale::sdk
