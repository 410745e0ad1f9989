// Lifecycle and streaming calls of the exported interface, over the one
// library-wide context g_stCameraCtx.
#include "qv_camera_sdk_api.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "CameraFactory.h"
#include "CameraSdkContext.h"
#include "Hotplug.h"
#include "ICameraOps.h"
#include "IListener.h"
#include "Logger.h"
#include "NetworkListener.h"
#include "UsbCameraList.h"

CAMERA_SDK_CTX g_stCameraCtx;

namespace {

constexpr char kSwVersion[] = "v1.2.28.20241021";

bool handleListed(void* handle)
{
    return std::find(g_stCameraCtx.handles.begin(), g_stCameraCtx.handles.end(), handle) !=
           g_stCameraCtx.handles.end();
}

// Identity equality: USB by bus and address, serial by devNode bytes, network by ip bytes.
bool sameCamera(const QV_CAM_ATTR& a, const QV_CAM_ATTR& b)
{
    if (a.type != b.type) return false;
    switch (a.type) {
    case QV_CAM_ATTR_USB:
        return a.attr.usbAttrs.busnum == b.attr.usbAttrs.busnum && a.attr.usbAttrs.dev == b.attr.usbAttrs.dev;
    case QV_CAM_ATTR_SERIAL:
        return std::memcmp(a.attr.serialAttrs.devNode, b.attr.serialAttrs.devNode, QV_DEV_NODE_SIZE) == 0;
    case QV_CAM_ATTR_NET:
        return std::memcmp(a.attr.netAttrs.ip, b.attr.netAttrs.ip, QV_NET_IP_SIZE) == 0;
    default:
        return true;
    }
}

CAMERA_HANDLE_S* newHandle(const QV_CAM_ATTR& attr)
{
    auto* record = new CAMERA_HANDLE_S{};
    std::memcpy(&record->attr, &attr, sizeof attr);
    return record;
}

// Closes and destroys the driver of a handle; returns the close code.
int closeDriver(CAMERA_HANDLE_S* record)
{
    const int ret = record->driver->close();
    delete record->driver;
    record->driver = nullptr;
    return ret;
}

}  // namespace

std::mutex* GetCameraLock(void* handle) { return &static_cast<CAMERA_HANDLE_S*>(handle)->lock; }

int acquireHandle(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock, CAMERA_HANDLE_S*& record)
{
    if (handle == nullptr) return QV_SDK_ERR_NULL_HANDLE;
    {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (!handleListed(handle)) {
            orrindale::log::line("ERROR", site.source, site.line, site.function, "This camera handle not exist");
            return QV_SDK_ERR_UNKNOWN_HANDLE;
        }
    }
    // The context mutex is released before the handle mutex: a long call on one
    // camera never blocks calls on another.
    record = static_cast<CAMERA_HANDLE_S*>(handle);
    lock = std::unique_lock<std::mutex>(record->lock);
    return QV_SDK_OK;
}

int unexpectedFailure(const CallSite& site) noexcept
{
    try {
        try {
            throw;
        } catch (const std::exception& e) {
            orrindale::log::line("ERROR", site.source, site.line, site.function, "unexpected failure: ", e.what());
        } catch (...) {
            orrindale::log::line("ERROR", site.source, site.line, site.function, "unexpected failure");
        }
    } catch (...) {
        // Logging itself failed (out of memory): the code still reaches the caller.
    }
    return QV_SDK_ERR_FAILED;
}

int requireOpen(const CAMERA_HANDLE_S* record, const CallSite& site, const char* message)
{
    if (record->driver != nullptr) return QV_SDK_OK;
    orrindale::log::line("ERROR", site.source, site.line, site.function, message);
    return QV_SDK_ERR_NOT_OPEN;
}

