// Calls only the Selvar C ToF camera offers, reaching its command object.
#include "SelvarCalls.h"
#include "qv_camera_sdk_selvar_c.h"

namespace {

constexpr const char* kNotSelvarC = "This camera is not SELVAR-C camera and does not support this interface !";

}  // namespace

#define SELVAR_CALL(failure, operation)                                                                \
    modelCheckedCall<SelvarCmd>(handle, QV_CALL_SITE, CAMERA_MODEL_SELVAR_C, kNotSelvarC, failure, \
                                [&](SelvarCmd & cmd) { return operation; })

QV_SELVAR_CALLS(QV_SC_)

int QV_SC_Reboot(void* handle) { return SELVAR_CALL("set reboot fail.", cmd.reboot()); }
