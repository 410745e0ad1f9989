// Calls only the Selvar A ToF camera offers, reaching its command object.
#include <string>

#include "SelvarACmd.h"
#include "SelvarCalls.h"
#include "qv_camera_sdk_selvar_a.h"

namespace {

constexpr const char* kNotSelvarA = "This camera is not SELVAR-A camera and does not support this interface !";

}  // namespace

#define SELVAR_CALL(failure, operation)                                                                 \
    modelCheckedCall<SelvarACmd>(handle, QV_CALL_SITE, CAMERA_MODEL_SELVAR_A, kNotSelvarA, failure, \
                                 [&](SelvarACmd & cmd) { return operation; })

QV_SELVAR_CALLS(QV_SA_)

int QV_SA_SetSerialNumber(void* handle, const char* serial, int length)
{
    const CallSite site = QV_CALL_SITE;
    return SELVAR_CALL("set serial number fail.", checkBufferArgument(serial, length, site)
                                                      ? cmd.setSn(std::string(serial, static_cast<size_t>(length)))
                                                      : -1);
}

int QV_SA_DisableWriteProtect(void* handle) { return SELVAR_CALL("set write protect fail.", cmd.setWriteProtect(false)); }
int QV_SA_EnableWriteProtect(void* handle) { return SELVAR_CALL("set write protect fail.", cmd.setWriteProtect(true)); }
