// Calls only the Ostrel B RGB-D camera offers, reaching its command object.
#include "OstrelBCmd.h"
#include "ProjectorCameraCalls.h"
#include "qv_camera_sdk_ostrel_b.h"

#define PROJECTOR_CALL(operation)                                                                                      \
    handleCheckedCall<OstrelBCmd>(handle, QV_CALL_SITE,                                                                \
                                  "This camera is not OSTREL-B camera and does not support this interface !",          \
                                  [&](OstrelBCmd & cmd) { return operation; })

QV_PROJECTOR_CAMERA_CALLS(QV_OSB_)

int QV_OSB_SetItoValue(void* handle, uint32_t value) { return PROJECTOR_CALL(cmd.setItoValue(value)); }
int QV_OSB_SetDsensePara(void* handle, const DSENSE_PARA_S& para) { return PROJECTOR_CALL(cmd.setDsensePara(para)); }
int QV_OSB_GetDsensePara(void* handle, DSENSE_PARA_S& para) { return PROJECTOR_CALL(cmd.getDsensePara(para)); }
