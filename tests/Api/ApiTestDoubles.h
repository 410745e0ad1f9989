// Stand-ins for enumeration and the camera factory, linked in place of the real
// ones, so the context and handle layer can be driven with scripted drivers.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "ICameraOps.h"
#include "UsbCameraList.h"

namespace apitest {

// A gate a driver operation waits at until the test opens it.
class Gate {
public:
    void open()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_cv.notify_all();
    }
    void waitOpen()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_entered = true;
        m_cv.notify_all();
        m_cv.wait(lock, [this] { return m_open; });
    }
    // Waits until some thread is waiting at the gate.
    bool waitEntered(int timeoutMs)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cv.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return m_entered; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_open = false;
    bool m_entered = false;
};

// What a scripted driver does; shared by the test and the driver it scripts.
struct DriverScript {
    int openResult = 0;
    int closeResult = 0;
    int startResult = 0;
    bool throwInStart = false;
    bool throwInOpen = false;
    Gate* startGate = nullptr;  // startStreaming waits here when set
    std::atomic<int> opens{0}, closes{0}, starts{0}, stops{0}, destroyed{0}, registrations{0};
    std::atomic<int> lastMask{-1};
    std::string lastOpenPath;
    STREAM_CALLBACK_S callback{};
};

class ScriptedDriver : public ICameraOps {
public:
    ScriptedDriver(DriverScript& script, void* handle) : m_script(script) { m_handle = handle; }
    ~ScriptedDriver() override { ++m_script.destroyed; }

    void* handle() const { return m_handle; }

    int registerDataCallback(STREAM_CALLBACK_S* cb) override
    {
        ++m_script.registrations;
        if (cb) m_script.callback = *cb;
        return 0;
    }
    int registerInnerDataCallback(STREAM_CALLBACK_INNER_S*) override
    {
        ++m_script.registrations;
        return 0;
    }
    int open(char const* path) override
    {
        ++m_script.opens;
        m_script.lastOpenPath = path ? path : "<null>";
        if (m_script.throwInOpen) throw std::runtime_error("device vanished");
        return m_script.openResult;
    }
    int close() override
    {
        ++m_script.closes;
        return m_script.closeResult;
    }
    int startStreaming(int mask) override
    {
        ++m_script.starts;
        m_script.lastMask = mask;
        if (m_script.startGate) m_script.startGate->waitOpen();
        if (m_script.throwInStart) throw std::runtime_error("transport failure");
        return m_script.startResult;
    }
    int stopStreaming(int mask) override
    {
        ++m_script.stops;
        m_script.lastMask = mask;
        return 0;
    }
    int getSerialNo(std::string&) override { return -1; }
    int getCameraParameter(CAM_Parameter*) override { return -1; }
    int getCapability(MEDIA_TYPE_E, std::vector<STREAM_PARAM_S>&) override { return -1; }
    int setStreamParam(MEDIA_TYPE_E, STREAM_PARAM_S const*) override { return -1; }
    int getStreamParam(STREAM_PARAM_S*) override { return -1; }
    ICommand* cmd() override { return nullptr; }
    ICapture* capture() override { return nullptr; }
    int getTofMode(TOFMode&) override { return -1; }
    int setTimeStampType(TIME_STAMP_TYPE) override { return -1; }
    int logCameraCfg() override { return 0; }
    int getConfigInfo(QV_CONFIG_INFO&) override { return -1; }
    int setDevNetAttrs(NET_DEV_ATTRS) override { return -1; }
    int getDevNetAttrs(NET_DEV_ATTRS&) override { return -1; }
    int controlTransferRead(unsigned char, unsigned char*, unsigned int, int) override { return -1; }
    int controlTransferWrite(unsigned char, unsigned char*, unsigned int, int) override { return -1; }
    int bulkTransferRead(unsigned char*, unsigned int, int) override { return -1; }
    int bulkTransferWrite(unsigned char*, unsigned int, int) override { return -1; }

private:
    DriverScript& m_script;
};

// The attached cameras enumeration reports, and how the factory answers.
struct World {
    std::vector<QV_CAM_ATTR> attached;
    int enumerationCalls = 0;
    std::vector<usb_id> lastIds;
    // Returns the script for a camera, or null to make the factory return no driver.
    std::function<DriverScript*(const QV_CAM_ATTR&)> scriptFor;
    void* lastFactoryHandle = nullptr;
};

World& world();

QV_CAM_ATTR usbCamera(uint32_t vid, uint32_t pid, int bus, int dev, const char* ports);

}  // namespace apitest
