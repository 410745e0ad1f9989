// Reports arrival and departure of the USB cameras of an identifier list
// through libusb's hot-plug events, on a thread of its own.
#pragma once

#include <libusb.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "IListener.h"
#include "UsbCameraList.h"

class Hotplug : public IListener {
public:
    explicit Hotplug(std::vector<usb_id> const& ids);
    ~Hotplug() override;

    int start(QV_LISTENER_CALLBACK const& callback, bool enumerate) override;
    int stop() override;

    static int LIBUSB_CALL hotplug_callback(libusb_context* context, libusb_device* device,
                                            libusb_hotplug_event event, void* user);
    static int LIBUSB_CALL hotplug_callback_detach(libusb_context* context, libusb_device* device,
                                                   libusb_hotplug_event event, void* user);

private:
    void handler();
    // Waits the arrival delay; false when the listener was stopped meanwhile.
    bool settle();
    // Builds the record and calls attach or detach when the device is one of ours.
    void report(libusb_device* device, bool arrived);

    std::vector<usb_id> m_ids;
    libusb_context* m_context = nullptr;
    std::atomic<int> m_stop{0};
    std::thread m_thread;
    QV_LISTENER_CALLBACK m_callback{};
    libusb_hotplug_callback_handle m_arrival = 0;
    libusb_hotplug_callback_handle m_departure = 0;
    // Cameras present at start: libusb reports them inside the registration, on the caller's
    // thread; they are kept here and reported from the handler thread.
    bool m_collecting = false;
    std::vector<libusb_device*> m_present;
    std::mutex m_waitMutex;
    std::condition_variable m_wake;
};
