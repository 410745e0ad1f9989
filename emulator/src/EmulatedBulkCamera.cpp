#include "EmulatedBulkCamera.h"

#include <algorithm>
#include <cstring>

#include "LittleEndian.h"
#include "UsbDescriptorWriter.h"

namespace orrindale::emulator {

namespace {

constexpr uint8_t kHeaderMarker[4] = {0x0A, 0x1B, 0x2C, 0x3D};
constexpr uint8_t kEndMarker[4] = {0x0D, 0x1C, 0x2B, 0x3A};
constexpr uint8_t kDataMarker = 0xDA;  // begins neither marker
constexpr int kHeaderLength = 8;
constexpr int kJunkLength = 100;
constexpr uint8_t kJunkByte = 0xEE;

// out = in ^ key, eight bytes at a time: the payload of a 2 MB frame costs about a memcpy.
void xorCopy(uint8_t* out, const uint8_t* in, size_t n, uint8_t key)
{
    const uint64_t wide = 0x0101010101010101ull * key;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t word;
        std::memcpy(&word, in + i, 8);
        word ^= wide;
        std::memcpy(out + i, &word, 8);
    }
    for (; i < n; ++i) out[i] = in[i] ^ key;
}

BulkCameraConfig model(uint16_t productId, const char* product, const char* serial, uint32_t frameLength)
{
    BulkCameraConfig config;
    config.productId = productId;
    config.product = product;
    config.serialNumber = serial;
    config.frameLength = frameLength;
    return config;
}

}  // namespace

BulkCameraConfig BulkCameraConfig::halvo() { return model(0x2789, "Halvo", "HALVO0001", 1160192); }
BulkCameraConfig BulkCameraConfig::ostrelB() { return model(0x278A, "Ostrel B", "OSTRELB0001", 2181632); }
BulkCameraConfig BulkCameraConfig::vireneA() { return model(0x278B, "Virene A", "VIRENEA0001", 2181632); }

EmulatedBulkCamera::EmulatedBulkCamera(const BulkCameraConfig& config) : m_config(config)
{
    UsbDescriptorWriter w;
    UsbDeviceDescriptorFields device;
    device.vendorId = kVendorId;
    device.productId = config.productId;
    device.manufacturerIndex = 1;
    device.productIndex = 2;
    device.serialNumberIndex = config.serialNumber.empty() ? 0 : 3;
    w.device(device);
    const size_t start = w.beginConfiguration(1);
    w.interface(0, 0, 1, 0xFF, 0, 0);
    w.endpoint(kEndpoint, 0x02, kPacketSize, 0);
    w.endConfiguration(start);
    m_descriptors = w.bytes();
}

std::vector<uint8_t> EmulatedBulkCamera::expectedFrame(uint32_t sequence, uint32_t length)
{
    std::vector<uint8_t> frame(length);
    for (uint32_t i = 0; i < length; ++i) frame[i] = patternByte(sequence, i);
    uint8_t number[4];
    putU32(number, sequence);
    std::memcpy(frame.data(), number, std::min<size_t>(4, length));
    return frame;
}

std::string EmulatedBulkCamera::stringDescriptor(uint8_t index) const
{
    return usualString(index, "Orrindale", m_config.product, m_config.serialNumber);
}

int EmulatedBulkCamera::classOrVendorRequest(const ControlSetup& setup, uint8_t* data)
{
    if (setup.requestType != 0x21 || setup.request != kStreamRequest || setup.value != 0 || setup.index != 0)
        return kTransferStall;
    if (setup.length == 1) {
        stopStream();  // a new start begins with a fresh header
        m_streamType = data[0];
        m_streaming = true;
        m_nextDue = Clock::now();
        requestService();
        return 1;
    }
    if (setup.length == 2 && data[0] == 0x80 && data[1] == 0x00) {
        stopStream();
        return 2;
    }
    return kTransferStall;
}

void EmulatedBulkCamera::stopStream()
{
    m_streaming = false;
    m_plan.clear();
    m_next = 0;
    m_sentOfPacket = 0;
    m_silentMidFrame = false;
}

void EmulatedBulkCamera::planFrame()
{
    m_plan.clear();
    m_next = 0;
    m_sentOfPacket = 0;
    m_sequence = m_planned++;
    const bool spoiled = m_fault && m_fault->frames != 0;
    const BulkStreamFault fault = spoiled ? *m_fault : BulkStreamFault();
    if (spoiled && m_fault->frames > 0) --m_fault->frames;

    m_announced = fault.announcedLength.value_or(m_config.frameLength);
    const uint32_t packets = uint32_t((uint64_t(m_announced) + kPayloadPerPacket - 1) / kPayloadPerPacket);
    m_plan.push_back({PacketKind::Header, 0, kHeaderLength});
    for (uint32_t i = 0;; ++i) {
        if (int64_t(i) == fault.stallAfterDataPackets) return m_plan.push_back({PacketKind::Stall, 0, 0});
        if (int64_t(i) == fault.silentAfterDataPackets) return m_plan.push_back({PacketKind::Silence, 0, 0});
        if (i == packets) break;
        for (int j = 0; j < fault.shortPacketsBeforeData; ++j) m_plan.push_back({PacketKind::Junk, 0, kJunkLength});
        m_plan.push_back({PacketKind::Data, i, kTransferSize});
    }
    if (!fault.omitEnd) m_plan.push_back({PacketKind::End, 0, int(sizeof kEndMarker)});
}

