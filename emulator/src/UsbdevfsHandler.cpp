#include "UsbdevfsHandler.h"

#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <mutex>

#include "ControlEndpoint.h"
#include "EmulatorLog.h"
#include "ServiceTimer.h"
#include "UsbDeviceModel.h"
#include "WorkerHandoff.h"

#ifndef USBDEVFS_GET_SPEED
#define USBDEVFS_GET_SPEED _IO('U', 31)
#endif

namespace orrindale::emulator {

namespace {

constexpr const char* kClientKey = "orr-usbdevfs-client";

int endpointBit(uint8_t endpoint) { return (endpoint & 0x0f) + ((endpoint & 0x80) ? 16 : 0); }

// Number the kernel reports for a speed (enum usb_device_speed).
int kernelSpeed(int mbps) { return mbps >= 5000 ? 5 : mbps >= 480 ? 3 : mbps >= 12 ? 2 : 1; }

uintptr_t argumentWord(UMockdevIoctlData* arg)
{
    uintptr_t word = 0;
    std::memcpy(&word, arg->data, std::min(sizeof word, size_t(arg->data_len)));
    return word;
}

}  // namespace

UsbdevfsHandler::UsbdevfsHandler(UsbDeviceModel& model, ControlEndpoint& control, ServiceTimer& timer,
                                 UsbdevfsStatistics& statistics, const UsbdevfsDeviceFacts& facts)
    : m_model(model),
      m_control(control),
      m_timer(timer),
      m_statistics(statistics),
      m_facts(facts),
      m_registry(std::make_shared<UsbdevfsClientRegistry>())
{
    m_registry->handler = this;
    WorkerHandoff::publish();
}

UsbdevfsHandler::~UsbdevfsHandler()
{
    if (m_base != nullptr) g_object_unref(m_base);
}

bool UsbdevfsHandler::attach(UMockdevTestbed* testbed, const std::string& deviceNode, const std::string& nodeFile,
                             bool readinessFifo)
{
    m_deviceNode = deviceNode;
    if (readinessFifo && !m_fifo.create(nodeFile)) return false;
    m_base = umockdev_ioctl_base_new();
    g_signal_connect(m_base, "handle-ioctl", G_CALLBACK(&UsbdevfsHandler::onIoctl), this);
    g_signal_connect(m_base, "handle-read", G_CALLBACK(&UsbdevfsHandler::onRead), this);
    WorkerHandoff::publish();
    GError* error = nullptr;
    if (!umockdev_testbed_attach_ioctl(testbed, deviceNode.c_str(), m_base, &error)) {
        emulatorLog("attaching the handler of %s failed: %s", deviceNode.c_str(), error ? error->message : "?");
        g_clear_error(&error);
        return false;
    }
    m_attached = true;
    return true;
}

void UsbdevfsHandler::detach(UMockdevTestbed* testbed)
{
    if (!m_attached) return;
    m_attached = false;
    umockdev_testbed_detach_ioctl(testbed, m_deviceNode.c_str(), nullptr);
}

void UsbdevfsHandler::release()
{
    std::lock_guard<std::mutex> registryLock(m_registry->mutex);
    std::lock_guard<std::mutex> lock(m_model.mutex());
    if (m_base != nullptr) g_signal_handlers_disconnect_by_data(m_base, this);
    m_registry->handler = nullptr;
    m_clients.clear();
}

gboolean UsbdevfsHandler::onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto* handler = static_cast<UsbdevfsHandler*>(self);
    WorkerHandoff::receive();
    handler->m_timer.learnWorkerContext();
    std::lock_guard<std::mutex> lock(handler->m_model.mutex());
    handler->handleIoctl(client);
    return TRUE;
}

