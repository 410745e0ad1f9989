#include "ConfAesKey.h"

#include <cstring>

#include "ConfAesKeyMaterial.h"

namespace orrindale::sdk {

void ConfAesKey::build(unsigned char (&key)[AesCbc256::kKeySize], unsigned char (&iv)[AesCbc256::kIvSize])
{
    const unsigned char keyBytes[AesCbc256::kKeySize] = {ORR_CONF_AES_KEY_BYTES};
    const unsigned char ivBytes[AesCbc256::kIvSize] = {ORR_CONF_AES_IV_BYTES};
    std::memcpy(key, keyBytes, sizeof key);
    std::memcpy(iv, ivBytes, sizeof iv);
}

}  // namespace orrindale::sdk
