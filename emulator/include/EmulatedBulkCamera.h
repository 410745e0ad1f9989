// A camera that streams over a vendor bulk endpoint instead of UVC (USB 3482:2789,
// 278A or 278B). One vendor-class interface 0 with bulk IN endpoint 0x81. The host
// starts the stream with the class request 0x21/0xAB (wValue 0, wIndex 0) carrying one
// byte, the stream type, and stops it with the same request carrying 0x80 0x00.
//
// Each frame of L bytes goes out as a header packet (0x0A 0x1B 0x2C 0x3D, then L
// little-endian), ceil(L / 131,071) data packets of 131,072 bytes (one marker byte,
// then 131,071 payload bytes, the last one padded with zeros) and an end packet
// (0x0D 0x1C 0x2B 0x3A), paced at the configured rate. The payload is predictable:
// expectedFrame(sequence, L). Every read the host makes is answered with at most the
// rest of the current packet, as a device does when the host asks for less than it
// sends; readsOf() tells how large the host's reads of each kind of packet were.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "UsbDeviceModel.h"

namespace orrindale::emulator {

struct BulkCameraConfig {
    uint16_t productId = 0x2789;
    std::string product = "Halvo";
    std::string serialNumber = "HALVO0001";  // empty: no serial-number string
    uint32_t frameLength = 1160192;          // L of every frame
    int fps = 30;                            // 0: each frame as soon as the host has read the last

    // The three models, with frames of their largest size.
    static BulkCameraConfig halvo();    // 2789, 1,160,192 bytes
    static BulkCameraConfig ostrelB();  // 278A, 2,181,632 bytes
    static BulkCameraConfig vireneA();  // 278B, 2,181,632 bytes
};

// Misbehaviour of the frames the camera sends next.
struct BulkStreamFault {
    int shortPacketsBeforeData = 0;       // junk packets of 100 bytes before every data packet
    bool omitEnd = false;                 // a header never followed by its end packet
    std::optional<uint32_t> announcedLength;  // L in the header (and the data sent) instead of frameLength
    int stallAfterDataPackets = -1;       // the endpoint STALLs after this many data packets; the frame is abandoned
    int silentAfterDataPackets = -1;      // the camera falls silent mid-frame, until stopped or unplugged
    int frames = -1;                      // how many frames it spoils; -1 until cleared
};

class EmulatedBulkCamera : public UsbDeviceModel {
public:
    static constexpr uint16_t kVendorId = 0x3482;
    static constexpr uint8_t kEndpoint = 0x81;
    static constexpr uint8_t kStreamRequest = 0xAB;
    static constexpr int kPacketSize = 512;
    static constexpr int kTransferSize = 131072;
    static constexpr int kPayloadPerPacket = kTransferSize - 1;

    // Stall and Silence are where a fault cuts a frame; the host never reads them.
    enum class PacketKind { Header, Data, End, Junk, Stall, Silence };

    explicit EmulatedBulkCamera(const BulkCameraConfig& config = BulkCameraConfig());

    // Bytes 0..3 carry the sequence number (little-endian); byte i >= 4 is patternByte.
    static uint8_t patternByte(uint32_t sequence, uint32_t offset)
    {
        return uint8_t(offset * 7u + (offset >> 10)) ^ uint8_t(sequence * 31u + 5u);
    }
    static std::vector<uint8_t> expectedFrame(uint32_t sequence, uint32_t length);

    std::vector<uint8_t> descriptors() const override { return m_descriptors; }
    std::string stringDescriptor(uint8_t index) const override;
    int classOrVendorRequest(const ControlSetup& setup, uint8_t* data) override;
    int dataTransfer(uint8_t endpoint, uint8_t* buffer, int length) override;
    void pluggedIn() override;
    void unplugged() override;

    // Thread safe, as are all calls below; effective from the next frame.
    void setFrameLength(uint32_t length);
    void setFrameRate(int fps);
    void setFault(const BulkStreamFault& fault);
    void clearFault();

    bool streaming() const;
    std::optional<uint8_t> streamType() const;  // of the last start request
    uint64_t framesSent() const;                // frames sent whole, end packet included
    // Waits until `count` frames were sent since the camera was created; false on timeout.
    bool waitForFrames(uint64_t count, std::chrono::milliseconds timeout) const;
    // Waits until the camera fell silent mid-frame (silentAfterDataPackets).
    bool waitForSilenceMidFrame(std::chrono::milliseconds timeout) const;
    // How many reads of each length the host made of each kind of packet.
    std::map<std::pair<PacketKind, int>, int> readsOf() const;

private:
    struct Packet {
        PacketKind kind;
        uint32_t index;  // of a data packet within its frame
        int length;
    };

    void planFrame();
    void writePacket(const Packet& packet, uint32_t offset, uint8_t* out, int n) const;
    void stopStream();

    BulkCameraConfig m_config;
    std::vector<uint8_t> m_descriptors;
    std::vector<uint8_t> m_positions;  // the part of patternByte that depends on the offset alone
    std::optional<BulkStreamFault> m_fault;
    bool m_streaming = false;
    std::optional<uint8_t> m_streamType;
    std::vector<Packet> m_plan;  // the packets of the frame being sent
    size_t m_next = 0;           // index into m_plan
    int m_sentOfPacket = 0;      // bytes of m_plan[m_next] the host has read
    uint32_t m_announced = 0;    // L of the frame being sent
    uint32_t m_sequence = 0;     // of the frame being sent
    uint32_t m_planned = 0;      // frames begun so far
    Clock::time_point m_nextDue;
    uint64_t m_framesSent = 0;
    bool m_silentMidFrame = false;
    std::map<std::pair<PacketKind, int>, int> m_reads;
    mutable std::condition_variable m_changed;
};

}  // namespace orrindale::emulator
