// Device control calls of the exported interface: each reaches one operation of the
// open camera's driver or of its command object.
#include <algorithm>
#include <cstring>
#include <string>

#include "CameraPellam.h"
#include "CameraSdkContext.h"
#include "CameraSelvarA.h"
#include "ICameraOps.h"
#include "Logger.h"
#include "SolenCommonCtrl.h"
#include "qv_camera_sdk_api.h"

namespace {

constexpr const char* kNotOpen = "please open camera first";
constexpr const char* kNotSelvarA = "This camera is not SELVAR-A camera and does not support this interface !";

// The command object of a driver, or null with an ERROR line.
ICommand* commandOf(ICameraOps& driver, const CallSite& site)
{
    ICommand* command = driver.cmd();
    if (command == nullptr) logAt("ERROR", site, "this camera has no command channel");
    return command;
}

bool checkBuffer(const void* buffer, const CallSite& site)
{
    if (buffer != nullptr) return true;
    logAt("ERROR", site, "buffer is nullptr");
    return false;
}

struct UsbModel {
    uint32_t vid;
    uint32_t pid;
    CAMERA_MODEL_E model;
};

constexpr UsbModel kUsbModels[] = {
    {0x3482, 0x6789, CAMERA_MODEL_ZENTA},    {0x3482, 0x6723, CAMERA_MODEL_FL30C},
    {0x3482, 0x5727, CAMERA_MODEL_FL30},     {0x3482, 0x5723, CAMERA_MODEL_GM80},
    {0x3482, 0x5724, CAMERA_MODEL_G700},     {0x3482, 0x5725, CAMERA_MODEL_FL30V},
    {0x3482, 0x7723, CAMERA_MODEL_SELVAR_C}, {0x3482, 0x8723, CAMERA_MODEL_PELLAM},
    {0x3482, 0x2789, CAMERA_MODEL_HALVO},    {0x3482, 0x278A, CAMERA_MODEL_OSTREL_B},
    {0x3482, 0x6724, CAMERA_MODEL_VIRENE},   {0x3482, 0x278B, CAMERA_MODEL_VIRENE_A},
    {0x3482, 0x278C, CAMERA_MODEL_VIRENE_B}, {0x1A86, 0x5723, CAMERA_MODEL_GM80},
    {0x1A86, 0x5722, CAMERA_MODEL_GM80},     {0x0C45, 0x636D, CAMERA_MODEL_SELVAR_A},
};

constexpr UsbModel kSerialOnlyModels[] = {
    {0x1A86, 0x5724, CAMERA_MODEL_G700},
    {0x2207, 0x0016, CAMERA_MODEL_E7},
};

// The model of a camera identity; false for a kind above 2.
bool modelOf(const QV_CAM_ATTR& attr, CAMERA_MODEL_E& model)
{
    if (attr.type == QV_CAM_ATTR_NET) {
        model = static_cast<CAMERA_MODEL_E>(attr.attr.netAttrs.model);
        return true;
    }
    if (attr.type != QV_CAM_ATTR_USB && attr.type != QV_CAM_ATTR_SERIAL) return false;
    const uint32_t vid = attr.type == QV_CAM_ATTR_USB ? attr.attr.usbAttrs.vid : attr.attr.serialAttrs.vid;
    const uint32_t pid = attr.type == QV_CAM_ATTR_USB ? attr.attr.usbAttrs.pid : attr.attr.serialAttrs.pid;
    for (const UsbModel& row : kUsbModels)
        if (row.vid == vid && row.pid == pid) model = row.model;
    if (attr.type == QV_CAM_ATTR_SERIAL)
        for (const UsbModel& row : kSerialOnlyModels)
            if (row.vid == vid && row.pid == pid) model = row.model;
    return true;  // a combination not listed leaves the caller's value as it was
}

}  // namespace

// ---------------------------------------------------------------- plain forwarding

int QV_SDK_GetStreamParam(void* handle, STREAM_PARAM_S* param)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) { return d.getStreamParam(param); });
}

int QV_SDK_GetStreamParamArray(void* handle, STREAM_PARAM_S* params, int count)
{
    const CallSite site = QV_CALL_SITE;
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        if (!checkBuffer(params, site)) return -1;
        if (count < 0) {
            logAt("ERROR", site, "count ", count, " is negative");
            return -1;
        }
        // The driver writes all its records; the caller's array takes as many as it holds.
        STREAM_PARAM_S all[STREAM_PARAM_COUNT] = {};
        const int ret = d.getStreamParam(all);
        if (ret < 0) return ret;
        const int n = std::min<int>(count, STREAM_PARAM_COUNT);
        std::copy(all, all + n, params);
        return n;
    });
}