// read() on a usbfs node returns the raw descriptors, as the kernel does.
gboolean UsbdevfsHandler::onRead(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto* handler = static_cast<UsbdevfsHandler*>(self);
    WorkerHandoff::receive();
    UMockdevIoctlData* arg = umockdev_ioctl_client_get_arg(client);
    long count = 0;
    {
        std::lock_guard<std::mutex> lock(handler->m_model.mutex());
        UsbdevfsClient& state = handler->clientState(client);
        const auto descriptors = handler->m_model.descriptors();
        if (state.readOffset < descriptors.size()) {
            count = long(std::min(size_t(arg->data_len), descriptors.size() - state.readOffset));
            std::memcpy(arg->data, descriptors.data() + state.readOffset, size_t(count));
            state.readOffset += size_t(count);
        } else {
            state.readOffset = 0;  // umockdev does not forward lseek(): start over after EOF
        }
    }
    umockdev_ioctl_client_complete(client, count, 0);
    return TRUE;
}

void UsbdevfsHandler::forgetClient(gpointer record)
{
    auto* state = static_cast<UsbdevfsClient*>(record);
    {
        std::lock_guard<std::mutex> registryLock(state->registry->mutex);
        UsbdevfsHandler* handler = state->registry->handler;
        if (handler != nullptr) {
            std::lock_guard<std::mutex> lock(handler->m_model.mutex());
            handler->m_clients.remove(state);
            handler->updateReadiness();
        }
    }
    delete state;
}

UsbdevfsClient& UsbdevfsHandler::clientState(UMockdevIoctlClient* client)
{
    auto* state = static_cast<UsbdevfsClient*>(g_object_get_data(G_OBJECT(client), kClientKey));
    if (state != nullptr) return *state;
    state = new UsbdevfsClient;
    state->registry = m_registry;
    state->client = client;
    if (!m_facts.shareHostMemory) state->memory = UsbdevfsClient::Memory::Copied;
    m_clients.push_back(state);
    // umockdev 0.17 never emits "client-vanished": the record goes with the client object.
    g_object_set_data_full(G_OBJECT(client), kClientKey, state, &UsbdevfsHandler::forgetClient);
    return *state;
}

bool UsbdevfsHandler::claimedByOther(const UsbdevfsClient& me, unsigned interfaceNumber) const
{
    for (const UsbdevfsClient* other : m_clients)
        if (other != &me && (other->claimed & (1u << interfaceNumber))) return true;
    return false;
}

