// Calls only the Virene RGB-D camera offers, reaching its command object.
#include <string>

#include "ModelCallPatterns.h"
#include "VireneCmd.h"
#include "qv_camera_sdk_virene.h"

namespace {

constexpr const char* kNotVirene = "This camera is not VIRENE camera and does not support this interface !";

}  // namespace

#define VIRENE_CALL(operation) \
    handleCheckedCall<VireneCmd>(handle, QV_CALL_SITE, kNotVirene, [&](VireneCmd & cmd) { return operation; })

// The one call of the family that names a failed handle check.
int QV_VRN_SetAnalogGain(void* handle, uint8_t gain)
{
    return handleCheckedCall<VireneCmd>(
        handle, QV_CALL_SITE, kNotVirene, [&](VireneCmd& cmd) { return cmd.setAnalogGain(gain); },
        "QV_SDK handle is not Exist");
}

int QV_VRN_GetAnalogGain(void* handle, uint8_t& gain) { return VIRENE_CALL(cmd.getAnalogGain(gain)); }
int QV_VRN_SetDigtalGain(void* handle, uint8_t gain) { return VIRENE_CALL(cmd.setDigitalGain(gain)); }
int QV_VRN_GetDigtalGain(void* handle, uint8_t& gain) { return VIRENE_CALL(cmd.getDigitalGain(gain)); }
int QV_VRN_SetAeStatus(void* handle, bool enable) { return VIRENE_CALL(cmd.setAeStatus(enable)); }
int QV_VRN_GetAeStatus(void* handle, bool& enable) { return VIRENE_CALL(cmd.getAeStatus(enable)); }
int QV_VRN_SetLightingTime(void* handle, uint8_t time) { return VIRENE_CALL(cmd.setLightingTime(time)); }
int QV_VRN_GetLightingTime(void* handle, uint8_t& time) { return VIRENE_CALL(cmd.getLightingTime(time)); }
int QV_VRN_SetHimaxConfidenceLevel(void* handle, int level) { return VIRENE_CALL(cmd.setHimaxConfidenceLevel(level)); }
int QV_VRN_GetHimaxConfidenceLevel(void* handle, int& level) { return VIRENE_CALL(cmd.getHimaxConfidenceLevel(level)); }
int QV_VRN_SetHimaxTd(void* handle, int value) { return VIRENE_CALL(cmd.setHimaxTd(value)); }
int QV_VRN_GetHimaxTd(void* handle, int& value) { return VIRENE_CALL(cmd.getHimaxTd(value)); }
int QV_VRN_SetHimaxSdLevel(void* handle, int level) { return VIRENE_CALL(cmd.setHimaxSdLevel(level)); }
int QV_VRN_GetHimaxSdLevel(void* handle, int& level) { return VIRENE_CALL(cmd.getHimaxSdLevel(level)); }
int QV_VRN_SetPwmDuty(void* handle, int duty) { return VIRENE_CALL(cmd.setPwmDuty(duty)); }
int QV_VRN_SetFrameRate(void* handle, int fps) { return VIRENE_CALL(cmd.setFrameRate(fps)); }
int QV_VRN_SetExposeTime(void* handle, uint8_t exposure) { return VIRENE_CALL(cmd.setExposeTime(exposure)); }

int QV_VRN_SetSearialNum(void* handle, const char* serial, int length)
{
    const CallSite site = QV_CALL_SITE;
    return VIRENE_CALL(checkBufferArgument(serial, length, site)
                           ? cmd.setSn(std::string(serial, static_cast<size_t>(length)))
                           : -1);
}

int QV_VRN_SetHimaxStream(void* handle, bool enable) { return VIRENE_CALL(cmd.setHimaxStream(enable)); }