int QV_SDK_SetStreamParam(void* handle, MEDIA_TYPE_E type, const STREAM_PARAM_S* param)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen,
                          [&](ICameraOps& d) { return d.setStreamParam(type, param); });
}

int QV_SDK_GetCapability(void* handle, MEDIA_TYPE_E type, std::vector<STREAM_PARAM_S>& list)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) { return d.getCapability(type, list); });
}

int QV_SDK_GetCamParameter(void* handle, CAM_Parameter* parameter)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen,
                          [&](ICameraOps& d) { return d.getCameraParameter(parameter); });
}

int QV_SDK_GetTofMode(void* handle, TOFMode& mode)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) { return d.getTofMode(mode); });
}

int QV_SDK_SetTimeStampType(void* handle, TIME_STAMP_TYPE type)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) { return d.setTimeStampType(type); });
}

int QV_SDK_GetConfigInfo(void* handle, QV_CONFIG_INFO& info)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) { return d.getConfigInfo(info); });
}

int QV_SDK_SetDevNetAttrs(void* handle, NET_DEV_ATTRS attrs)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) { return d.setDevNetAttrs(attrs); });
}

int QV_SDK_GetDevNetAttrs(void* handle, NET_DEV_ATTRS& attrs)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) { return d.getDevNetAttrs(attrs); });
}

int QV_SDK_LogCameraCfg(void* handle)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) {
        d.logCameraCfg();
        return 0;
    });
}

int QV_SDK_Usb_CustomRead(void* handle, unsigned char* data, unsigned int length, int timeout)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen,
                          [&](ICameraOps& d) { return d.bulkTransferRead(data, length, timeout); });
}

int QV_SDK_Usb_CustomWrite(void* handle, unsigned char* data, unsigned int length, int timeout)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen,
                          [&](ICameraOps& d) { return d.bulkTransferWrite(data, length, timeout); });
}

int QV_SDK_Xu_CustomRead(void* handle, unsigned char selector, unsigned char* data, unsigned int length, int timeout)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen,
                          [&](ICameraOps& d) { return d.controlTransferRead(selector, data, length, timeout); });
}

int QV_SDK_Xu_CustomWrite(void* handle, unsigned char selector, unsigned char* data, unsigned int length, int timeout)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen,
                          [&](ICameraOps& d) { return d.controlTransferWrite(selector, data, length, timeout); });
}

int QV_SDK_UpgradeDev(void* handle, const char* packagePath, CAM_UPGRADE_DEV_S* progress)
{
    const CallSite site = QV_CALL_SITE;
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        if (packagePath == nullptr) {
            logAt("ERROR", site, "package path is nullptr");
            return -1;
        }
        ICommand* command = commandOf(d, site);
        return command ? command->upgrade(std::string(packagePath), progress) : -1;
    });
}

int QV_SDK_CAMERA_Reboot(void* handle)
{
    const CallSite site = QV_CALL_SITE;
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        ICommand* command = commandOf(d, site);
        return command ? command->reboot() : -1;
    });
}

int QV_SDK_GetFwVersion(void* handle, std::string& version)
{
    const CallSite site = QV_CALL_SITE;
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        ICommand* command = commandOf(d, site);
        return command ? command->getFwVersion(version) : -1;
    });
}

int QV_SDK_GetPrivateMaxSize(void* handle, int& size)
{
    const CallSite site = QV_CALL_SITE;
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        ICommand* command = commandOf(d, site);
        return command ? command->getPrivateMaxSize(size) : -1;
    });
}

// ---------------------------------------------------------------- calls with logic of their own

int QV_SDK_GetSerialNumber(void* handle, char* buffer, int capacity)
{
    const CallSite site = QV_CALL_SITE;
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        if (!checkBuffer(buffer, site)) return -1;
        std::string serial;
        const int ret = d.getSerialNo(serial);
        if (ret < 0) {
            logAt("ERROR", site, "get serialno fail.");
            return ret;
        }
        copyText(serial, buffer, capacity);
        return ret;
    });
}

int QV_SDK_SetSerialNumber(void* handle, const char* serial, int length)
{
    const CallSite site = QV_CALL_SITE;
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        if (!checkBuffer(serial, site)) return -1;
        if (length < 0) {
            logAt("ERROR", site, "serial number length is negative");
            return -1;
        }
        ICommand* command = commandOf(d, site);
        return command ? command->setSn(std::string(serial, static_cast<size_t>(length))) : -1;
    });
}