void UsbdevfsHandler::handleIoctl(UMockdevIoctlClient* client)
{
    const gulong request = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData* arg = umockdev_ioctl_client_get_arg(client);
    UsbdevfsClient& state = clientState(client);
    ++m_statistics.ioctls;

    auto complete = [client](long result, int error) { umockdev_ioctl_client_complete(client, result, error); };
    if (_IOC_TYPE(request) != 'U') return complete(-1, ENOTTY);

    switch (request) {
    case USBDEVFS_SUBMITURB:
        if (m_gone) return complete(-1, ENODEV);
        return submitUrb(state, client);
    case USBDEVFS_REAPURB:
    case USBDEVFS_REAPURBNDELAY:
        return reapUrb(state, client, request == USBDEVFS_REAPURB);
    case USBDEVFS_DISCARDURB:
        return discardUrb(state, client);
    default:
        break;
    }
    if (m_gone && request != USBDEVFS_RELEASEINTERFACE) return complete(-1, ENODEV);

    // The remaining requests pass a pointer to a fixed-size argument.
    UMockdevIoctlData* data = nullptr;
    const size_t size = _IOC_SIZE(request);
    if (size > 0) {
        GError* error = nullptr;
        data = umockdev_ioctl_data_resolve(arg, 0, size, &error);
        if (data == nullptr) {
            g_clear_error(&error);
            return complete(-1, EFAULT);
        }
    }
    auto word = [data]() {
        unsigned value = 0;
        std::memcpy(&value, data->data, sizeof value);
        return value;
    };
    long result = 0;
    int error = 0;
    switch (request) {
    case USBDEVFS_GET_CAPABILITIES: {
        const uint32_t caps = USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
                              USBDEVFS_CAP_NO_PACKET_SIZE_LIM | USBDEVFS_CAP_BULK_SCATTER_GATHER |
                              USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
        std::memcpy(data->data, &caps, sizeof caps);
        break;
    }
    case USBDEVFS_CLAIMINTERFACE: {
        const unsigned number = word();
        if (number >= 32) {
            result = -1, error = EINVAL;
        } else if (claimedByOther(state, number)) {
            result = -1, error = EBUSY;
        } else {
            state.claimed |= 1u << number;
        }
        break;
    }
    case USBDEVFS_DISCONNECT_CLAIM: {
        usbdevfs_disconnect_claim claim;
        std::memcpy(&claim, data->data, sizeof claim);
        if (claim.interface >= 32) {
            result = -1, error = EINVAL;
        } else if (claimedByOther(state, claim.interface)) {
            result = -1, error = EBUSY;
        } else {
            state.claimed |= 1u << claim.interface;
        }
        break;
    }
    case USBDEVFS_RELEASEINTERFACE: {
        const unsigned number = word();
        if (number >= 32 || !(state.claimed & (1u << number)))
            result = -1, error = EINVAL;
        else
            state.claimed &= ~(1u << number);
        break;
    }
    case USBDEVFS_SETINTERFACE: {
        usbdevfs_setinterface setting;
        std::memcpy(&setting, data->data, sizeof setting);
        kernelRequest(0x01, 0x0B, uint16_t(setting.altsetting), uint16_t(setting.interface));
        break;
    }
    case USBDEVFS_SETCONFIGURATION:
        kernelRequest(0x00, 0x09, uint16_t(word()), 0);
        break;
    case USBDEVFS_CLEAR_HALT:
        kernelRequest(0x02, 0x01, 0, uint16_t(word() & 0xff));
        serviceLocked(true);
        break;
    case USBDEVFS_RESETEP:
    case USBDEVFS_RESET:
        break;
    case USBDEVFS_GETDRIVER:
    case USBDEVFS_IOCTL:  // no kernel driver is bound to any interface
        result = -1, error = ENODATA;
        break;
    case USBDEVFS_CONNECTINFO: {
        usbdevfs_connectinfo info{};
        info.devnum = unsigned(m_facts.address);
        info.slow = m_facts.speedMbps < 12 ? 1 : 0;
        std::memcpy(data->data, &info, sizeof info);
        break;
    }
    case USBDEVFS_GET_SPEED:
        result = kernelSpeed(m_facts.speedMbps);
        break;
    case USBDEVFS_CONTROL: {
        const int r = syncControl(data);
        if (r < 0)
            result = -1, error = r == kTransferNotReady ? ETIMEDOUT : -r;
        else
            result = r;
        break;
    }
    default:
        result = -1, error = ENOTTY;
        break;
    }
    complete(result, error);
    if (data != nullptr) g_object_unref(data);
}

void UsbdevfsHandler::kernelRequest(uint8_t requestType, uint8_t request, uint16_t value, uint16_t index)
{
    ControlSetup setup;
    setup.requestType = requestType;
    setup.request = request;
    setup.value = value;
    setup.index = index;
    m_control.handle(setup, nullptr);
}

int UsbdevfsHandler::syncControl(UMockdevIoctlData* data)
{
    usbdevfs_ctrltransfer transfer;
    std::memcpy(&transfer, data->data, sizeof transfer);
    ControlSetup setup{transfer.bRequestType, transfer.bRequest, transfer.wValue, transfer.wIndex, transfer.wLength};
    UMockdevIoctlData* buffer = nullptr;
    if (transfer.wLength > 0) {
        GError* error = nullptr;
        buffer = umockdev_ioctl_data_resolve(data, offsetof(usbdevfs_ctrltransfer, data), transfer.wLength, &error);
        if (buffer == nullptr) {
            g_clear_error(&error);
            return -EFAULT;
        }
    }
    const int result = m_control.handle(setup, buffer ? reinterpret_cast<uint8_t*>(buffer->data) : nullptr);
    if (buffer != nullptr) g_object_unref(buffer);
    return result;
}

