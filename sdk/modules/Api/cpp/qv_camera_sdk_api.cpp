// Lifecycle and streaming calls of the exported interface, over the one
// library-wide context g_stCameraCtx.
#include "qv_camera_sdk_api.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "CameraFactory.h"
#include "CallbackThread.h"
#include "CameraSdkContext.h"
#include "Hotplug.h"
#include "ICameraOps.h"
#include "IListener.h"
#include "Logger.h"
#include "NetworkListener.h"
#include "UsbCameraList.h"

CAMERA_SDK_CTX& g_stCameraCtx = *new CAMERA_SDK_CTX;

namespace {

constexpr char kSwVersion[] = "v1.2.28.20241021";
// Handles are numbered from here in steps of 16, so that they look like aligned addresses.
constexpr uintptr_t kFirstHandle = 0x51560000;

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

// A new record listed in the context (context mutex held); returns its handle.
void* addHandle(const QV_CAM_ATTR& attr)
{
    auto record = std::make_shared<CAMERA_HANDLE_S>();
    std::memcpy(&record->attr, &attr, sizeof attr);
    void* handle = reinterpret_cast<void*>(kFirstHandle + 16 * ++g_stCameraCtx.handlesMade);
    record->token = handle;
    g_stCameraCtx.records.emplace(handle, std::move(record));
    g_stCameraCtx.handles.push_back(handle);
    return handle;
}

// Takes a handle out of the context (context mutex held); null when it is not listed.
std::shared_ptr<CAMERA_HANDLE_S> takeHandle(void* handle)
{
    auto it = g_stCameraCtx.records.find(handle);
    if (it == g_stCameraCtx.records.end()) return nullptr;
    std::shared_ptr<CAMERA_HANDLE_S> record = std::move(it->second);
    g_stCameraCtx.records.erase(it);
    g_stCameraCtx.handles.remove(handle);
    return record;
}

// The session's deleter: a driver is never destroyed on a callback thread, where it could have
// to join the thread it runs on, or a transport whose callback waits for this one.
void retireSession(CameraSession* session)
{
    if (CallbackThread::active()) {
        if (!CallbackThread::runDetached([session] { delete session; }))
            QV_LOGE("a closed camera could not be released");
        return;
    }
    delete session;
}

// Ends a transition begun under the record's mutex; wakes the calls waiting for it.
void endTransition(CAMERA_HANDLE_S& record)
{
    {
        std::lock_guard<std::mutex> lock(record.lock);
        --record.transitions;
    }
    record.idle.notify_all();
}

// Runs work(session) as a transition of an open camera: without the handle mutex, since the
// driver may wait for its transport's threads (and their callbacks may call this camera).
// Other application threads wait for it to end. On the callback thread of another camera the
// work goes to a helper thread: that thread must not wait for a transport whose callback may
// be waiting for it. after(record, session, result) runs under the mutex once work is done.
template <typename Work, typename After>
int transition(void* handle, const CallSite& site, const char* notOpenMessage, bool logNotOpenAsInfo, Work work,
               After after)
{
    std::shared_ptr<CAMERA_HANDLE_S> record;
    std::shared_ptr<CameraSession> session;
    {
        std::unique_lock<std::mutex> lock;
        if (int ret = acquireHandle(handle, site, lock, record); ret != 0) return ret;
        if (!record->session) {
            if (logNotOpenAsInfo) {
                logAt("INFO", site, notOpenMessage);
                return QV_SDK_OK;
            }
            logAt("ERROR", site, notOpenMessage);
            return QV_SDK_ERR_NOT_OPEN;
        }
        session = record->session;
        ++record->transitions;
    }
    auto run = [record, session, site, work, after]() mutable -> int {
        int ret = QV_SDK_ERR_FAILED;
        try {
            ret = work(*session);
        } catch (...) {
            ret = unexpectedFailure(site);
        }
        {
            std::lock_guard<std::mutex> lock(record->lock);
            after(*record, session, ret);
        }
        endTransition(*record);
        session.reset();  // may destroy the driver: no lock is held here
        return ret;
    };
    if (CallbackThread::active() && !CallbackThread::activeFor(handle)) {
        if (CallbackThread::runDetached(run)) return QV_SDK_OK;
    }
    session.reset();
    return run();
}

// Takes a record that has left the context: marks it removed, stops and closes its camera.
// Returns the close code (0 when the camera was not open).
int releaseRecord(const std::shared_ptr<CAMERA_HANDLE_S>& record)
{
    std::shared_ptr<CameraSession> session;
    {
        std::unique_lock<std::mutex> lock(record->lock);
        if (!CallbackThread::active()) record->idle.wait(lock, [&] { return record->transitions == 0; });
        record->removed = true;
        session = std::move(record->session);
        record->driver = nullptr;
    }
    if (!session) return QV_SDK_OK;
    session->relay.close();  // nothing more reaches the application with this handle
    auto close = [session]() mutable -> int {
        int ret = QV_SDK_ERR_FAILED;
        try {
            ret = session->driver->close();  // a streaming driver stops first
        } catch (...) {
            QV_LOGE("close failed");
        }
        session.reset();
        return ret;
    };
    if (CallbackThread::active() && !CallbackThread::activeFor(record->token)) {
        if (CallbackThread::runDetached(close)) return QV_SDK_OK;
    }
    session.reset();
    return close();
}

}  // namespace

