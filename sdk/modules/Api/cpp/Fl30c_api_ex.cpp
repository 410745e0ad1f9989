// Calls only the Fl30c offers, reaching its extension-unit command object.
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

#include "CameraFl30c.h"
#include "CameraSdkContext.h"
#include "Logger.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"

namespace {

// The driver lookup of every QV_FL30C_ call: open camera, handle mutex, model check.
int withFl30c(void* handle, const CallSite& site, const std::function<int(XuCmdCameraFl30c&)>& op)
{
    try {
        std::unique_lock<std::mutex> lock;
        ICameraOps* driver = nullptr;
        if (int ret = lockOpenDriver(handle, site, lock, driver); ret != 0) return ret;
        auto* fl30c = dynamic_cast<CameraFl30c*>(driver);
        if (fl30c == nullptr) {
            logAt("ERROR", site, "This camera is not FL30C camera and does not support this interface !");
            return -2;
        }
        return op(*fl30c->xuCommand());
    } catch (...) {
        return unexpectedFailure(site);
    }
}

}  // namespace

int QV_FL30C_GetHimaxVersion(void* handle, char* buffer, int capacity)
{
    const CallSite site = QV_CALL_SITE;
    return withFl30c(handle, site, [&](XuCmdCameraFl30c& xu) -> int {
        if (buffer == nullptr) {
            logAt("ERROR", site, "buffer is nullptr");
            return -1;
        }
        std::string version;
        const int ret = xu.getHimaxVersion(version);
        if (ret < 0) {
            logAt("ERROR", site, "get Himax version fail.");
            return ret;
        }
        copyText(version, buffer, capacity);
        return 0;
    });
}

int QV_FL30C_CustomRead(void* handle, unsigned char selector, unsigned char* data, unsigned int length)
{
    const CallSite site = QV_CALL_SITE;
    return withFl30c(handle, site, [&](XuCmdCameraFl30c& xu) -> int {
        if (data == nullptr || length == 0 || length > 0xFFFF) {
            logAt("ERROR", site, "data is nullptr or length out of range");
            return -1;
        }
        return xu.xucmd_read(selector, data, length);
    });
}

int QV_FL30C_CustomWrite(void* handle, unsigned char selector, unsigned char* data, unsigned int length)
{
    const CallSite site = QV_CALL_SITE;
    return withFl30c(handle, site, [&](XuCmdCameraFl30c& xu) -> int {
        if (data == nullptr || length == 0 || length > 0xFFFF) {
            logAt("ERROR", site, "data is nullptr or length out of range");
            return -1;
        }
        return xu.xucmd_write(selector, data, length);
    });
}

#define QV_FL30C_SETTER(name, method)                                                                   \
    int QV_FL30C_##name(void* handle, int value)                                                        \
    {                                                                                                   \
        return withFl30c(handle, QV_CALL_SITE, [&](XuCmdCameraFl30c& xu) { return xu.method(value); }); \
    }
#define QV_FL30C_GETTER(name, method)                                                                   \
    int QV_FL30C_##name(void* handle, int& value)                                                       \
    {                                                                                                   \
        return withFl30c(handle, QV_CALL_SITE, [&](XuCmdCameraFl30c& xu) { return xu.method(value); }); \
    }

QV_FL30C_SETTER(SetGain, setGain)
QV_FL30C_SETTER(SetAeMode, setAeMode)
QV_FL30C_GETTER(GetAeMode, getAeMode)
QV_FL30C_SETTER(SetLightingTime, setLightingTime)
QV_FL30C_GETTER(GetLightingTime, getLightingTime)
QV_FL30C_SETTER(SetCurrentIntensity, setCurrentIntensity)
QV_FL30C_GETTER(GetCurrentIntensity, getCurrentIntensity)
QV_FL30C_SETTER(SetConfidenceLevel, setHimaxConfidenceLevel)
QV_FL30C_GETTER(GetConfidenceLevel, getHimaxConfidenceLevel)
QV_FL30C_SETTER(SetSdLevel, setHimaxSdLevel)
QV_FL30C_GETTER(GetSdLevel, getHimaxSdLevel)
QV_FL30C_SETTER(SetTd, setHimaxTd)
QV_FL30C_GETTER(GetTd, getHimaxTd)

// The command answers 1 for one number read; the call answers 0 like every getter.
int QV_FL30C_GetGain(void* handle, int& gain)
{
    return withFl30c(handle, QV_CALL_SITE, [&](XuCmdCameraFl30c& xu) -> int {
        const int ret = xu.getGain(gain);
        return ret == 1 ? 0 : ret;
    });
}

int QV_FL30C_SetTemperatureDriftCompensation(void* handle, bool enable)
{
    return withFl30c(handle, QV_CALL_SITE,
                     [&](XuCmdCameraFl30c& xu) { return xu.setTemperatureDrifgingCompensation(enable); });
}

int QV_FL30C_SetFrameRate(void* handle, int fps)
{
    const CallSite site = QV_CALL_SITE;
    return withFl30c(handle, site, [&](XuCmdCameraFl30c& xu) -> int {
        if (fps != 10 && fps != 15 && fps != 25 && fps != 30) {
            logAt("ERROR", site, "frame rate ", fps, " not one of 10, 15, 25, 30");
            return -1;
        }
        return xu.setFrameRate(fps);
    });
}

int QV_FL30C_GetTemperature(void* handle, int device, float& celsius)
{
    return withFl30c(handle, QV_CALL_SITE,
                     [&](XuCmdCameraFl30c& xu) { return xu.readTemperature(static_cast<DEV_TYPE_E>(device), celsius); });
}
