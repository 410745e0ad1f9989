// Calls only the Virene B RGB-D camera offers, reaching its command object.
#include "ProjectorCameraCalls.h"
#include "VireneBCmd.h"
#include "qv_camera_sdk_virene_b.h"

#define PROJECTOR_CALL(operation)                                                                                      \
    handleCheckedCall<VireneBCmd>(handle, QV_CALL_SITE,                                                                \
                                  "This camera is not VIRENE-B camera and does not support this interface !",          \
                                  [&](VireneBCmd & cmd) { return operation; })

namespace VireneB {

QV_PROJECTOR_CAMERA_CALLS(QV_VRN_B_)

}  // namespace VireneB