std::mutex* GetCameraLock(void* handle)
{
    std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
    auto it = g_stCameraCtx.records.find(handle);
    return it != g_stCameraCtx.records.end() ? &it->second->lock : nullptr;
}

int acquireHandle(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock,
                  std::shared_ptr<CAMERA_HANDLE_S>& record)
{
    if (handle == nullptr) return QV_SDK_ERR_NULL_HANDLE;
    {
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        auto it = g_stCameraCtx.records.find(handle);
        if (it != g_stCameraCtx.records.end()) record = it->second;
    }
    // The context mutex is released before the handle mutex: a long call on one
    // camera never blocks calls on another.
    if (record) {
        lock = std::unique_lock<std::mutex>(record->lock);
        if (!CallbackThread::active()) record->idle.wait(lock, [&] { return record->transitions == 0; });
        if (!record->removed) return QV_SDK_OK;
        lock = std::unique_lock<std::mutex>();
        record.reset();
    }
    orrindale::log::line("ERROR", site.source, site.line, site.function, "This camera handle not exist");
    return QV_SDK_ERR_UNKNOWN_HANDLE;
}

int acquireHandle(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock, CAMERA_HANDLE_S*& record)
{
    // The record outlives the reference dropped here: it is freed only after its remover has
    // held the mutex, which this caller now holds.
    std::shared_ptr<CAMERA_HANDLE_S> held;
    const int ret = acquireHandle(handle, site, lock, held);
    record = held.get();
    return ret;
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

namespace {

bool initialised()
{
    std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
    return g_stCameraCtx.initialised;
}

}  // namespace

int QV_SDK_GetCameraList(std::list<void*>& list)
{
    try {
        if (!initialised()) {
            QV_LOGE("sdk not init");
            return QV_SDK_ERR_FAILED;
        }
        // Enumeration has a lock of its own; the context is held only to add the handles.
        std::vector<QV_CAM_ATTR> attrs;
        getCameraAtrrsList(supportedUsbIds(), attrs);
        if (attrs.empty()) {
            QV_LOGW("No device found !");
            return QV_SDK_OK;
        }
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        for (const QV_CAM_ATTR& attr : attrs) list.push_back(addHandle(attr));
        return static_cast<int>(attrs.size());
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_FreeCameraList(std::list<void*>& list)
{
    try {
        std::vector<std::shared_ptr<CAMERA_HANDLE_S>> taken;
        {
            std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
            for (void* handle : list)
                if (auto record = takeHandle(handle)) taken.push_back(std::move(record));
        }
        // A pointer the library does not know (already freed, or foreign) is only dropped.
        list.clear();
        int ret = QV_SDK_OK;
        for (const auto& record : taken)
            if (const int closed = releaseRecord(record); closed != QV_SDK_OK) ret = closed;
        return ret;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_CreateCamHandle(void*& handle, QV_CAM_ATTR* attr)
{
    try {
        if (!initialised()) {
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
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        handle = addHandle(*found);
        return QV_SDK_OK;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_DestoryCamHandle(void* handle)
{
    try {
        if (handle == nullptr) return QV_SDK_ERR_NULL_HANDLE;
        std::shared_ptr<CAMERA_HANDLE_S> record;
        {
            std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
            if (!g_stCameraCtx.initialised) {
                QV_LOGE("sdk not init");
                return QV_SDK_ERR_FAILED;
            }
            record = takeHandle(handle);
        }
        if (!record) {
            QV_LOGE("This camera handle not exist");
            return QV_SDK_ERR_UNKNOWN_HANDLE;
        }
        // An open camera is stopped and closed first: nothing is delivered with a dead handle.
        releaseRecord(record);
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
        if (g_stCameraCtx.records.count(handle) != 0) return QV_SDK_OK;
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
    std::shared_ptr<CameraSession> failed;  // destroyed last, after the handle mutex is released
    try {
        std::unique_lock<std::mutex> lock;
        CAMERA_HANDLE_S* record = nullptr;
        if (int ret = acquireHandle(handle, site, lock, record); ret != 0) return ret;
        if (record->session) {
            QV_LOGW("This camera already open");
            return QV_SDK_OK;
        }
        std::shared_ptr<CameraSession> session(new CameraSession(handle), retireSession);
        session->driver.reset(createCameraInstance(record->attr, handle));
        if (!session->driver) {
            QV_LOGE("create camera instance fail");
            return QV_SDK_ERR_FAILED;
        }
        record->session = session;
        record->driver = session->driver.get();
        int ret = -1;
        try {
            ret = record->driver->open(path);
        } catch (...) {
            ret = -1;  // reported below like any other failed open
        }
        if (ret == 0) return QV_SDK_OK;
        QV_LOGE("init camera error, maybe reopen can solve it");
        try {
            record->driver->close();
        } catch (...) {
        }
        record->driver = nullptr;
        failed = std::move(record->session);
        return ret;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_CloseCamera(void* handle)
{
    return transition(
        handle, QV_CALL_SITE, "This camera not open yet", true,
        [](CameraSession& session) { return session.driver->close(); },
        [](CAMERA_HANDLE_S& record, const std::shared_ptr<CameraSession>& session, int ret) {
            // A failed close keeps the driver so that close can be retried.
            if (ret == 0 && record.session == session) {
                record.session.reset();
                record.driver = nullptr;
            }
        });
}

int QV_SDK_RegisterStreamCallback(void* handle, STREAM_CALLBACK_S* callback)
{
    const CallSite site = QV_CALL_SITE;
    return withCamera(handle, site, [&](CAMERA_HANDLE_S& record) -> int {
        if (int ret = requireOpen(&record, site, "register callback failed, please open camera first"); ret != 0)
            return ret;
        STREAM_CALLBACK_S routed = record.session->relay.route(callback);
        return record.driver->registerDataCallback(&routed);
    });
}

int QV_SDK_RegisterInnerStreamCallback(void* handle, STREAM_CALLBACK_INNER_S* callback)
{
    const CallSite site = QV_CALL_SITE;
    return withCamera(handle, site, [&](CAMERA_HANDLE_S& record) -> int {
        if (int ret = requireOpen(&record, site, "register callback failed, please open camera first"); ret != 0)
            return ret;
        STREAM_CALLBACK_INNER_S routed = record.session->relay.route(callback);
        return record.driver->registerInnerDataCallback(&routed);
    });
}

namespace {
void keepSession(CAMERA_HANDLE_S&, const std::shared_ptr<CameraSession>&, int) {}
}  // namespace

int QV_SDK_StartStream(void* handle, int mask)
{
    return transition(
        handle, QV_CALL_SITE, "please open camera first", false,
        [mask](CameraSession& session) { return session.driver->startStreaming(mask); }, keepSession);
}

int QV_SDK_StopStream(void* handle, int mask)
{
    return transition(
        handle, QV_CALL_SITE, "please open camera first", false,
        [mask](CameraSession& session) { return session.driver->stopStreaming(mask); }, keepSession);
}

int QV_SDK_GetCameraHandle(void* handle, ICameraOps*& ops, QV_CAM_ATTR* attr)
{
    const CallSite site = QV_CALL_SITE;
    return withCamera(handle, site, [&](CAMERA_HANDLE_S& record) -> int {
        if (int ret = requireOpen(&record, site, "please open camera first"); ret != 0) return ret;
        ops = record.driver;
        if (attr != nullptr) std::memcpy(attr, &record.attr, sizeof *attr);
        return QV_SDK_OK;
    });
}

int QV_SDK_StartListener(QV_LISTENER_CALLBACK& callback, QV_LISTENER_TYPE type, bool enumerate)
{
    try {
        if (!initialised()) {
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
        // Started outside the context mutex: its callbacks may call the library at once.
        auto relay = std::make_unique<ListenerRelay>(std::move(listener), callback);
        const int ret = relay->start(enumerate);
        std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
        g_stCameraCtx.listeners.push_back(std::move(relay));
        return ret;
    } catch (...) {
        return unexpectedFailure(QV_CALL_SITE);
    }
}

int QV_SDK_StopListener()
{
    try {
        std::list<std::unique_ptr<ListenerRelay>> stopping;
        {
            std::lock_guard<std::mutex> ctx(g_stCameraCtx.mutex);
            stopping.swap(g_stCameraCtx.listeners);
        }
        // Joined outside the context mutex: a callback still running may be calling the library.
        for (auto& relay : stopping) ListenerRelay::stopAndDestroy(std::move(relay));
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
