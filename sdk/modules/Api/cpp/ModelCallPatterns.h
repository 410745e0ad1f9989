// The handle checks of the model-specific call families, one function per checking
// pattern; the members of a family differ only in the command operation they reach.
#pragma once

#include <cstdint>
#include <mutex>

#include "CameraPellam.h"
#include "CameraSdkContext.h"
#include "qv_camera_sdk_api.h"

// The command object of a model's driver, or null for a driver of another model.
template <typename Cmd>
Cmd* commandAs(ICameraOps& driver)
{
    return dynamic_cast<Cmd*>(driver.cmd());
}

// Model-checked (QV_SA_, QV_SC_): the camera's model must be `wanted` (else -2 with
// notThisModel), then its open driver under the handle mutex, then op(command). A
// failure of the command logs `failure` and returns the command's code; success is 0.
template <typename Cmd, typename Op>
int modelCheckedCall(void* handle, const CallSite& site, CAMERA_MODEL_E wanted, const char* notThisModel,
                     const char* failure, Op&& op)
{
    try {
        CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
        if (requireModel(handle, site, model) != 0) return -1;
        if (model != wanted) {
            logAt("ERROR", site, notThisModel);
            return -2;
        }
        std::unique_lock<std::mutex> lock;
        ICameraOps* driver = nullptr;
        if (int ret = lockOpenDriver(handle, site, lock, driver); ret != 0) return ret;
        Cmd* command = commandAs<Cmd>(*driver);
        const int ret = command != nullptr ? op(*command) : -1;
        if (ret >= 0) return 0;
        logAt("ERROR", site, failure);
        return ret;
    } catch (...) {
        return unexpectedFailure(site);
    }
}

// Handle-checked (QV_VRN_, QV_OSB_, QV_MORVIK_, QV_VRN_A_, QV_VRN_B_): the handle check's
// code as it is (with handleMissing logged when given), -101 without a line when the camera
// is not open, -2 with notThisModel for another model; otherwise the command's code as it is.
// The handle mutex is held while the command runs.
template <typename Cmd, typename Op>
int handleCheckedCall(void* handle, const CallSite& site, const char* notThisModel, Op&& op,
                      const char* handleMissing = nullptr)
{
    if (int ret = QV_SDK_IsHandleExist(handle); ret != 0) {
        if (handleMissing != nullptr) logAt("ERROR", site, handleMissing);
        return ret;
    }
    return withCamera(handle, site, [&](CAMERA_HANDLE_S& record) -> int {
        if (record.driver == nullptr) return -101;
        Cmd* command = commandAs<Cmd>(*record.driver);
        if (command == nullptr) {
            logAt("ERROR", site, notThisModel);
            return -2;
        }
        return op(*command);
    });
}

// Index-checked (QV_PD_): the handle check's code as it is, the open camera under the handle
// mutex ("register callback failed, please open camera first", -101), then op(driver, command)
// and its code.
template <typename Op>
int pellamCall(void* handle, const CallSite& site, Op&& op)
{
    if (int ret = QV_SDK_IsHandleExist(handle); ret != 0) return ret;
    return withCamera(handle, site, [&](CAMERA_HANDLE_S& record) -> int {
        if (int ret = requireOpen(&record, site, "register callback failed, please open camera first"); ret != 0)
            return ret;
        auto* pellam = dynamic_cast<CameraPellam*>(record.driver);
        PellamCmd* command = pellam != nullptr ? commandAs<PellamCmd>(*pellam) : nullptr;
        if (command == nullptr) {
            logAt("ERROR", site, "This camera is not PELLAM camera and does not support this interface !");
            return -2;
        }
        return op(*pellam, *command);
    });
}

// A Pellam call on one ToF sensor: the driver checks the index (its code as it is), then
// op(command, address of the sensor); a sensor without an address answers -1.
template <typename Op>
int pellamSensorCall(void* handle, const CallSite& site, unsigned int tofIndex, Op&& op)
{
    return pellamCall(handle, site, [&](CameraPellam& pellam, PellamCmd& command) -> int {
        if (int ret = pellam.checkTofIndex(tofIndex); ret != 0) return ret;
        const int address = pellam.tofAddress(tofIndex);
        if (address == -1) {
            logAt("ERROR", site, "tof sensor ", tofIndex, " has no address");
            return -1;
        }
        return op(command, static_cast<uint32_t>(address));
    });
}

// Buffer arguments of a call: a null buffer is refused with "buffer is nullptr", a
// negative length with "length is negative".
inline bool checkBufferArgument(const void* buffer, long long length, const CallSite& site)
{
    if (buffer == nullptr || length < 0) {
        logAt("ERROR", site, buffer == nullptr ? "buffer is nullptr" : "length is negative");
        return false;
    }
    return true;
}
