// ICapture for cameras that stream as USB Video Class devices, through libuvc.
// Binds to one physical device: vendor/product and bus number/device address.
#pragma once

#include <libuvc/libuvc.h>

#include <atomic>
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
    // What libuvc's callback thread holds on to. Closing it guarantees that no frame
    // reaches the driver any more, even when libuvc's session cannot be stopped.
    struct FrameGate {
        explicit FrameGate(UvcCamera* owner) : camera(owner) {}
        UvcCamera* camera;
        std::atomic<bool> open{true};
        std::atomic<int> inFlight{0};
    };

    void deliver(uvc_frame* frame);
    // Closes the gate and waits for a frame being delivered (unless called from inside one).
    void closeGate();
    void readPortInfo(int bus, int address);
    // True once libusb knows the device has left (it was unplugged).
    bool deviceGone() const;
    // Leaves an unplugged device's libuvc session alone: see abandonSession() in the source.
    void abandonSession();

    uvc_context_t* m_context = nullptr;
    uvc_device_t* m_device = nullptr;
    uvc_device_handle_t* m_handle = nullptr;
    uint8_t m_port = 0;
    std::vector<int> m_portPath;
    video_cfg m_cfg;
    uvc_stream_ctrl_t m_ctrl{};
    std::string m_serial;
    bool m_readSerial = false;
    bool m_streaming = false;
    bool m_abandoned = false;  // the session of an unplugged device is never torn down
    std::unique_ptr<FrameGate> m_gate;
};
