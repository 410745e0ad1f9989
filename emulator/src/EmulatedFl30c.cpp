#include "EmulatedFl30c.h"

#include <cstring>
#include <map>

#include "Fl30cTransferBuilder.h"
#include "LittleEndian.h"

namespace orrindale::emulator {

namespace {

UvcIdentity identityOf(const Fl30cConfig& config)
{
    UvcIdentity identity;
    identity.vendorId = EmulatedFl30c::kVendorId;
    identity.productId = EmulatedFl30c::kProductId;
    identity.bcdDevice = 0x0108;
    identity.manufacturer = "Orrindale";
    identity.product = "Fl30c";
    identity.serialNumber = config.serialDescriptor;
    return identity;
}

UvcStreaming fl30cStreaming()
{
    UvcStreaming streaming;
    const std::vector<int> rates{30, 25, 15, 10};
    streaming.formats = {{UvcPixelFormat::Yuy2, {{640, 642, rates}, {320, 564, rates}, {160, 768, rates}}}};
    streaming.endpoint = EmulatedFl30c::kVideoEndpoint;
    return streaming;
}

// Renders are the same for every camera with the same calibration: share them.
std::shared_ptr<Fl30cTransferBuilder> sharedBuilder(const Fl30cCalibration& calibration)
{
    static std::mutex mutex;
    static std::map<std::vector<uint8_t>, std::weak_ptr<Fl30cTransferBuilder>> builders;
    std::vector<uint8_t> key(sizeof calibration);
    std::memcpy(key.data(), &calibration, sizeof calibration);
    std::lock_guard<std::mutex> lock(mutex);
    auto builder = builders[key].lock();
    if (!builder) {
        builder = std::make_shared<Fl30cTransferBuilder>(calibration);
        builders[key] = builder;
    }
    return builder;
}

// The transfer with its MJPEG cut to `keep` bytes and the image moved up behind it.
std::shared_ptr<const std::vector<uint8_t>> cutMjpeg(const std::vector<uint8_t>& whole, uint32_t keep,
                                                     int transferWidth, uint8_t kind)
{
    const auto layout = Fl30cTransferLayout::forTransferWidth(transferWidth);
    const uint32_t length = getU32(&whole[Fl30cTransferLayout::kMjpegLengthOffset]);
    if (!layout || keep >= length) return std::make_shared<const std::vector<uint8_t>>(whole);
    const size_t image = size_t(layout->imageWidth) * size_t(layout->imageHeight) *
                         (kind == Fl30cTransferLayout::kKindIr ? 1 : 2);
    auto cut = std::make_shared<std::vector<uint8_t>>(whole.size(), 0);
    const size_t header = Fl30cTransferLayout::kHeaderLength;
    std::memcpy(cut->data(), whole.data(), header + keep);
    std::memcpy(cut->data() + header + keep, whole.data() + header + length, image);
    putU32(&(*cut)[Fl30cTransferLayout::kMjpegLengthOffset], keep);
    return cut;
}

}  // namespace

EmulatedFl30c::EmulatedFl30c(const Fl30cConfig& config)
    : UvcDeviceModel(identityOf(config), fl30cStreaming()),
      m_calibration(config.calibration),
      m_commands(config.settings),
      m_builder(sharedBuilder(config.calibration))
{
}

EmulatedFl30c::~EmulatedFl30c() = default;

Fl30cSettings EmulatedFl30c::settings() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_commands.settings();
}

void EmulatedFl30c::setFirmwareVersion(const std::string& version)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_commands.settings().firmwareVersion = version;
}

void EmulatedFl30c::setHimaxVersion(const std::string& version)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_commands.settings().himaxVersion = version;
}

void EmulatedFl30c::setTemperature(int device, float celsius)
{
    if (device < 0 || device > 2) return;
    std::lock_guard<std::mutex> lock(mutex());
    m_commands.settings().temperatures[device] = celsius;
}

void EmulatedFl30c::setStreamMode(Fl30cStreamMode mode)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_commands.settings().streamMode = mode;
}

void EmulatedFl30c::setFrameRate(int fps)
{
    if (fps < 1) return;
    std::lock_guard<std::mutex> lock(mutex());
    m_commands.settings().frameRate = fps;
}

std::pair<int, int> EmulatedFl30c::mjpegSizeLocked() const
{
    return Fl30cCommandSet::mjpegSizeOf(m_commands.settings().firmwareVersion).value_or(std::make_pair(640, 480));
}

std::pair<int, int> EmulatedFl30c::mjpegSize() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return mjpegSizeLocked();
}

std::vector<ControlRecord> EmulatedFl30c::commandRecord() const
{
    std::vector<ControlRecord> commands;
    if (device() == nullptr) return commands;
    for (auto& request : device()->controlRecord())
        if (request.setup.type() == 1 && request.setup.index == Fl30cCommandSet::kIndex) commands.push_back(request);
    return commands;
}

void EmulatedFl30c::clearCommandRecord()
{
    if (device() != nullptr) device()->clearControlRecord();
}

