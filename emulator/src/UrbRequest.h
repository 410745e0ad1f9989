// One URB a host submitted. A host in another process is reached through umockdev's
// copies of its memory (synced back when the request completes); a host in this
// process is served in place, which saves two copies of every buffer.
#pragma once

#include <linux/usbdevice_fs.h>
#include <umockdev.h>

#include <cstdint>
#include <memory>

namespace orrindale::emulator {

class UrbRequest {
public:
    // Copies the URB (with its isochronous packet table) and its buffer out of the host.
    // With `sharesMemory`, also tells whether the host lives in this process: whether the
    // host's address of the URB holds, here, exactly the URB that was copied.
    static std::unique_ptr<UrbRequest> copyFromHost(UMockdevIoctlData* arg, bool* sharesMemory = nullptr);
    // Uses the host's URB in place (host in this process only).
    static std::unique_ptr<UrbRequest> inPlace(uintptr_t hostAddress);

    UrbRequest(const UrbRequest&) = delete;
    UrbRequest& operator=(const UrbRequest&) = delete;
    ~UrbRequest();

    usbdevfs_urb& urb() { return *m_urb; }
    uint8_t* buffer() { return m_buffer; }
    usbdevfs_iso_packet_desc* isoPackets() { return m_urb->iso_frame_desc; }
    uintptr_t hostAddress() const { return m_hostAddress; }
    bool inPlace() const { return m_urbData == nullptr; }
    UMockdevIoctlData* urbData() const { return m_urbData; }

    // Sets the completion status (a negative errno, or 0).
    void finish(int status, int actualLength);

    // A control request answered with "no response" is parked: recorded once, then left.
    bool parked = false;

private:
    UrbRequest() = default;

    usbdevfs_urb* m_urb = nullptr;
    uint8_t* m_buffer = nullptr;
    uintptr_t m_hostAddress = 0;
    UMockdevIoctlData* m_urbData = nullptr;
    UMockdevIoctlData* m_bufferData = nullptr;
};

}  // namespace orrindale::emulator
