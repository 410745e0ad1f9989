#include "UrbRequest.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

#include "EmulatorLog.h"

namespace orrindale::emulator {

namespace {

constexpr int kMaxIsoPackets = 1024;

UMockdevIoctlData* resolve(UMockdevIoctlData* data, size_t offset, size_t length)
{
    GError* error = nullptr;
    UMockdevIoctlData* child = umockdev_ioctl_data_resolve(data, offset, length, &error);
    if (child == nullptr) {
        emulatorLog("reading host memory failed: %s", error ? error->message : "?");
        g_clear_error(&error);
    }
    return child;
}

// Reads the address through a pipe, so that an address a host in another process used and
// that is not mapped here gives EFAULT instead of a crash (process_vm_readv would do, but
// qemu-user does not offer it). The raw system call keeps sanitizers from judging the read.
bool sameUrbHere(uintptr_t address, const void* copy)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return false;
    usbdevfs_urb local;
    const bool readable =
        ::syscall(SYS_write, ends[1], reinterpret_cast<const void*>(address), sizeof local) == long(sizeof local) &&
        ::read(ends[0], &local, sizeof local) == ssize_t(sizeof local);
    ::close(ends[0]);
    ::close(ends[1]);
    return readable && std::memcmp(&local, copy, sizeof local) == 0;
}

}  // namespace

std::unique_ptr<UrbRequest> UrbRequest::copyFromHost(UMockdevIoctlData* arg, bool* sharesMemory)
{
    std::unique_ptr<UrbRequest> request(new UrbRequest);
    request->m_urbData = resolve(arg, 0, sizeof(usbdevfs_urb));
    if (request->m_urbData == nullptr) return nullptr;
    request->m_hostAddress = request->m_urbData->client_addr;
    // Before resolving the buffer, which points the copy's buffer field at the local copy.
    if (sharesMemory != nullptr) *sharesMemory = sameUrbHere(request->m_hostAddress, request->m_urbData->data);
    auto* urb = reinterpret_cast<usbdevfs_urb*>(request->m_urbData->data);
    if (urb->type == USBDEVFS_URB_TYPE_ISO) {
        const int packets = urb->number_of_packets;
        if (packets <= 0 || packets > kMaxIsoPackets) return nullptr;
        // umockdev resolves a pointer once, with a fixed length: drop the first copy,
        // put the host address back and resolve again with the packet table included.
        const gulong address = request->m_hostAddress;
        g_object_unref(request->m_urbData);
        request->m_urbData = nullptr;
        umockdev_ioctl_data_reload(arg, nullptr);
        std::memcpy(arg->data, &address, sizeof address);
        request->m_urbData =
            resolve(arg, 0, sizeof(usbdevfs_urb) + size_t(packets) * sizeof(usbdevfs_iso_packet_desc));
        if (request->m_urbData == nullptr) return nullptr;
        urb = reinterpret_cast<usbdevfs_urb*>(request->m_urbData->data);
    }
    request->m_urb = urb;
    if (urb->buffer_length < 0) return nullptr;
    if (urb->buffer_length > 0) {
        request->m_bufferData =
            resolve(request->m_urbData, offsetof(usbdevfs_urb, buffer), size_t(urb->buffer_length));
        if (request->m_bufferData == nullptr) return nullptr;
        request->m_buffer = reinterpret_cast<uint8_t*>(request->m_bufferData->data);
    }
    return request;
}

std::unique_ptr<UrbRequest> UrbRequest::inPlace(uintptr_t hostAddress)
{
    if (hostAddress == 0) return nullptr;
    std::unique_ptr<UrbRequest> request(new UrbRequest);
    request->m_hostAddress = hostAddress;
    request->m_urb = reinterpret_cast<usbdevfs_urb*>(hostAddress);
    if (request->m_urb->buffer_length < 0) return nullptr;
    if (request->m_urb->type == USBDEVFS_URB_TYPE_ISO &&
        (request->m_urb->number_of_packets <= 0 || request->m_urb->number_of_packets > kMaxIsoPackets))
        return nullptr;
    request->m_buffer = static_cast<uint8_t*>(request->m_urb->buffer);
    if (request->m_buffer == nullptr && request->m_urb->buffer_length > 0) return nullptr;
    return request;
}

UrbRequest::~UrbRequest()
{
    if (m_bufferData != nullptr) g_object_unref(m_bufferData);
    if (m_urbData != nullptr) g_object_unref(m_urbData);
}

void UrbRequest::finish(int status, int actualLength)
{
    m_urb->status = status;
    m_urb->actual_length = actualLength;
}

}  // namespace orrindale::emulator
