// Serves the usbdevfs requests on one plugged-in device node: claims, control, bulk,
// interrupt and isochronous URBs, their reaping and discarding, and the end of every
// pending URB with ENODEV when the device is unplugged. Runs on umockdev's worker
// thread under the model's mutex; a new handler serves each plug-in.
#pragma once

#include <umockdev.h>

#include <list>
#include <memory>
#include <string>

#include "ReadinessFifo.h"
#include "UsbControlTypes.h"
#include "UsbdevfsClient.h"

namespace orrindale::emulator {

class ControlEndpoint;
class ServiceTimer;
class UsbDeviceModel;

struct UsbdevfsDeviceFacts {
    int address = 0;
    int speedMbps = 480;
    bool shareHostMemory = true;  // serve hosts in this process in place
};

class UsbdevfsHandler {
public:
    UsbdevfsHandler(UsbDeviceModel& model, ControlEndpoint& control, ServiceTimer& timer,
                    UsbdevfsStatistics& statistics, const UsbdevfsDeviceFacts& facts);
    UsbdevfsHandler(const UsbdevfsHandler&) = delete;
    UsbdevfsHandler& operator=(const UsbdevfsHandler&) = delete;
    ~UsbdevfsHandler();

    // Turns the node file into a readiness FIFO (when asked) and attaches to umockdev.
    bool attach(UMockdevTestbed* testbed, const std::string& deviceNode, const std::string& nodeFile,
                bool readinessFifo);
    void detach(UMockdevTestbed* testbed);
    const std::string& deviceNode() const { return m_deviceNode; }

    // With the model's mutex held: offer pending URBs to the model, complete what is
    // reapable. `onWorker` allows completing a waiting blocking REAPURB.
    void serviceLocked(bool onWorker);
    // With the model's mutex held: every pending URB ends with ENODEV, requests fail.
    void markGoneLocked();
    // On the worker thread: stop handling; clients still open get orphaned.
    void release();

private:
    static gboolean onIoctl(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static gboolean onRead(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static void forgetClient(gpointer record);

    void handleIoctl(UMockdevIoctlClient* client);
    void submitUrb(UsbdevfsClient& state, UMockdevIoctlClient* client);
    void reapUrb(UsbdevfsClient& state, UMockdevIoctlClient* client, bool blocking);
    void completeReap(UsbdevfsClient& state, UMockdevIoctlClient* client);
    void discardUrb(UsbdevfsClient& state, UMockdevIoctlClient* client);
    int syncControl(UMockdevIoctlData* arg);
    // A standard request the kernel itself sends for an ioctl (recorded like any other).
    void kernelRequest(uint8_t requestType, uint8_t request, uint16_t value, uint16_t index);
    UsbdevfsClient& clientState(UMockdevIoctlClient* client);
    bool claimedByOther(const UsbdevfsClient& me, unsigned interfaceNumber) const;
    void serviceClient(UsbdevfsClient& state);
    bool processUrb(UrbRequest& request);
    bool processIsochronous(UrbRequest& request);
    void updateReadiness();

    UsbDeviceModel& m_model;
    ControlEndpoint& m_control;
    ServiceTimer& m_timer;
    UsbdevfsStatistics& m_statistics;
    UsbdevfsDeviceFacts m_facts;
    std::shared_ptr<UsbdevfsClientRegistry> m_registry;
    std::list<UsbdevfsClient*> m_clients;
    UMockdevIoctlBase* m_base = nullptr;
    std::string m_deviceNode;
    ReadinessFifo m_fifo;
    bool m_gone = false;
    bool m_attached = false;
    int m_frameNumber = 0;
};

}  // namespace orrindale::emulator