void UsbdevfsHandler::submitUrb(UsbdevfsClient& state, UMockdevIoctlClient* client)
{
    UMockdevIoctlData* arg = umockdev_ioctl_client_get_arg(client);
    std::unique_ptr<UrbRequest> request;
    if (state.memory == UsbdevfsClient::Memory::Shared) {
        request = UrbRequest::inPlace(argumentWord(arg));
    } else {
        bool shares = false;
        const bool probe = state.memory == UsbdevfsClient::Memory::Unknown;
        request = UrbRequest::copyFromHost(arg, probe ? &shares : nullptr);
        if (request && probe)
            state.memory = shares ? UsbdevfsClient::Memory::Shared : UsbdevfsClient::Memory::Copied;
    }
    if (!request) return umockdev_ioctl_client_complete(client, -1, EINVAL);
    usbdevfs_urb& urb = request->urb();
    if (urb.type == USBDEVFS_URB_TYPE_CONTROL && urb.buffer_length < 8)
        return umockdev_ioctl_client_complete(client, -1, EINVAL);
    request->finish(-EINPROGRESS, 0);
    ++m_statistics.submitted;
    if (request->inPlace()) ++m_statistics.servedInPlace;
    state.pending.push_back(std::move(request));
    serviceClient(state);
    updateReadiness();
    umockdev_ioctl_client_complete(client, 0, 0);
}

void UsbdevfsHandler::reapUrb(UsbdevfsClient& state, UMockdevIoctlClient* client, bool blocking)
{
    serviceClient(state);
    if (!state.done.empty()) {
        completeReap(state, client);
    } else if (m_gone) {
        umockdev_ioctl_client_complete(client, -1, ENODEV);
    } else if (!blocking) {
        ++m_statistics.emptyReaps;
        umockdev_ioctl_client_complete(client, -1, EAGAIN);
    } else {
        state.reapWaiting = true;  // answered by a later service
    }
    updateReadiness();
}

void UsbdevfsHandler::completeReap(UsbdevfsClient& state, UMockdevIoctlClient* client)
{
    std::unique_ptr<UrbRequest> request = std::move(state.done.front());
    state.done.pop_front();
    ++m_statistics.reaped;
    UMockdevIoctlData* arg = umockdev_ioctl_client_get_arg(client);
    if (request->inPlace()) {
        // The host waits in ioctl(); its "struct usbdevfs_urb *" variable is ours to set.
        void* urb = reinterpret_cast<void*>(request->hostAddress());
        std::memcpy(reinterpret_cast<void*>(argumentWord(arg)), &urb, sizeof urb);
        umockdev_ioctl_client_complete(client, 0, 0);
        return;
    }
    GError* error = nullptr;
    UMockdevIoctlData* pointer = umockdev_ioctl_data_resolve(arg, 0, sizeof(void*), &error);
    if (pointer == nullptr) {
        emulatorLog("reaping on %s: host memory unreadable: %s", m_deviceNode.c_str(), error ? error->message : "?");
        g_clear_error(&error);
        umockdev_ioctl_client_complete(client, -1, EFAULT);
        return;
    }
    // Point the host's variable at its URB; completing writes the URB and buffer back.
    umockdev_ioctl_data_set_ptr(pointer, 0, request->urbData());
    umockdev_ioctl_client_complete(client, 0, 0);
    g_object_unref(pointer);
}

void UsbdevfsHandler::discardUrb(UsbdevfsClient& state, UMockdevIoctlClient* client)
{
    const uintptr_t address = argumentWord(umockdev_ioctl_client_get_arg(client));
    const auto it = std::find_if(state.pending.begin(), state.pending.end(),
                                 [address](const auto& r) { return r->hostAddress() == address; });
    if (it == state.pending.end()) return umockdev_ioctl_client_complete(client, -1, EINVAL);
    (*it)->finish(-ENOENT, 0);
    state.done.push_back(std::move(*it));
    state.pending.erase(it);
    updateReadiness();
    umockdev_ioctl_client_complete(client, 0, 0);
}

