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
    // Every other driver and command operation records its name and answers opResult.
    std::vector<std::string> ops;
    int opResult = 0;
    std::string serial = "SN0001";
    std::string fwVersion = "FW:1.2.3";
    std::string himaxVersion = "HX1";
    int privateCapacity = 256;
    int privateCapacityResult = 0;
    std::vector<std::pair<int, int>> privateAccess;  // (size, offset) of each read or write
    video_cfg streamCfg;
    bool hasCommand = true;
    int openResult = 0;
    int closeResult = 0;
    int startResult = 0;
    bool throwInStart = false;
    bool throwInOpen = false;
    Gate* startGate = nullptr;  // startStreaming waits here when set
    Gate* opGate = nullptr;     // every other driver operation waits here when set
    std::atomic<int> opens{0}, closes{0}, starts{0}, stops{0}, destroyed{0}, registrations{0};
    std::atomic<int> lastMask{-1};
    std::string lastOpenPath;
    STREAM_CALLBACK_S callback{};
};

class ScriptedCommand : public ICommand {
public:
    explicit ScriptedCommand(DriverScript& script) : m_script(script) {}
    int upgrade(std::string const& path, CAM_UPGRADE_DEV_S*) override { return record("upgrade:" + path); }
    int reboot() override { return record("reboot"); }
    int setSn(std::string const& sn) override { return record("setSn:" + sn); }
    int getSn(std::string& sn) override
    {
        sn = m_script.serial;
        return record("getSn");
    }
    int getFwVersion(std::string& v) override
    {
        v = m_script.fwVersion;
        return record("getFwVersion");
    }
    int getHimaxVersion(std::string& v) override
    {
        v = m_script.himaxVersion;
        return record("getHimaxVersion");
    }
    int getPrivateMaxSize(int& size) override
    {
        m_script.ops.push_back("getPrivateMaxSize");
        size = m_script.privateCapacity;
        return m_script.privateCapacityResult;
    }
    int writePrivateData(void*, int length, int offset) override
    {
        m_script.privateAccess.emplace_back(length, offset);
        return record("writePrivateData");
    }
    int readPrivateData(void*, int length, int offset) override
    {
        m_script.privateAccess.emplace_back(length, offset);
        return record("readPrivateData");
    }

private:
    int record(const std::string& op)
    {
        m_script.ops.push_back(op);
        return m_script.opResult;
    }
    DriverScript& m_script;
};

class ScriptedDriver : public ICameraOps {
public:
    ScriptedDriver(DriverScript& script, void* handle) : m_script(script), m_cmd(script) { m_handle = handle; }
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
    int getSerialNo(std::string& sn) override
    {
        sn = m_script.serial;
        return op("getSerialNo");
    }
    int getCameraParameter(CAM_Parameter*) override { return op("getCameraParameter"); }
    int getCapability(MEDIA_TYPE_E, std::vector<STREAM_PARAM_S>&) override { return op("getCapability"); }
    int setStreamParam(MEDIA_TYPE_E, STREAM_PARAM_S const*) override { return op("setStreamParam"); }
    int getStreamParam(STREAM_PARAM_S*) override { return op("getStreamParam"); }
    ICommand* cmd() override { return m_script.hasCommand ? &m_cmd : nullptr; }
    ICapture* capture() override { return nullptr; }
    int getTofMode(TOFMode&) override { return op("getTofMode"); }
    int setTimeStampType(TIME_STAMP_TYPE t) override { return op("setTimeStampType:" + std::to_string(t)); }
    int logCameraCfg() override { return op("logCameraCfg"); }
    int getConfigInfo(QV_CONFIG_INFO&) override { return op("getConfigInfo"); }
    int setDevNetAttrs(NET_DEV_ATTRS a) override { return op(std::string("setDevNetAttrs:") + a.ip); }
    int getDevNetAttrs(NET_DEV_ATTRS&) override { return op("getDevNetAttrs"); }
    int controlTransferRead(unsigned char, unsigned char*, unsigned int, int) override { return op("controlTransferRead"); }
    int controlTransferWrite(unsigned char, unsigned char*, unsigned int, int) override { return op("controlTransferWrite"); }
    int bulkTransferRead(unsigned char*, unsigned int, int) override { return op("bulkTransferRead"); }
    int bulkTransferWrite(unsigned char*, unsigned int, int) override { return op("bulkTransferWrite"); }
    int setStreamCfg(video_cfg const& cfg) override
    {
        m_script.streamCfg = cfg;
        return op("setStreamCfg");
    }
    int getStreamCfg(video_cfg& cfg) override
    {
        cfg = m_script.streamCfg;
        return op("getStreamCfg");
    }

private:
    int op(const std::string& name)
    {
        if (m_script.opGate) m_script.opGate->waitOpen();
        m_script.ops.push_back(name);
        return m_script.opResult;
    }
    DriverScript& m_script;
    ScriptedCommand m_cmd;
};

// The attached cameras enumeration reports, and how the factory answers.
struct World {
    std::vector<QV_CAM_ATTR> attached;
    int enumerationCalls = 0;
    std::vector<usb_id> lastIds;
    // Returns the script for a camera, or null to make the factory return no driver.
    std::function<DriverScript*(const QV_CAM_ATTR&)> scriptFor;
    // When set, builds the driver instead of scriptFor (to use a real driver class).
    std::function<ICameraOps*(const QV_CAM_ATTR&, void*)> makeDriver;
    void* lastFactoryHandle = nullptr;
};

World& world();

QV_CAM_ATTR usbCamera(uint32_t vid, uint32_t pid, int bus, int dev, const char* ports);

}  // namespace apitest