void EmulatedBulkCamera::writePacket(const Packet& packet, uint32_t offset, uint8_t* out, int n) const
{
    switch (packet.kind) {
    case PacketKind::Header: {
        uint8_t header[kHeaderLength];
        std::memcpy(header, kHeaderMarker, 4);
        putU32(header + 4, m_announced);
        std::memcpy(out, header + offset, size_t(n));
        return;
    }
    case PacketKind::End:
        std::memcpy(out, kEndMarker + offset, size_t(n));
        return;
    case PacketKind::Data:
        break;
    default:
        std::memset(out, kJunkByte, size_t(n));
        return;
    }
    if (offset == 0 && n > 0) {
        *out++ = kDataMarker;
        ++offset;
        --n;
    }
    // Frame bytes [begin, begin + n): the pattern up to L, zeros after it.
    const uint64_t begin = uint64_t(packet.index) * kPayloadPerPacket + offset - 1;
    const uint64_t inFrame = begin < m_announced ? std::min<uint64_t>(uint64_t(n), m_announced - begin) : 0;
    const uint64_t tabled = begin < m_positions.size() ? std::min<uint64_t>(inFrame, m_positions.size() - begin) : 0;
    const uint8_t key = patternByte(m_sequence, 0) ^ patternByte(0, 0);
    if (tabled > 0) xorCopy(out, m_positions.data() + begin, tabled, key);
    for (uint64_t i = tabled; i < inFrame; ++i) out[i] = patternByte(m_sequence, uint32_t(begin + i));
    std::memset(out + inFrame, 0, size_t(uint64_t(n) - inFrame));
    for (uint64_t i = begin; i < 4 && i < begin + inFrame; ++i) out[i - begin] = uint8_t(m_sequence >> (8 * i));
}

int EmulatedBulkCamera::dataTransfer(uint8_t endpoint, uint8_t* buffer, int length)
{
    if (endpoint != kEndpoint || !m_streaming) return kTransferNotReady;
    if (m_next >= m_plan.size()) {
        const auto now = Clock::now();
        if (m_config.fps > 0) {
            if (now < m_nextDue) {
                requestService(m_nextDue);
                return kTransferNotReady;
            }
            const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)) / m_config.fps;
            m_nextDue += period;
            if (m_nextDue < now) m_nextDue = now + period;  // fell behind: no burst of late frames
        }
        if (m_positions.size() < m_config.frameLength) {
            m_positions.resize(m_config.frameLength);
            for (uint32_t i = 0; i < m_config.frameLength; ++i) m_positions[i] = patternByte(0, i);
        }
        planFrame();
    }
    const Packet& packet = m_plan[m_next];
    if (packet.kind == PacketKind::Silence) {
        m_silentMidFrame = true;
        m_changed.notify_all();
        return kTransferNotReady;
    }
    if (packet.kind == PacketKind::Stall) {
        m_next = m_plan.size();  // the host clears the halt; the next frame follows
        return kTransferStall;
    }
    const int n = std::min(length, packet.length - m_sentOfPacket);
    writePacket(packet, uint32_t(m_sentOfPacket), buffer, n);
    ++m_reads[{packet.kind, length}];
    m_sentOfPacket += n;
    if (m_sentOfPacket == packet.length) {
        m_sentOfPacket = 0;
        ++m_next;
        if (packet.kind == PacketKind::End) {
            ++m_framesSent;
            m_changed.notify_all();
        }
    }
    return n;
}

void EmulatedBulkCamera::pluggedIn() { stopStream(); }

void EmulatedBulkCamera::unplugged() { stopStream(); }

void EmulatedBulkCamera::setFrameLength(uint32_t length)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_config.frameLength = length;
}

void EmulatedBulkCamera::setFrameRate(int fps)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_config.fps = fps;
    m_nextDue = Clock::now();
}

void EmulatedBulkCamera::setFault(const BulkStreamFault& fault)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_fault = fault;
}

void EmulatedBulkCamera::clearFault()
{
    std::lock_guard<std::mutex> lock(mutex());
    m_fault.reset();
}

bool EmulatedBulkCamera::streaming() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_streaming;
}

std::optional<uint8_t> EmulatedBulkCamera::streamType() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_streamType;
}

uint64_t EmulatedBulkCamera::framesSent() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_framesSent;
}

bool EmulatedBulkCamera::waitForFrames(uint64_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(mutex());
    return m_changed.wait_for(lock, timeout, [&] { return m_framesSent >= count; });
}

bool EmulatedBulkCamera::waitForSilenceMidFrame(std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(mutex());
    return m_changed.wait_for(lock, timeout, [&] { return m_silentMidFrame; });
}

std::map<std::pair<EmulatedBulkCamera::PacketKind, int>, int> EmulatedBulkCamera::readsOf() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_reads;
}

}  // namespace orrindale::emulator
