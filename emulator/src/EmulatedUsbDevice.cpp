#include "EmulatedUsbDevice.h"

#include "ControlEndpoint.h"
#include "EmulatorLog.h"
#include "ServiceTimer.h"
#include "TestBedCore.h"
#include "UsbDeviceModel.h"
#include "UsbSysfsRecord.h"
#include "UsbdevfsHandler.h"
#include "WorkerHandoff.h"

namespace orrindale::emulator {

class EmulatedUsbDevice::Impl {
public:
    Impl(TestBedCore& bed, const UsbLocation& location, std::string devicePath, std::unique_ptr<UsbDeviceModel> model)
        : bed(bed),
          location(location),
          devicePath(std::move(devicePath)),
          model(std::move(model)),
          control(*this->model),
          timer([this] { service(); })
    {
    }

    // On the worker thread, by the timer.
    void service()
    {
        std::lock_guard<std::mutex> lock(model->mutex());
        if (handler) handler->serviceLocked(true);
        for (auto& old : retired) old->serviceLocked(true);
    }

    std::string syspath() const { return "/sys" + devicePath; }

    TestBedCore& bed;
    UsbLocation location;
    std::string devicePath;  // below /sys
    std::unique_ptr<UsbDeviceModel> model;
    ControlEndpoint control;
    UsbdevfsStatistics statistics;
    ServiceTimer timer;
    std::unique_ptr<UsbdevfsHandler> handler;              // serves the current plug-in
    std::vector<std::unique_ptr<UsbdevfsHandler>> retired;  // earlier plug-ins: hosts may still hold them
    bool plugged = false;
    std::vector<std::pair<std::function<void()>, std::function<void()>>> children;  // (added, leaving)
};

EmulatedUsbDevice::EmulatedUsbDevice(TestBedCore& bed, const UsbLocation& location, std::string sysfsDevicePath,
                                     std::unique_ptr<UsbDeviceModel> model)
    : m_impl(std::make_unique<Impl>(bed, location, std::move(sysfsDevicePath), std::move(model)))
{
    m_impl->model->m_device = this;
}

EmulatedUsbDevice::~EmulatedUsbDevice()
{
    Impl& d = *m_impl;
    // Serialised with every handler callback: after this no callback touches us.
    d.timer.runOnWorker([&d] {
        if (d.handler) d.handler->release();
        for (auto& old : d.retired) old->release();
        d.timer.stop();
    });
    if (d.handler) d.handler->detach(d.bed.testbed());
    for (auto& old : d.retired) old->detach(d.bed.testbed());
    d.model->m_device = nullptr;
}

const UsbLocation& EmulatedUsbDevice::location() const { return m_impl->location; }
int EmulatedUsbDevice::bus() const { return m_impl->location.bus; }
int EmulatedUsbDevice::address() const { return m_impl->location.address; }
std::string EmulatedUsbDevice::sysfsPath() const { return m_impl->syspath(); }
std::string EmulatedUsbDevice::deviceNode() const
{
    return UsbSysfsRecord::deviceNode(m_impl->location.bus, m_impl->location.address);
}
UsbDeviceModel& EmulatedUsbDevice::model() const { return *m_impl->model; }

bool EmulatedUsbDevice::plugged() const
{
    std::lock_guard<std::mutex> lock(m_impl->model->mutex());
    return m_impl->plugged;
}

bool EmulatedUsbDevice::plug()
{
    Impl& d = *m_impl;
    if (plugged()) return true;
    UsbSysfsFacts facts;
    facts.devicePath = d.devicePath;
    facts.bus = d.location.bus;
    facts.address = d.location.address;
    // The kernel's "devpath": the port chain as in the sysfs name, "0" for a root hub.
    const std::string name = d.location.sysfsName();
    facts.devpath = d.location.ports.empty() && !d.location.hiddenPortPath ? "0" : name.substr(name.find('-') + 1);
    facts.speedMbps = d.model->speedMbps();
    facts.descriptors = d.model->descriptors();
    if (facts.descriptors.size() >= 18) {
        facts.manufacturer = d.model->stringDescriptor(facts.descriptors[14]);
        facts.product = d.model->stringDescriptor(facts.descriptors[15]);
        facts.serial = d.model->stringDescriptor(facts.descriptors[16]);
        if (facts.descriptors[14] == 0) facts.manufacturer.clear();
        if (facts.descriptors[15] == 0) facts.product.clear();
        if (facts.descriptors[16] == 0) facts.serial.clear();
    }
    const std::string record = UsbSysfsRecord::build(facts);
    if (record.empty()) {
        emulatorLog("device at %s has no valid device descriptor", d.devicePath.c_str());
        return false;
    }
    GError* error = nullptr;
    // Adds attributes and node first, then emits the "add" uevent.
    if (!umockdev_testbed_add_from_string(d.bed.testbed(), record.c_str(), &error)) {
        emulatorLog("adding %s to the test bed failed: %s", d.devicePath.c_str(), error ? error->message : "?");
        g_clear_error(&error);
        return false;
    }
    UsbdevfsDeviceFacts deviceFacts;
    deviceFacts.address = d.location.address;
    deviceFacts.speedMbps = facts.speedMbps;
    deviceFacts.shareHostMemory = d.bed.options().shareHostMemory;
    auto handler = std::make_unique<UsbdevfsHandler>(*d.model, d.control, d.timer, d.statistics, deviceFacts);
    const std::string node = deviceNode();
    // A handler of an earlier plug-in stays attached until its node is needed again: umockdev
    // resets the connections of a detached handler, and a host request in flight on one then
    // aborts the host ("Error communicating with ioctl socket").
    std::vector<UsbdevfsHandler*> sameNode;
    {
        std::lock_guard<std::mutex> lock(d.model->mutex());
        for (auto& old : d.retired)
            if (old->deviceNode() == node) sameNode.push_back(old.get());
    }
    for (UsbdevfsHandler* old : sameNode) old->detach(d.bed.testbed());
    if (!handler->attach(d.bed.testbed(), node, d.bed.rootDir() + node, d.bed.options().readinessFifo)) {
        umockdev_testbed_remove_device(d.bed.testbed(), d.syspath().c_str());
        return false;
    }
    std::lock_guard<std::mutex> lock(d.model->mutex());
    d.handler = std::move(handler);
    d.control.reset();
    d.plugged = true;
    d.model->pluggedIn();
    WorkerHandoff::publish();
    for (auto& child : d.children) child.first();
    return true;
}

bool EmulatedUsbDevice::unplug()
{
    Impl& d = *m_impl;
    if (!plugged()) return false;
    for (auto child = d.children.rbegin(); child != d.children.rend(); ++child) child->second();
    {
        std::lock_guard<std::mutex> lock(d.model->mutex());
        if (!d.plugged) return false;
        d.plugged = false;
        d.handler->markGoneLocked();
        d.model->unplugged();
    }
    // A host blocked in REAPURB is answered on the worker thread.
    d.timer.scheduleAt(ServiceTimer::Clock::now());
    // "remove" goes out while the uevent file still names the node; removing the
    // device sends no uevent of its own.
    umockdev_testbed_uevent(d.bed.testbed(), d.syspath().c_str(), "remove");
    umockdev_testbed_remove_device(d.bed.testbed(), d.syspath().c_str());
    std::lock_guard<std::mutex> lock(d.model->mutex());
    d.retired.push_back(std::move(d.handler));
    return true;
}

bool EmulatedUsbDevice::replug(int address)
{
    Impl& d = *m_impl;
    if (plugged()) return false;
    if (address != 0 && address != d.location.address) {
        UsbLocation moved = d.location;
        moved.address = address;
        std::string why;
        if (!moved.valid(&why)) {
            emulatorLog("re-plug at address %d refused: %s", address, why.c_str());
            return false;
        }
        if (d.bed.topology().addressTaken(d.location.bus, address)) {
            emulatorLog("re-plug refused: address %d on bus %d is taken", address, d.location.bus);
            return false;
        }
        d.bed.topology().moveAddress(d.location.bus, d.location.address, address);
        d.location.address = address;
    }
    return plug();
}

void EmulatedUsbDevice::addChildHooks(std::function<void()> added, std::function<void()> leaving)
{
    m_impl->children.emplace_back(std::move(added), std::move(leaving));
    if (plugged()) m_impl->children.back().first();
}

std::vector<ControlRecord> EmulatedUsbDevice::controlRecord() const
{
    std::lock_guard<std::mutex> lock(m_impl->model->mutex());
    return m_impl->control.record();
}

void EmulatedUsbDevice::clearControlRecord()
{
    std::lock_guard<std::mutex> lock(m_impl->model->mutex());
    m_impl->control.clearRecord();
}

void EmulatedUsbDevice::setControlFault(const ControlMatch& match, ControlFault fault)
{
    std::lock_guard<std::mutex> lock(m_impl->model->mutex());
    m_impl->control.setFault(match, fault);
}

void EmulatedUsbDevice::clearControlFaults()
{
    std::lock_guard<std::mutex> lock(m_impl->model->mutex());
    m_impl->control.clearFaults();
}

void EmulatedUsbDevice::haltEndpoint(uint8_t endpoint)
{
    {
        std::lock_guard<std::mutex> lock(m_impl->model->mutex());
        m_impl->control.haltEndpoint(endpoint);
    }
    scheduleService(std::chrono::steady_clock::now());  // pending transfers on it end now
}

UsbdevfsStatistics EmulatedUsbDevice::statistics() const
{
    std::lock_guard<std::mutex> lock(m_impl->model->mutex());
    return m_impl->statistics;
}

void EmulatedUsbDevice::scheduleService(std::chrono::steady_clock::time_point when)
{
    m_impl->timer.scheduleAt(when == std::chrono::steady_clock::time_point() ? ServiceTimer::Clock::now() : when);
}

}  // namespace orrindale::emulator