namespace {

// A text answer of the command object copied into the caller's buffer.
int commandText(void* handle, const CallSite& site, char* buffer, int capacity, int (ICommand::*get)(std::string&),
                const char* failure)
{
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        if (!checkBuffer(buffer, site)) return -1;
        ICommand* command = commandOf(d, site);
        if (command == nullptr) return -1;
        std::string text;
        const int ret = (command->*get)(text);
        if (ret < 0) {
            logAt("ERROR", site, failure);
            return ret;
        }
        copyText(text, buffer, capacity);
        return ret;
    });
}

}  // namespace

int QV_SDK_GetFwVersion(void* handle, char* buffer, int capacity)
{
    return commandText(handle, QV_CALL_SITE, buffer, capacity, &ICommand::getFwVersion, "get fw version fail.");
}

int QV_SDK_GetHimaxVersion(void* handle, char* buffer, int capacity)
{
    return commandText(handle, QV_CALL_SITE, buffer, capacity, &ICommand::getHimaxVersion, "get Himax version fail.");
}

int QV_SDK_GetStreamType(void*, int*)
{
    QV_LOGE("Not support to get stream type.");
    return -1;
}

int QV_SDK_SetStreamCfg(void* handle, video_captur_attr& attr)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) -> int {
        video_cfg cfg;
        d.getStreamCfg(cfg);
        cfg.format = attr.format;
        cfg.width = attr.width;
        cfg.height = attr.height;
        cfg.fps = attr.fps;
        return d.setStreamCfg(cfg);
    });
}

int QV_SDK_GetStreamCfg(void* handle, video_captur_attr& attr)
{
    return withOpenCamera(handle, QV_CALL_SITE, kNotOpen, [&](ICameraOps& d) -> int {
        video_cfg cfg;
        const int ret = d.getStreamCfg(cfg);
        if (ret < 0) return ret;
        attr.format = cfg.format;
        attr.width = cfg.width;
        attr.height = cfg.height;
        attr.fps = cfg.fps;
        return ret;
    });
}

int QV_SDK_GetCameraModel(void* handle, CAMERA_MODEL_E& model)
{
    const CallSite site = QV_CALL_SITE;
    return withCamera(handle, site, [&](CAMERA_HANDLE_S& record) -> int {
        if (!modelOf(record.attr, model)) {
            logAt("ERROR", site, "not support attr type:", static_cast<int>(record.attr.type));
            return -1;
        }
        return 0;
    });
}

namespace {

// Private-data reads and writes: the capacity query, the buffer, then the range, where the
// size test comes first, so an offset at or past the capacity with a positive size reads
// as "size is too large". `verb` is "read" or "write"; a write also logs a null buffer.
template <typename Transfer>
int privateDataCall(void* handle, const CallSite& site, const char* verb, bool logNullData, void* data, int size,
                    int offset, Transfer transfer)
{
    return withOpenCamera(handle, site, kNotOpen, [&](ICameraOps& d) -> int {
        ICommand* command = commandOf(d, site);
        if (command == nullptr) return -1;
        int capacity = 0;
        if (int ret = command->getPrivateMaxSize(capacity); ret < 0) return ret;
        if (data == nullptr) {
            if (logNullData) logAt("ERROR", site, "data is nullptr ! ", verb, " private data fail !");
            return -1;
        }
        const int32_t room = static_cast<int32_t>(static_cast<uint32_t>(capacity) - static_cast<uint32_t>(offset));
        if (room < size) {
            logAt("ERROR", site, "size is too large ! ", verb, " private data fail !");
            return -1;
        }
        if (capacity <= offset) {
            logAt("ERROR", site, "offset is too large ! ", verb, " private data fail !");
            return -1;
        }
        return transfer(*command);
    });
}

}  // namespace

int QV_SDK_WritePrivateData(void* handle, void* data, int size, int offset)
{
    return privateDataCall(handle, QV_CALL_SITE, "write", true, data, size, offset,
                           [&](ICommand& command) { return command.writePrivateData(data, size, offset); });
}

int QV_SDK_ReadPrivateData(void* handle, void* data, int size, int offset)
{
    return privateDataCall(handle, QV_CALL_SITE, "read", false, data, size, offset,
                           [&](ICommand& command) { return command.readPrivateData(data, size, offset); });
}

void copyText(const std::string& text, char* buffer, int capacity)
{
    const size_t room = static_cast<size_t>(std::max(capacity, 0));
    const size_t n = std::min(text.size(), room);
    std::memcpy(buffer, text.data(), n);
    if (n < room) buffer[n] = '\0';
}

