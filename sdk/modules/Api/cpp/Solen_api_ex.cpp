// Calls only the Solen cameras offer, reaching their text-request command object.
#include <functional>
#include <string>

#include "CameraSdkContext.h"
#include "ICameraOps.h"
#include "SolenCommonCtrl.h"
#include "SolenUsbDevMatch.h"
#include "qv_camera_sdk_solen.h"

namespace {

constexpr unsigned kMaxCustomLength = 65536;
constexpr int kMaxCustomTimeoutMs = 60000;

// The driver lookup of every QV_Solen_ call on a camera: open camera, handle mutex, model check.
int withSolen(void* handle, const CallSite& site, const std::function<int(SolenCommonCtrl&)>& op)
{
    try {
        std::unique_lock<std::mutex> lock;
        ICameraOps* driver = nullptr;
        if (int ret = lockOpenDriver(handle, site, lock, driver); ret != 0) return ret;
        auto* solen = dynamic_cast<SolenCommonCtrl*>(driver->cmd());
        if (solen == nullptr) {
            logAt("ERROR", site, "This camera is not Solen camera and does not support this interface !");
            return -2;
        }
        return op(*solen);
    } catch (...) {
        return unexpectedFailure(site);
    }
}

bool customArgumentsValid(const CallSite& site, const void* data, unsigned length, int timeoutMs)
{
    if (data == nullptr || length == 0 || length > kMaxCustomLength || timeoutMs < 1 ||
        timeoutMs > kMaxCustomTimeoutMs) {
        logAt("ERROR", site, "data is nullptr, or length (1..", kMaxCustomLength, ") or time-out (1..",
              kMaxCustomTimeoutMs, " ms) out of range");
        return false;
    }
    return true;
}

}  // namespace

int QV_Solen_GetHimaxVersion(void* handle, char* buffer, int capacity)
{
    const CallSite site = QV_CALL_SITE;
    return withSolen(handle, site, [&](SolenCommonCtrl& solen) -> int {
        if (buffer == nullptr) {
            logAt("ERROR", site, "buffer is nullptr");
            return -1;
        }
        std::string version;
        const int ret = solen.getHimaxVersion(version);
        if (ret < 0) {
            logAt("ERROR", site, "get Himax version fail.");
            return ret;
        }
        copyText(version, buffer, capacity);
        return 0;
    });
}

int QV_Solen_CustomWrite(void* handle, const unsigned char* data, unsigned int length, int timeoutMs)
{
    const CallSite site = QV_CALL_SITE;
    return withSolen(handle, site, [&](SolenCommonCtrl& solen) -> int {
        if (!customArgumentsValid(site, data, length, timeoutMs)) return -1;
        solen.discardStaleInput();
        return solen.write(data, length, static_cast<unsigned>(timeoutMs));
    });
}

int QV_Solen_CustomRead(void* handle, unsigned char* data, unsigned int length, int timeoutMs)
{
    const CallSite site = QV_CALL_SITE;
    return withSolen(handle, site, [&](SolenCommonCtrl& solen) -> int {
        if (!customArgumentsValid(site, data, length, timeoutMs)) return -1;
        return solen.read(data, length, static_cast<unsigned>(timeoutMs));
    });
}

int QV_Solen_SetUsbDevMatch(bool match)
{
    setSolenUsbDevMatch(match);
    return 0;
}

#define QV_SOLEN_SETTER(name, method)                                                                  \
    int QV_Solen_##name(void* handle, int value)                                                       \
    {                                                                                                  \
        return withSolen(handle, QV_CALL_SITE, [&](SolenCommonCtrl& solen) { return solen.method(value); }); \
    }
#define QV_SOLEN_GETTER(name, method)                                                                  \
    int QV_Solen_##name(void* handle, int& value)                                                      \
    {                                                                                                  \
        return withSolen(handle, QV_CALL_SITE, [&](SolenCommonCtrl& solen) { return solen.method(value); }); \
    }

QV_SOLEN_SETTER(SetAeMode, setAeMode)
QV_SOLEN_GETTER(GetAeMode, getAeMode)
QV_SOLEN_SETTER(SetClMode, setClMode)
QV_SOLEN_GETTER(GetClMode, getClMode)
QV_SOLEN_SETTER(SetPwmDuty, setPwmDuty)
QV_SOLEN_GETTER(GetPwmDuty, getPwmDuty)
QV_SOLEN_SETTER(SetLightingTime, setLightingTime)
QV_SOLEN_GETTER(GetLightingTime, getLightingTime)
QV_SOLEN_SETTER(SetSdLevel, setHimaxSdLevel)
QV_SOLEN_GETTER(GetSdLevel, getHimaxSdLevel)
QV_SOLEN_SETTER(SetTd, setHimaxTd)
QV_SOLEN_GETTER(GetTd, getHimaxTd)

int QV_Solen_SetTemperatureCompensation(void* handle, bool enable)
{
    return withSolen(handle, QV_CALL_SITE,
                     [&](SolenCommonCtrl& solen) { return solen.setTemperatureCompensation(enable); });
}

int QV_Solen_SetFrameRate(void* handle, int fps)
{
    const CallSite site = QV_CALL_SITE;
    return withSolen(handle, site, [&](SolenCommonCtrl& solen) -> int {
        if (fps != 5 && fps != 10 && fps != 15 && fps != 20 && fps != 25 && fps != 30) {
            logAt("ERROR", site, "frame rate ", fps, " not one of 5, 10, 15, 20, 25, 30");
            return -1;
        }
        return solen.setFps(static_cast<SOLEN_FPS_TYPE_E>(fps));
    });
}
