#include "CameraConfResult.h"

namespace orrindale::sdk {

const char* cameraConfResultText(int result)
{
    switch (result) {
    case CONF_OK: return "success";
    case CONF_ERR_VERIFY: return "the container's checksum does not match its contents";
    case CONF_ERR_ARGUMENT: return "invalid argument";
    case CONF_ERR_READ: return "the file cannot be read";
    case CONF_ERR_CONTAINER: return "the container's header does not fit the file";
    case CONF_ERR_CIPHER: return "the cipher library failed";
    case CONF_ERR_JSON: return "the text is not valid JSON";
    case CONF_ERR_VERSION: return "the configuration protocol version is not supported";
    case CONF_ERR_MODULE: return "the document has no object for this module";
    case CONF_ERR_VALUE: return "a key has the wrong type or an out-of-range value";
    default: return "unknown error";
    }
}

}  // namespace orrindale::sdk