void UsbdevfsHandler::serviceClient(UsbdevfsClient& state)
{
    // In submission order per endpoint: a transfer the model holds back holds back the
    // ones queued behind it on the same endpoint.
    uint32_t blocked = 0;
    for (auto it = state.pending.begin(); it != state.pending.end();) {
        const int bit = endpointBit((*it)->urb().endpoint);
        if ((blocked >> bit) & 1u) {
            ++it;
            continue;
        }
        if (processUrb(**it)) {
            state.done.push_back(std::move(*it));
            it = state.pending.erase(it);
        } else {
            blocked |= 1u << bit;
            ++it;
        }
    }
}

bool UsbdevfsHandler::processUrb(UrbRequest& request)
{
    usbdevfs_urb& urb = request.urb();
    if (m_gone) {
        request.finish(-ENODEV, 0);
        return true;
    }
    switch (urb.type) {
    case USBDEVFS_URB_TYPE_CONTROL: {
        if (request.parked) return false;
        uint8_t* buffer = request.buffer();
        ControlSetup setup;
        setup.requestType = buffer[0];
        setup.request = buffer[1];
        setup.value = uint16_t(buffer[2] | (buffer[3] << 8));
        setup.index = uint16_t(buffer[4] | (buffer[5] << 8));
        setup.length = uint16_t(std::min<int>(buffer[6] | (buffer[7] << 8), urb.buffer_length - 8));
        const int result = m_control.handle(setup, buffer + 8);
        if (result == kTransferNotReady) {
            request.parked = true;
            return false;
        }
        if (result < 0)
            request.finish(result, 0);
        else
            request.finish(0, result);
        return true;
    }
    case USBDEVFS_URB_TYPE_BULK:
    case USBDEVFS_URB_TYPE_INTERRUPT: {
        if (m_control.endpointHalted(urb.endpoint)) {
            request.finish(-EPIPE, 0);
            return true;
        }
        const int result = m_model.dataTransfer(urb.endpoint, request.buffer(), urb.buffer_length);
        if (result == kTransferNotReady) return false;
        if (result == kTransferStall) m_control.haltEndpoint(urb.endpoint);
        if (result < 0)
            request.finish(result, 0);
        else
            request.finish(0, std::min(result, urb.buffer_length));
        return true;
    }
    case USBDEVFS_URB_TYPE_ISO:
        return processIsochronous(request);
    default:
        request.finish(-EINVAL, 0);
        return true;
    }
}

bool UsbdevfsHandler::processIsochronous(UrbRequest& request)
{
    usbdevfs_urb& urb = request.urb();
    usbdevfs_iso_packet_desc* packets = request.isoPackets();
    int offset = 0;
    int total = 0;
    for (int i = 0; i < urb.number_of_packets; ++i) {
        const int length = int(packets[i].length);
        if (offset + length > urb.buffer_length) break;
        int result = m_model.isochronousPacket(urb.endpoint, request.buffer() + offset, length);
        if (result == kTransferNotReady && i == 0) return false;
        result = std::clamp(result, 0, length);
        packets[i].actual_length = unsigned(result);
        packets[i].status = 0;
        total += result;
        offset += length;
    }
    urb.error_count = 0;
    urb.start_frame = m_frameNumber;
    m_frameNumber += urb.number_of_packets;
    request.finish(0, total);
    return true;
}

void UsbdevfsHandler::serviceLocked(bool onWorker)
{
    for (UsbdevfsClient* state : m_clients) {
        serviceClient(*state);
        if (!onWorker || !state->reapWaiting) continue;
        if (!state->done.empty()) {
            state->reapWaiting = false;
            completeReap(*state, state->client);
        } else if (m_gone) {
            state->reapWaiting = false;
            umockdev_ioctl_client_complete(state->client, -1, ENODEV);
        }
    }
    updateReadiness();
}

void UsbdevfsHandler::markGoneLocked()
{
    m_gone = true;
    serviceLocked(false);
}

void UsbdevfsHandler::updateReadiness()
{
    // Not "ready" once a gone device's URBs are all reaped: the FIFO cannot raise the
    // POLLERR a real node would, and a ready node would keep libusb reaping ENODEV.
    bool ready = false;
    for (const UsbdevfsClient* state : m_clients) ready = ready || !state->done.empty();
    m_fifo.setReady(ready);
}

}  // namespace orrindale::emulator