int QV_SDK_Init()
{
    try {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (g_stCameraCtx.initialised)
            QV_LOGW("sdk already init");
        else
            g_stCameraCtx.initialised = true;
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_Deinit()
{
    try {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (!g_stCameraCtx.initialised)
            QV_LOGW("sdk not init");
        else
            g_stCameraCtx.initialised = false;
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_GetCameraList(std::list<void*>& list)
{
    try {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (!g_stCameraCtx.initialised) {
            QV_LOGE("sdk not init");
            return QV_SDK_ERR_FAILED;
        }
        std::vector<QV_CAM_ATTR> attrs;
        getCameraAtrrsList(supportedUsbIds(), attrs);
        if (attrs.empty()) {
            QV_LOGW("No device found !");
            return QV_SDK_OK;
        }
        for (const QV_CAM_ATTR& attr : attrs) {
            CAMERA_HANDLE_S* record = newHandle(attr);
            list.push_back(record);
            g_stCameraCtx.handles.push_back(record);
        }
        return static_cast<int>(attrs.size());
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_FreeCameraList(std::list<void*>& list)
{
    try {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        int ret = QV_SDK_OK;
        while (!list.empty()) {
            void* handle = list.front();
            auto it = std::find(g_stCameraCtx.handles.begin(), g_stCameraCtx.handles.end(), handle);
            if (it != g_stCameraCtx.handles.end()) {
                g_stCameraCtx.handles.erase(it);
                auto* record = static_cast<CAMERA_HANDLE_S*>(handle);
                if (record->driver != nullptr) ret = closeDriver(record);
                delete record;
            }
            // A pointer the library does not know (already freed, or foreign) is only dropped.
            list.pop_front();
        }
        return ret;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_CreateCamHandle(void*& handle, QV_CAM_ATTR* attr)
{
    try {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (!g_stCameraCtx.initialised) {
            QV_LOGE("sdk not init");
            return QV_SDK_ERR_FAILED;
        }
        if (attr == nullptr) {
            QV_LOGE("attr is nullptr");
            return QV_SDK_ERR_FAILED;
        }
        QV_CAM_ATTR wanted;
        std::memcpy(&wanted, attr, sizeof wanted);
        std::vector<QV_CAM_ATTR> attrs;
        getCameraAtrrsList(supportedUsbIds(), attrs);
        if (attrs.empty()) return QV_SDK_ERR_NO_SUCH_CAMERA;
        auto found = std::find_if(attrs.begin(), attrs.end(),
                                  [&](const QV_CAM_ATTR& a) { return sameCamera(a, wanted); });
        if (found == attrs.end()) return QV_SDK_ERR_NO_SUCH_CAMERA;
        CAMERA_HANDLE_S* record = newHandle(*found);
        handle = record;
        g_stCameraCtx.handles.push_back(record);
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_DestoryCamHandle(void* handle)
{
    try {
        if (handle == nullptr) return QV_SDK_ERR_NULL_HANDLE;
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (!g_stCameraCtx.initialised) {
            QV_LOGE("sdk not init");
            return QV_SDK_ERR_FAILED;
        }
        if (!handleListed(handle)) {
            QV_LOGE("This camera handle not exist");
            return QV_SDK_ERR_UNKNOWN_HANDLE;
        }
        auto* record = static_cast<CAMERA_HANDLE_S*>(handle);
        {
            std::lock_guard<std::mutex> camera(record->lock);
            g_stCameraCtx.handles.remove(handle);
        }
        delete record;
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_IsHandleExist(void* handle)
{
    try {
        if (handle == nullptr) return QV_SDK_ERR_NULL_HANDLE;
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (handleListed(handle)) return QV_SDK_OK;
        QV_LOGE("This camera handle not exist");
        return QV_SDK_ERR_UNKNOWN_HANDLE;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_GetCameraAttrs(void* handle, QV_CAM_ATTR& attr)
{
    const CallSite site = QV_CALL_SITE;
    try {
        std::unique_lock<std::mutex> lock;
        CAMERA_HANDLE_S* record = nullptr;
        if (int ret = acquireHandle(handle, site, lock, record); ret != 0) return ret;
        const QV_CAM_ATTR& own = record->attr;
        if (own.type < QV_CAM_ATTR_USB || own.type > QV_CAM_ATTR_NET) {
            QV_LOGE("not support attr type:", static_cast<int>(own.type));
            return QV_SDK_ERR_FAILED;
        }
        std::memcpy(&attr, &own, sizeof attr);
        if (own.type == QV_CAM_ATTR_USB) {
            const QV_USB_DEV_ATTR& usb = own.attr.usbAttrs;
            QV_LOGI("pid:", usb.pid, "  vid", usb.vid, " busnum: ", usb.busnum, "  dev:", usb.dev, "  port:", usb.port,
                    "  ports:", usb.ports);
        }
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_OpenCamera(void* handle, const char* path)
{
    const CallSite site = QV_CALL_SITE;
    try {
        std::unique_lock<std::mutex> lock;
        CAMERA_HANDLE_S* record = nullptr;
        if (int ret = acquireHandle(handle, site, lock, record); ret != 0) return ret;
        if (record->driver != nullptr) {
            QV_LOGW("This camera already open");
            return QV_SDK_OK;
        }
        std::unique_ptr<ICameraOps> driver(createCameraInstance(record->attr, handle));
        if (!driver) {
            QV_LOGE("create camera instance fail");
            return QV_SDK_ERR_FAILED;
        }
        record->driver = driver.release();
        int ret = -1;
        try {
            ret = record->driver->open(path);
        } catch (...) {
            ret = -1;  // reported below like any other failed open
        }
        if (ret == 0) return QV_SDK_OK;
        QV_LOGE("init camera error, maybe reopen can solve it");
        closeDriver(record);
        return ret;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_CloseCamera(void* handle)
{
    const CallSite site = QV_CALL_SITE;
    try {
        std::unique_lock<std::mutex> lock;
        CAMERA_HANDLE_S* record = nullptr;
        if (int ret = acquireHandle(handle, site, lock, record); ret != 0) return ret;
        if (record->driver == nullptr) {
            QV_LOGI("This camera not open yet");
            return QV_SDK_OK;
        }
        const int ret = record->driver->close();
        if (ret == 0) {
            // A failed close keeps the driver so that close can be retried.
            delete record->driver;
            record->driver = nullptr;
        }
        return ret;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}


int QV_SDK_RegisterStreamCallback(void* handle, STREAM_CALLBACK_S* callback)
{
    return withOpenCamera(handle, QV_CALL_SITE, "register callback failed, please open camera first",
                           [&](ICameraOps& driver) -> int { return driver.registerDataCallback(callback); });
}

int QV_SDK_RegisterInnerStreamCallback(void* handle, STREAM_CALLBACK_INNER_S* callback)
{
    return withOpenCamera(handle, QV_CALL_SITE, "register callback failed, please open camera first",
                           [&](ICameraOps& driver) -> int { return driver.registerInnerDataCallback(callback); });
}

int QV_SDK_StartStream(void* handle, int mask)
{
    return withOpenCamera(handle, QV_CALL_SITE, "please open camera first",
                           [&](ICameraOps& driver) -> int { return driver.startStreaming(mask); });
}

int QV_SDK_StopStream(void* handle, int mask)
{
    return withOpenCamera(handle, QV_CALL_SITE, "please open camera first",
                           [&](ICameraOps& driver) -> int { return driver.stopStreaming(mask); });
}

int QV_SDK_GetCameraHandle(void* handle, ICameraOps*& ops, QV_CAM_ATTR* attr)
{
    return withOpenCamera(handle, QV_CALL_SITE, "please open camera first", [&](ICameraOps& driver) -> int {
        ops = &driver;
        if (attr != nullptr) std::memcpy(attr, &static_cast<CAMERA_HANDLE_S*>(handle)->attr, sizeof *attr);
        return QV_SDK_OK;
    });
}

int QV_SDK_StartListener(QV_LISTENER_CALLBACK& callback, QV_LISTENER_TYPE type, bool enumerate)
{
    try {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        if (!g_stCameraCtx.initialised) {
            QV_LOGE("sdk not init");
            return QV_SDK_ERR_FAILED;
        }
        std::unique_ptr<IListener> listener;
        if (type == QV_LISTENER_HOTPLUG)
            listener = std::make_unique<Hotplug>(supportedUsbIds());
        else if (type == QV_LISTENER_NETWORK)
            listener = std::make_unique<NetworkListener>();
        else {
            QV_LOGE("Not support listener type:", static_cast<int>(type));
            return QV_SDK_ERR_NO_SUCH_CAMERA;
        }
        const int ret = listener->start(callback, enumerate);
        g_stCameraCtx.listeners.push_back(listener.release());
        return ret;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_StopListener()
{
    try {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        for (IListener* listener : g_stCameraCtx.listeners) {
            listener->stop();
            delete listener;
        }
        g_stCameraCtx.listeners.clear();
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_GetSwVersion(char* version, unsigned int capacity)
{
    try {
        if (version == nullptr) {
            QV_LOGE("version is nullptr");
            return QV_SDK_ERR_FAILED;
        }
        std::memcpy(version, kSwVersion, std::min<size_t>(capacity, sizeof kSwVersion));
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}