int lockOpenDriver(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock, ICameraOps*& driver)
{
    ICameraOps* listed = nullptr;
    if (QV_SDK_GetCameraHandle(handle, listed, nullptr) != 0) {
        logAt("ERROR", site, "get camera handle fail.");
        return -1;
    }
    // Looked up again: the camera may have been closed, or its handle destroyed, meanwhile.
    CAMERA_HANDLE_S* record = nullptr;
    if (int ret = acquireHandle(handle, site, lock, record); ret != 0) return ret;
    driver = record->driver;
    if (driver == nullptr) {
        logAt("ERROR", site, "please open camera first");
        return -101;
    }
    return 0;
}

int requireModel(void* handle, const CallSite& site, CAMERA_MODEL_E& model)
{
    if (QV_SDK_GetCameraModel(handle, model) != 0) {
        logAt("ERROR", site, "get camera model fail.");
        return -1;
    }
    return 0;
}

int QV_SDK_GetCamParameterSet(void* handle, CAM_Parameter_Set& set)
{
    const CallSite site = QV_CALL_SITE;
    try {
        std::unique_lock<std::mutex> lock;
        ICameraOps* driver = nullptr;
        if (int ret = lockOpenDriver(handle, site, lock, driver); ret != 0) return ret;
        auto* pellam = dynamic_cast<CameraPellam*>(driver);
        const int ret = pellam != nullptr ? pellam->getCameraParameterSet(set) : -2;
        if (ret < 0) QV_LOGE("get Camera parameter Set failed, ret ", ret);
        return ret;
    } catch (...) {
        return unexpectedFailure(site);
    }
}

int QV_SDK_GetOriginalCamParameter(void* handle, CAM_Parameter* parameter)
{
    const CallSite site = QV_CALL_SITE;
    try {
        CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
        if (requireModel(handle, site, model) != 0) return -1;
        std::unique_lock<std::mutex> lock;
        ICameraOps* driver = nullptr;
        if (int ret = lockOpenDriver(handle, site, lock, driver); ret != 0) return ret;
        if (model < CAMERA_MODEL_GM80 || model > CAMERA_MODEL_FL30V) {
            QV_LOGE("not support to get original camera param.");
            return -2;
        }
        auto* solen = dynamic_cast<SolenCommonCtrl*>(driver->cmd());
        const int ret = solen != nullptr ? solen->getOriCamParam(parameter) : -1;
        if (ret < 0) QV_LOGE("get original camera param fail.");
        return ret;
    } catch (...) {
        return unexpectedFailure(site);
    }
}

namespace {

// A Selvar A's driver, locked; -2 with the model's message for any other camera.
int lockSelvarA(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock, ICameraOps*& driver)
{
    CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
    if (requireModel(handle, site, model) != 0) return -1;
    if (model != CAMERA_MODEL_SELVAR_A) {
        logAt("ERROR", site, kNotSelvarA);
        return -2;
    }
    return lockOpenDriver(handle, site, lock, driver);
}

}  // namespace

int QV_SDK_RegisterMergeFrameCallback(void* handle, MERGE_CALLBACK_S* callback)
{
    const CallSite site = QV_CALL_SITE;
    try {
        std::unique_lock<std::mutex> lock;
        ICameraOps* driver = nullptr;
        if (int ret = lockSelvarA(handle, site, lock, driver); ret != 0) return ret;
        auto* selvar = dynamic_cast<CameraSelvarA*>(driver);
        const int ret = selvar != nullptr ? selvar->registerMergeDataCallback(callback) : -1;
        if (ret < 0) QV_LOGE("register Merge Data Callback fail.");
        return ret;
    } catch (...) {
        return unexpectedFailure(site);
    }
}

int QV_SDK_PaeseImage(void* handle, CAM_FRAME& in, CAM_FRAME& first, CAM_FRAME& second)
{
    const CallSite site = QV_CALL_SITE;
    try {
        std::unique_lock<std::mutex> lock;
        ICameraOps* driver = nullptr;
        if (int ret = lockSelvarA(handle, site, lock, driver); ret != 0) return ret;
        auto* selvar = dynamic_cast<CameraSelvarA*>(driver);
        const int streams = selvar != nullptr ? selvar->getStreamType() : 0;
        std::memset(&first, 0, sizeof first);
        std::memset(&second, 0, sizeof second);
        const int both = CameraSelvarA::kStreamFirstImage | CameraSelvarA::kStreamSecondImage;
        first = in;
        if ((streams & both) != both) return -1;
        // Two images side by side: the second keeps the start, the first begins half-way.
        second = in;
        first.data = in.data ? in.data + in.size / 2 : nullptr;
        first.width = second.width = in.width / 2;
        first.size = second.size = in.size / 2;
        return 0;
    } catch (...) {
        return unexpectedFailure(site);
    }
}
