// ICapture for cameras that stream as USB Video Class devices, through libuvc.
// Binds to one physical device: vendor/product and bus number/device address.
#pragma once

#include <libuvc/libuvc.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <memory>
#include <string>
#include <vector>

#include "ICapture.h"

// Like uvc_find_device, but the device must also sit on bus `bus` at address `address`.
// On success *device holds a reference the caller releases with uvc_unref_device.
uvc_error_t uvc_find_device2(uvc_context_t* context, uvc_device_t** device, int vid, int pid, int bus, int address);

class UvcCamera : public ICapture {
public:
    UvcCamera(int vid, int pid, int bus, int address, bool readSerial);
    ~UvcCamera() override;
    UvcCamera(const UvcCamera&) = delete;
    UvcCamera& operator=(const UvcCamera&) = delete;

    int open() override;
    int close() override;
    int getCapability(std::vector<video_attr_s>& list) override;
    int start(video_cfg const& cfg) override;
    int stop() override;
    int cmdMsg(void* request) override;
    int read(void* buffer, int size, int timeout) override;

    static void image_callback(uvc_frame* frame, void* user);

    uint8_t portNumber() const { return m_port; }
    const std::vector<int>& portPath() const { return m_portPath; }

private:
    // What libuvc's callback thread is handed for one stream; closed, no frame reaches the driver.
    struct FrameGate {
        explicit FrameGate(UvcCamera* owner) : camera(owner) {}
        UvcCamera* camera;
        std::atomic<bool> open{true};
        std::atomic<int> inFlight{0};
    };

    void deliver(uvc_frame* frame);
    void readPortInfo(int bus, int address);
    // Makes the libuvc context and finds the device (again, after a close); logs what fails.
    void findDevice();
    // On libuvc's callback thread of this transport.
    bool onOwnThread() const;
    // Waits for another thread's join, then finishes a stop or close asked for from inside the
    // callback. Never on the transport's own thread.
    void settle(std::unique_lock<std::mutex>& lock);
    // Stops libuvc's stream and joins its thread, without the lock.
    void stopStream(std::unique_lock<std::mutex>& lock);
    // Stops, closes and ends the libuvc session, without the lock.
    void teardown(std::unique_lock<std::mutex>& lock);
    // True once libusb has seen the device leave; logs that once per session.
    bool departed(uvc_device_handle_t* handle);
    // Leaves an unplugged device's libuvc session unclosed (its threads and descriptors stay until
    // the process ends): only when libusb's alternate-setting call is not guarded (DepartedDeviceGuard),
    // where closing it would abort the process.
    void abandonSession(std::unique_lock<std::mutex>& lock);

    const int m_vid, m_pid, m_bus, m_address;
    uvc_context_t* m_context = nullptr;
    uvc_device_t* m_device = nullptr;
    uvc_device_handle_t* m_handle = nullptr;
    uint8_t m_port = 0;
    std::vector<int> m_portPath;
    video_cfg m_cfg;
    uvc_stream_ctrl_t m_ctrl{};
    std::string m_serial;
    bool m_readSerial = false;

    // Guards the session state below; never held while a callback runs or a thread is joined.
    std::mutex m_mutex;
    std::condition_variable m_idle;
    bool m_busy = false;       // a thread is joining libuvc's threads without the lock
    bool m_streaming = false;  // libuvc's stream runs (and must be stopped from outside the callback)
    bool m_closing = false;    // closed from inside the callback: torn down by the next outside call
    bool m_unplugNoted = false;
    std::unique_ptr<FrameGate> m_gate;
};
