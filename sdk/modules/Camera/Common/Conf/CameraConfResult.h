// Result codes of the configuration readers: 0 success, a negative value says what failed.
#pragma once

#include <cstdint>

namespace orrindale::sdk {

enum CameraConfResult : int32_t {
    CONF_OK = 0,
    CONF_ERR_VERIFY = -1,     // container checksum does not match its cipher bytes
    CONF_ERR_ARGUMENT = -2,   // null text or record, empty path or module name, no component
    CONF_ERR_READ = -3,       // file missing, unreadable or too large
    CONF_ERR_CONTAINER = -4,  // container header inconsistent with the file
    CONF_ERR_CIPHER = -5,    // the cipher library failed
    CONF_ERR_JSON = -6,       // text is not one JSON document
    CONF_ERR_VERSION = -7,    // "version" missing or of another protocol generation
    CONF_ERR_MODULE = -8,     // no object for the module
    CONF_ERR_VALUE = -9,      // a key has the wrong type or a value out of range
};

// One short sentence for a result code, for tools and messages to people.
const char* cameraConfResultText(int result);

}  // namespace orrindale::sdk
