// Calls only the Virene A RGB-D camera offers, reaching its command object.
#include "ProjectorCameraCalls.h"
#include "VireneACmd.h"
#include "qv_camera_sdk_virene_a.h"

#define PROJECTOR_CALL(operation)                                                                                      \
    handleCheckedCall<VireneACmd>(handle, QV_CALL_SITE,                                                                \
                                  "This camera is not VIRENE-A camera and does not support this interface !",          \
                                  [&](VireneACmd & cmd) { return operation; })

namespace VireneA {

QV_PROJECTOR_CAMERA_CALLS(QV_VRN_A_)

}  // namespace VireneA
