// The one place that builds the key and IV of the encrypted configuration container.
// Their values are chosen at build time (ORR_CONF_AES_KEY, ORR_CONF_AES_IV).
#pragma once

#include "AesCbc256.h"

namespace orrindale::sdk {

class ConfAesKey {
public:
    static void build(unsigned char (&key)[AesCbc256::kKeySize], unsigned char (&iv)[AesCbc256::kIvSize]);
};

}  // namespace orrindale::sdk
