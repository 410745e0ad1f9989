#include "UvcDeviceModel.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "LittleEndian.h"
#include "UsbDescriptorWriter.h"
#include "UvcPayloadWriter.h"

namespace orrindale::emulator {

namespace {

constexpr uint8_t kSetCur = 0x01;
constexpr uint8_t kGetCur = 0x81;
constexpr uint8_t kGetMin = 0x82;
constexpr uint8_t kGetMax = 0x83;
constexpr uint8_t kGetRes = 0x84;
constexpr uint8_t kGetLen = 0x85;
constexpr uint8_t kGetInfo = 0x86;
constexpr uint8_t kGetDef = 0x87;
constexpr int kControlLength = 34;  // UVC 1.1 probe/commit
constexpr int kExtensionControlLength = 64;
constexpr int kExtensionControls = 16;
constexpr uint32_t kIsoPacketBytes = 3 * 1024;
#if defined(__SANITIZE_THREAD__)
constexpr uint32_t kSanitizerBulkPayloadBytes = 64 * 1024;
#endif

constexpr uint8_t kYuy2Guid[16] = {'Y', 'U', 'Y', '2', 0x00, 0x00, 0x10, 0x00,
                                   0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr uint8_t kExtensionGuid[16] = {0x8a, 0x0c, 0x9e, 0x29, 0x3f, 0x66, 0x4b, 0x34,
                                        0x82, 0x8e, 0x11, 0x72, 0x55, 0x34, 0x1c, 0x99};

int answer(uint8_t* data, int room, const uint8_t* bytes, int count)
{
    const int n = std::min(room, count);
    if (n > 0) std::memcpy(data, bytes, size_t(n));
    return n;
}

}  // namespace

UvcDeviceModel::UvcDeviceModel(const UvcIdentity& identity, const UvcStreaming& streaming, uint8_t extensionUnitId)
    : m_identity(identity),
      m_streaming(streaming),
      m_extensionUnitId(extensionUnitId),
      m_extensionControls(kExtensionControls + 1, std::vector<uint8_t>(kExtensionControlLength, 0)),
      m_payloads(std::make_unique<UvcPayloadWriter>())
{
    buildDescriptors();
    defaultControl(m_probe);
    defaultControl(m_commit);
}

UvcDeviceModel::~UvcDeviceModel() = default;

std::string UvcDeviceModel::stringDescriptor(uint8_t index) const
{
    switch (index) {
    case 1:
        return m_identity.manufacturer;
    case 2:
        return m_identity.product;
    case 3:
        return m_identity.serialNumber;
    default:
        return {};
    }
}

void UvcDeviceModel::buildDescriptors()
{
    UsbDescriptorWriter w;
    UsbDeviceDescriptorFields device;
    device.deviceClass = 0xEF;  // miscellaneous: interface association
    device.deviceSubClass = 0x02;
    device.deviceProtocol = 0x01;
    device.vendorId = m_identity.vendorId;
    device.productId = m_identity.productId;
    device.bcdDevice = m_identity.bcdDevice;
    device.manufacturerIndex = m_identity.manufacturer.empty() ? 0 : 1;
    device.productIndex = m_identity.product.empty() ? 0 : 2;
    device.serialNumberIndex = m_identity.serialNumber.empty() ? 0 : 3;
    w.device(device);
    const size_t config = w.beginConfiguration(2, 1, 0x80, 250);
    const uint8_t name = device.productIndex;
    w.interfaceAssociation(kControlInterface, 2, 0x0E, 0x03, 0x00, name);

    // VideoControl: camera terminal 1 -> extension unit -> output terminal 3.
    w.interface(kControlInterface, 0, 0, 0x0E, 0x01, 0x00, name);
    const size_t header = w.raw({13, 0x24, 0x01, 0x10, 0x01, 0, 0});
    w.u32(UvcPayloadWriter::kClockHz);
    w.raw({1, kStreamingInterface});
    w.raw({18, 0x24, 0x02, 1, 0x01, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0});
    const size_t unit = w.raw({0, 0x24, 0x06, m_extensionUnitId});
    w.raw(std::vector<uint8_t>(std::begin(kExtensionGuid), std::end(kExtensionGuid)));
    w.raw({kExtensionControls, 1, 1, 2, 0xff, 0xff, 0});
    w.patchLength(unit);
    w.raw({9, 0x24, 0x03, 3, 0x01, 0x01, 0, m_extensionUnitId, 0});
    w.patchU16(header + 5, uint16_t(w.size() - header));

    // VideoStreaming.
    const auto formatCount = uint8_t(m_streaming.formats.size());
    w.interface(kStreamingInterface, 0, m_streaming.isochronous ? 0 : 1, 0x0E, 0x02, 0x00);
    const size_t input = w.raw({uint8_t(13 + formatCount), 0x24, 0x01, formatCount, 0, 0, m_streaming.endpoint, 0, 3,
                                0, 0, 0, 1});
    for (uint8_t i = 0; i < formatCount; ++i) w.u8(0);
    for (size_t f = 0; f < m_streaming.formats.size(); ++f) {
        const UvcFormat& format = m_streaming.formats[f];
        const auto frameCount = uint8_t(format.frames.size());
        const bool yuy2 = format.pixelFormat == UvcPixelFormat::Yuy2;
        if (yuy2) {
            w.raw({27, 0x24, 0x04, uint8_t(f + 1), frameCount});
            w.raw(std::vector<uint8_t>(std::begin(kYuy2Guid), std::end(kYuy2Guid)));
            w.raw({16, 1, 0, 0, 0, 0});
        } else {
            w.raw({11, 0x24, 0x06, uint8_t(f + 1), frameCount, 0x01, 1, 0, 0, 0, 0});
        }
        for (size_t k = 0; k < format.frames.size(); ++k) {
            const UvcFrameSize& frame = format.frames[k];
            const uint32_t bytes = uint32_t(frame.width) * frame.height * 2;
            const int maxFps = frame.fps.empty() ? 30 : *std::max_element(frame.fps.begin(), frame.fps.end());
            const int minFps = frame.fps.empty() ? 30 : *std::min_element(frame.fps.begin(), frame.fps.end());
            w.raw({uint8_t(26 + 4 * frame.fps.size()), 0x24, uint8_t(yuy2 ? 0x05 : 0x07), uint8_t(k + 1), 0});
            w.u16(frame.width);
            w.u16(frame.height);
            w.u32(bytes * 8 * uint32_t(minFps));
            w.u32(bytes * 8 * uint32_t(maxFps));
            w.u32(bytes);
            w.u32(UvcFrameSize::interval(frame.fps.empty() ? 30 : frame.fps.front()));
            w.u8(uint8_t(frame.fps.size()));
            for (int fps : frame.fps) w.u32(UvcFrameSize::interval(fps));
        }
        w.raw({6, 0x24, 0x0D, 1, 1, 4});  // BT.709 primaries, transfer; SMPTE 170M matrix
    }
    w.patchU16(input + 4, uint16_t(w.size() - input));
    if (!m_streaming.isochronous) {
        w.endpoint(m_streaming.endpoint, 0x02, 512, 0);
    } else {
        w.interface(kStreamingInterface, 1, 1, 0x0E, 0x02, 0x00);
        w.endpoint(m_streaming.endpoint, 0x05, 0x1400, 1);  // asynchronous, 3 x 1024 per microframe
    }
    w.endConfiguration(config);
    m_descriptors = w.bytes();
}

uint32_t UvcDeviceModel::maxFrameBytes(int formatIndex, int frameIndex) const
{
    const UvcFrameSize& frame = m_streaming.formats[size_t(formatIndex - 1)].frames[size_t(frameIndex - 1)];
    return uint32_t(frame.width) * frame.height * 2;
}

void UvcDeviceModel::defaultControl(uint8_t* control) const
{
    std::memset(control, 0, kControlLength);
    control[0] = 1;  // bmHint: keep dwFrameInterval
    control[2] = 1;
    control[3] = 1;
    const auto& frame = m_streaming.formats.front().frames.front();
    putU32(control + 4, UvcFrameSize::interval(frame.fps.empty() ? 30 : frame.fps.front()));
    negotiate(control);
}

void UvcDeviceModel::negotiate(uint8_t* control) const
{
    int format = control[2];
    if (format < 1 || format > int(m_streaming.formats.size())) format = 1;
    const auto& frames = m_streaming.formats[size_t(format - 1)].frames;
    int frame = control[3];
    if (frame < 1 || frame > int(frames.size())) frame = 1;
    const auto& fps = frames[size_t(frame - 1)].fps;
    // The offered interval nearest to the one asked for.
    const uint32_t asked = getU32(control + 4);
    uint32_t interval = UvcFrameSize::interval(fps.empty() ? 30 : fps.front());
    for (int rate : fps)
        if (std::llabs(int64_t(UvcFrameSize::interval(rate)) - asked) < std::llabs(int64_t(interval) - asked))
            interval = UvcFrameSize::interval(rate);
    control[2] = uint8_t(format);
    control[3] = uint8_t(frame);
    putU32(control + 4, interval);
    std::memset(control + 8, 0, 10);  // key frame rate, P-frame rate, quality, window, delay
    const uint32_t frameBytes = maxFrameBytes(format, frame);
    putU32(control + 18, frameBytes);
    uint32_t payload = m_streaming.maxPayloadTransferSize;
    if (payload == 0) payload = m_streaming.isochronous ? kIsoPacketBytes : frameBytes + UvcPayloadWriter::kHeaderLength;
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer builds serve transfers through copies (see TestBedOptions) and
    // libuvc keeps 100 bulk transfers of this size in flight: whole-frame transfers would
    // copy some 80 MB at every start. Frames span several payloads instead.
    if (!m_streaming.isochronous) payload = std::min(payload, kSanitizerBulkPayloadBytes);
#endif
    putU32(control + 22, payload);
    putU32(control + 26, UvcPayloadWriter::kClockHz);
    control[30] = 0x03;  // FID and EOF are used
    control[31] = 1;
    control[32] = 1;
    control[33] = 1;
}

UvcStreamSelection UvcDeviceModel::selectionOf(const uint8_t* control) const
{
    UvcStreamSelection s;
    s.formatIndex = control[2];
    s.frameIndex = control[3];
    const UvcFormat& format = m_streaming.formats[size_t(s.formatIndex - 1)];
    s.pixelFormat = format.pixelFormat;
    s.width = format.frames[size_t(s.frameIndex - 1)].width;
    s.height = format.frames[size_t(s.frameIndex - 1)].height;
    s.interval = getU32(control + 4);
    return s;
}

int UvcDeviceModel::classOrVendorRequest(const ControlSetup& setup, uint8_t* data)
{
    if (setup.type() != 1 || setup.recipient() != 1) return kTransferStall;
    const int interfaceNumber = setup.index & 0xff;
    const int entity = setup.index >> 8;
    if (interfaceNumber == kStreamingInterface && entity == 0) return streamingRequest(setup, data);
    if (interfaceNumber == kControlInterface && entity == m_extensionUnitId) return extensionUnitRequest(setup, data);
    return kTransferStall;
}

int UvcDeviceModel::streamingRequest(const ControlSetup& setup, uint8_t* data)
{
    const int selector = setup.value >> 8;
    if (selector != 1 && selector != 2) return kTransferStall;  // only probe and commit
    uint8_t* state = selector == 1 ? m_probe : m_commit;
    const int room = setup.length;
    switch (setup.request) {
    case kSetCur: {
        if (setup.length < 26) return kTransferStall;
        uint8_t control[kControlLength] = {};
        std::memcpy(control, data, std::min<size_t>(setup.length, kControlLength));
        negotiate(control);
        std::memcpy(state, control, kControlLength);
        if (selector == 2) {
            ++m_commits;
            m_everCommitted = true;
            m_selection = selectionOf(m_commit);
            m_streamOn = !m_streaming.isochronous;  // isochronous starts with the alternate setting
            m_current.reset();
            m_sequence = 0;
            m_payloads->reset();
            restartPacing();
            streamCommitted(m_selection);
        }
        return setup.length;
    }
    case kGetCur:
        return answer(data, room, state, kControlLength);
    case kGetMin:
    case kGetMax:
    case kGetDef: {
        uint8_t control[kControlLength];
        defaultControl(control);
        return answer(data, room, control, kControlLength);
    }
    case kGetRes: {
        const uint8_t zero[kControlLength] = {};
        return answer(data, room, zero, kControlLength);
    }
    case kGetLen: {
        const uint8_t length[2] = {kControlLength, 0};
        return answer(data, room, length, 2);
    }
    case kGetInfo: {
        const uint8_t info = 0x03;  // GET and SET supported
        return answer(data, room, &info, 1);
    }
    default:
        return kTransferStall;
    }
}

int UvcDeviceModel::extensionUnitRequest(const ControlSetup& setup, uint8_t* data)
{
    const int selector = setup.value >> 8;
    if (selector < 1 || selector > kExtensionControls) return kTransferStall;
    std::vector<uint8_t>& control = m_extensionControls[size_t(selector)];
    const int room = setup.length;
    switch (setup.request) {
    case kSetCur:
        std::memcpy(control.data(), data, std::min<size_t>(setup.length, control.size()));
        return setup.length;
    case kGetCur:
        return answer(data, room, control.data(), int(control.size()));
    case kGetMin:
    case kGetDef: {
        const std::vector<uint8_t> zero(kExtensionControlLength, 0);
        return answer(data, room, zero.data(), int(zero.size()));
    }
    case kGetMax: {
        const std::vector<uint8_t> ones(kExtensionControlLength, 0xff);
        return answer(data, room, ones.data(), int(ones.size()));
    }
    case kGetLen: {
        const uint8_t length[2] = {kExtensionControlLength, 0};
        return answer(data, room, length, 2);
    }
    case kGetInfo: {
        const uint8_t info = 0x03;
        return answer(data, room, &info, 1);
    }
    default:
        return kTransferStall;
    }
}

std::chrono::nanoseconds UvcDeviceModel::framePeriod(const UvcStreamSelection& selection) const
{
    return std::chrono::nanoseconds(int64_t(selection.interval) * 100);
}

void UvcDeviceModel::restartPacing() { m_nextDue = Clock::now(); }

int UvcDeviceModel::writePayload(uint8_t* buffer, int length)
{
    if (!m_streamOn || length <= UvcPayloadWriter::kHeaderLength) return kTransferNotReady;
    if (!m_current) {
        const auto now = Clock::now();
        if (now < m_nextDue) {
            requestService(m_nextDue);
            return kTransferNotReady;
        }
        m_current = nextFrame(m_selection, m_sequence);
        if (!m_current) return kTransferNotReady;  // silent: the subclass asks for service when it speaks again
        ++m_sequence;
        m_offset = 0;
        m_payloads->beginFrame();
        const auto period = std::chrono::duration_cast<Clock::duration>(framePeriod(m_selection));
        m_nextDue += period;
        if (m_nextDue < now) m_nextDue = now + period;  // fell behind: no burst of late frames
    }
    const uint8_t* bytes = m_current->bytes ? m_current->bytes->data() : nullptr;
    const size_t frameLength = m_current->length;
    size_t taken = 0;
    const int written = m_payloads->write(buffer, length, bytes + m_offset, frameLength - m_offset, taken);
    m_offset += taken;
    if (m_offset >= frameLength) {
        m_current.reset();
        ++m_framesSent;
        m_frameSent.notify_all();
    }
    return written;
}

int UvcDeviceModel::dataTransfer(uint8_t endpoint, uint8_t* buffer, int length)
{
    if (endpoint != m_streaming.endpoint || m_streaming.isochronous) return kTransferNotReady;
    return writePayload(buffer, length);
}

int UvcDeviceModel::isochronousPacket(uint8_t endpoint, uint8_t* buffer, int length)
{
    if (endpoint != m_streaming.endpoint || !m_streaming.isochronous) return kTransferNotReady;
    return writePayload(buffer, length);
}

void UvcDeviceModel::alternateSettingSelected(int interfaceNumber, int alternate)
{
    if (interfaceNumber != kStreamingInterface || !m_streaming.isochronous) return;
    m_streamOn = alternate > 0 && m_everCommitted;
    m_current.reset();
    restartPacing();
}

void UvcDeviceModel::pluggedIn()
{
    m_streamOn = false;
    m_everCommitted = false;
    m_current.reset();
    defaultControl(m_probe);
    defaultControl(m_commit);
}

void UvcDeviceModel::unplugged()
{
    m_streamOn = false;
    m_current.reset();
}

uint64_t UvcDeviceModel::framesSent() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_framesSent;
}

uint32_t UvcDeviceModel::commits() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_commits;
}

std::optional<UvcStreamSelection> UvcDeviceModel::committed() const
{
    std::lock_guard<std::mutex> lock(mutex());
    if (!m_everCommitted) return std::nullopt;
    return m_selection;
}

bool UvcDeviceModel::waitForFrames(uint64_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(mutex());
    return m_frameSent.wait_for(lock, timeout, [&] { return m_framesSent >= count; });
}

}  // namespace orrindale::emulator
