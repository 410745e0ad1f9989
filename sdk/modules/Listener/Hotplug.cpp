#include "Hotplug.h"

#include <chrono>
#include <cstdio>

#include "UsbAttrBuilder.h"

Hotplug::Hotplug(std::vector<usb_id> const& ids) : m_ids(ids) {}

Hotplug::~Hotplug() { stop(); }

int Hotplug::start(QV_LISTENER_CALLBACK const& callback, bool enumerate)
{
    if (m_context != nullptr) return 0;  // already running
    m_callback = callback;
    int ret = libusb_init(&m_context);
    if (ret < 0) {
        m_context = nullptr;
        return ret;
    }
    if (!libusb_has_capability(LIBUSB_CAP_HAS_HOTPLUG)) {
        libusb_exit(m_context);
        m_context = nullptr;
        return LIBUSB_ERROR_NOT_SUPPORTED;
    }
    m_collecting = true;
    ret = libusb_hotplug_register_callback(m_context, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED,
                                           enumerate ? LIBUSB_HOTPLUG_ENUMERATE : static_cast<libusb_hotplug_flag>(0),
                                           LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY,
                                           hotplug_callback, this, &m_arrival);
    if (ret == LIBUSB_SUCCESS)
        ret = libusb_hotplug_register_callback(m_context, LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT,
                                               static_cast<libusb_hotplug_flag>(0), LIBUSB_HOTPLUG_MATCH_ANY,
                                               LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY,
                                               hotplug_callback_detach, this, &m_departure);
    m_collecting = false;
    if (ret != LIBUSB_SUCCESS) {
        for (libusb_device* device : m_present) libusb_unref_device(device);
        m_present.clear();
        libusb_exit(m_context);  // also drops a callback registered above
        m_context = nullptr;
        return ret;
    }
    m_stop = 0;
    m_thread = std::thread(&Hotplug::handler, this);
    return 0;
}

int Hotplug::stop()
{
    if (m_context == nullptr) return 0;
    {
        std::lock_guard<std::mutex> lock(m_waitMutex);
        m_stop = 1;
    }
    m_wake.notify_all();  // ends an arrival delay at once
    // From inside one of its own callbacks: nothing more is reported, and the thread is joined
    // later by whoever destroys the listener (never on this thread).
    if (std::this_thread::get_id() == m_thread.get_id()) return 0;
    libusb_hotplug_deregister_callback(m_context, m_arrival);
    libusb_hotplug_deregister_callback(m_context, m_departure);
    libusb_interrupt_event_handler(m_context);  // do not wait out the 5 s event timeout
    if (m_thread.joinable()) m_thread.join();
    for (libusb_device* device : m_present) libusb_unref_device(device);
    m_present.clear();
    libusb_exit(m_context);
    m_context = nullptr;
    return 0;
}

void Hotplug::handler()
{
    for (libusb_device* device : m_present) {
        if (!m_stop) report(device, true);
        libusb_unref_device(device);
    }
    m_present.clear();
    while (!m_stop) {
        timeval timeout{5, 0};
        const int ret = libusb_handle_events_timeout_completed(m_context, &timeout, reinterpret_cast<int*>(&m_stop));
        if (ret < 0) std::printf("libusb_handle_events() failed: %s\n", libusb_error_name(ret));
    }
}

bool Hotplug::settle()
{
    std::unique_lock<std::mutex> lock(m_waitMutex);
    return !m_wake.wait_for(lock, std::chrono::seconds(1), [this] { return m_stop != 0; });
}

void Hotplug::report(libusb_device* device, bool arrived)
{
    libusb_device_descriptor descriptor{};
    if (libusb_get_device_descriptor(device, &descriptor) < 0) {
        std::fprintf(stderr, "Error getting device descriptor\n");
        return;
    }
    // Exact pairs only: -1 is no wildcard here.
    bool listed = false;
    for (const usb_id& id : m_ids)
        if (id.vid == descriptor.idVendor && id.pid == descriptor.idProduct) listed = true;
    auto* function = arrived ? m_callback.attach : m_callback.detach;
    if (!listed || function == nullptr) return;

    QV_CAM_ATTR attr;
    buildUsbCameraAttr(device, descriptor, attr);
    if (arrived && !settle()) return;  // let the device settle
    if (m_stop) return;
    function(&attr, m_callback.user);
}

int LIBUSB_CALL Hotplug::hotplug_callback(libusb_context*, libusb_device* device, libusb_hotplug_event, void* user)
{
    auto* self = static_cast<Hotplug*>(user);
    if (self->m_collecting) {
        self->m_present.push_back(libusb_ref_device(device));  // reported from the handler thread
        return 0;
    }
    self->report(device, true);
    return 0;
}

int LIBUSB_CALL Hotplug::hotplug_callback_detach(libusb_context*, libusb_device* device, libusb_hotplug_event,
                                                 void* user)
{
    static_cast<Hotplug*>(user)->report(device, false);
    return 0;
}