void EmulatedFl30c::setTransferFault(const Fl30cTransferFault& fault)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_fault = fault;
}

void EmulatedFl30c::clearTransferFault()
{
    std::lock_guard<std::mutex> lock(mutex());
    m_fault.reset();
}

void EmulatedFl30c::setSilent(bool silent)
{
    {
        std::lock_guard<std::mutex> lock(mutex());
        if (m_silent == silent) return;
        m_silent = silent;
        if (!silent) restartPacing();
    }
    if (!silent) requestService();
}

void EmulatedFl30c::setWrongEcho(uint8_t code, uint8_t echo)
{
    std::lock_guard<std::mutex> lock(mutex());
    m_commands.setEcho(code, echo);
}

void EmulatedFl30c::clearWrongEchoes()
{
    std::lock_guard<std::mutex> lock(mutex());
    for (int code = 0; code < 256; ++code) m_commands.setEcho(uint8_t(code), std::nullopt);
}

void EmulatedFl30c::setControlFault(uint8_t code, ControlFault fault)
{
    if (device() == nullptr) return;
    ControlMatch match;
    match.request = code;
    match.index = Fl30cCommandSet::kIndex;
    device()->setControlFault(match, fault);
}

void EmulatedFl30c::stallCommand(uint8_t code) { setControlFault(code, ControlFault::Stall); }

void EmulatedFl30c::ignoreCommand(uint8_t code) { setControlFault(code, ControlFault::NoResponse); }

void EmulatedFl30c::clearCommandFaults()
{
    if (device() != nullptr) device()->clearControlFaults();
}

std::shared_ptr<const std::vector<uint8_t>> EmulatedFl30c::expectedTransfer(int transferWidth, uint8_t kind) const
{
    const auto size = mjpegSize();
    return m_builder->transfer(transferWidth, size.first, size.second, kind);
}

SceneHit EmulatedFl30c::groundTruthAt(int u, int v, int width) const
{
    return Fl30cScene::atDepthPixel(u, v, m_calibration.depthFor(width, width * 3 / 4));
}

int EmulatedFl30c::extensionUnitRequest(const ControlSetup& setup, uint8_t* data)
{
    if (setup.value != Fl30cCommandSet::kValue || setup.length > Fl30cCommandSet::kPayload) return kTransferStall;
    if (setup.requestType == 0x21) return m_commands.write(setup.request, data, setup.length) ? setup.length : kTransferStall;
    if (setup.requestType == 0xA1) {
        uint8_t reply[Fl30cCommandSet::kPayload];
        if (!m_commands.read(setup.request, reply)) return kTransferStall;
        std::memcpy(data, reply, setup.length);
        return setup.length;
    }
    return kTransferStall;
}

std::chrono::nanoseconds EmulatedFl30c::framePeriod(const UvcStreamSelection&) const
{
    return std::chrono::nanoseconds(1000000000LL / std::max(1, m_commands.settings().frameRate));
}

std::optional<UvcDeviceModel::Frame> EmulatedFl30c::nextFrame(const UvcStreamSelection& selection, uint64_t sequence)
{
    if (m_silent) return std::nullopt;
    uint8_t kind = Fl30cTransferLayout::kKindDepth;
    switch (m_commands.settings().streamMode) {
    case Fl30cStreamMode::Ir:
        kind = Fl30cTransferLayout::kKindIr;
        break;
    case Fl30cStreamMode::Alternate:
        kind = sequence % 2 == 0 ? Fl30cTransferLayout::kKindDepth : Fl30cTransferLayout::kKindIr;
        break;
    default:
        break;
    }
    const auto size = mjpegSizeLocked();
    Frame frame;
    frame.bytes = m_builder->transfer(selection.width, size.first, size.second, kind);
    if (!frame.bytes) return std::nullopt;
    frame.length = frame.bytes->size();
    if (m_fault && m_fault->transfers != 0) {
        const Fl30cTransferFault& f = *m_fault;
        if (f.frameSizeField || f.mjpegLengthField || f.kind) {
            auto spoilt = std::make_shared<std::vector<uint8_t>>(*frame.bytes);
            if (f.frameSizeField) putU32(&(*spoilt)[Fl30cTransferLayout::kFrameSizeOffset], *f.frameSizeField);
            if (f.mjpegLengthField) putU32(&(*spoilt)[Fl30cTransferLayout::kMjpegLengthOffset], *f.mjpegLengthField);
            if (f.kind) (*spoilt)[Fl30cTransferLayout::kKindOffset] = *f.kind;
            frame.bytes = std::move(spoilt);
        }
        if (f.mjpegCutTo) frame.bytes = cutMjpeg(*frame.bytes, *f.mjpegCutTo, selection.width, kind);
        if (f.truncateTo) frame.length = std::min(frame.length, *f.truncateTo);
        if (m_fault->transfers > 0) --m_fault->transfers;
    }
    return frame;
}

}  // namespace orrindale::emulator
