#include "EmulatedVideoFunction.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <umockdev.h>
#include <unistd.h>

#include <cstring>

#include "EmulatedUsbDevice.h"
#include "EmulatorLog.h"
#include "TestBedCore.h"
#include "V4l2NodeHandler.h"
#include "VideoFunctionState.h"
#include "VideoNodeRecord.h"
#include "WorkerHandoff.h"

namespace orrindale::emulator {

namespace {

UvcIdentity identityOf(uint16_t vendorId, uint16_t productId, const char* manufacturer, const char* product)
{
    UvcIdentity id;
    id.vendorId = vendorId;
    id.productId = productId;
    id.manufacturer = manufacturer;
    id.product = product;
    return id;
}

std::vector<UvcFormat> standardFormats()
{
    return {
        {UvcPixelFormat::Yuy2, {{640, 480, {30, 15, 5}}, {320, 240, {30, 15, 5}}}},
        {UvcPixelFormat::Mjpeg, {{640, 480, {30, 15}}}},
    };
}

// A socket file: listed and accessible, but open() fails (ENXIO).
bool makeSocketFile(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return bound;
}

}  // namespace

VideoFunctionConfig VideoFunctionConfig::sonix636b()
{
    VideoFunctionConfig config;
    config.identity = identityOf(0x0C45, 0x636B, "Sonix Technology Co., Ltd.", "USB Depth Video");
    config.formats = standardFormats();
    return config;
}

VideoFunctionConfig VideoFunctionConfig::video2dbb0300()
{
    VideoFunctionConfig config;
    config.identity = identityOf(0x2DBB, 0x0300, "Depth Video", "USB Depth Video");
    config.formats = standardFormats();
    return config;
}

class EmulatedVideoFunction::Impl {
public:
    Impl(TestBedCore& bed, EmulatedUsbDevice& usb, const VideoFunctionConfig& config, int firstMinor)
        : bed(bed), usb(usb)
    {
        const std::string sysfs = usb.sysfsPath();
        facts.devicePath = sysfs.substr(4);  // without "/sys"
        facts.sysfsName = usb.location().sysfsName();
        facts.vendorId = config.identity.vendorId;
        facts.productId = config.identity.productId;
        facts.bcdDevice = config.identity.bcdDevice;
        facts.product = config.identity.product;
        facts.serial = config.identity.serialNumber;
        facts.firstMinor = firstMinor;
        const uint32_t tag =
            config.patternTag != 0 ? config.patternTag : uint32_t(usb.bus() << 8) | uint32_t(usb.address());
        const std::string devpath = facts.sysfsName.substr(facts.sysfsName.find('-') + 1);
        state = std::make_unique<VideoFunctionState>(config, tag, "usb-0000:00:14.0-" + devpath);
    }

    std::string node(int n) const { return "/dev/video" + std::to_string(facts.firstMinor + n); }
    std::string fileOf(const std::string& path) const { return bed.rootDir() + path; }
    std::vector<V4l2NodeHandler*> handlers() const
    {
        std::vector<V4l2NodeHandler*> all;
        for (const auto& h : current)
            if (h) all.push_back(h.get());
        for (const auto& h : retired) all.push_back(h.get());
        return all;
    }

    bool addNodes()
    {
        GError* error = nullptr;
        if (!umockdev_testbed_add_from_string(bed.testbed(), VideoNodeRecord::build(facts).c_str(), &error)) {
            emulatorLog("adding the video nodes of %s failed: %s", facts.sysfsName.c_str(), error ? error->message : "?");
            g_clear_error(&error);
            return false;
        }
        const V4l2NodeHandler::Kind kinds[2] = {V4l2NodeHandler::Kind::Capture, V4l2NodeHandler::Kind::Metadata};
        for (int n = 0; n < 2; ++n) {
            current[n] = std::make_unique<V4l2NodeHandler>(*state, kinds[n], node(n), fileOf(node(n)));
            if (!current[n]->attach(bed.testbed())) return false;
        }
        WorkerHandoff::publish();
        return true;
    }

    // Children before their parents: removing a parent leaves its children's nodes behind.
    void removeNodes()
    {
        for (const std::string& path : {VideoNodeRecord::nodePath(facts, 1), VideoNodeRecord::nodePath(facts, 0),
                                        VideoNodeRecord::interfacePath(facts)}) {
            umockdev_testbed_uevent(bed.testbed(), ("/sys" + path).c_str(), "remove");
            umockdev_testbed_remove_device(bed.testbed(), ("/sys" + path).c_str());
        }
    }

    TestBedCore& bed;
    EmulatedUsbDevice& usb;
    VideoNodeFacts facts;
    std::unique_ptr<VideoFunctionState> state;
    std::unique_ptr<V4l2NodeHandler> current[2];          // capture, metadata
    std::vector<std::unique_ptr<V4l2NodeHandler>> retired;  // earlier plug-ins: hosts may still hold them
    bool plugged = false;
};

EmulatedVideoFunction::EmulatedVideoFunction(TestBedCore& bed, EmulatedUsbDevice& usb,
                                             const VideoFunctionConfig& config, int firstMinor)
    : m_impl(std::make_unique<Impl>(bed, usb, config, firstMinor))
{
}

EmulatedVideoFunction::~EmulatedVideoFunction()
{
    Impl& d = *m_impl;
    // Serialised with every handler callback: after this none touches us.
    for (V4l2NodeHandler* h : d.handlers()) h->timer().runOnWorker([h] { h->release(); });
    for (auto& h : d.current)
        if (h) h->detach(d.bed.testbed());
}

EmulatedUsbDevice& EmulatedVideoFunction::usbDevice() const { return m_impl->usb; }
std::string EmulatedVideoFunction::captureNode() const { return m_impl->node(0); }
std::string EmulatedVideoFunction::metadataNode() const { return m_impl->node(1); }
uint32_t EmulatedVideoFunction::patternTag() const { return m_impl->state->tag; }

void EmulatedVideoFunction::failRequest(unsigned long request, int error, int times)
{
    std::lock_guard<std::mutex> lock(m_impl->state->mutex);
    if (times == 0)
        m_impl->state->failures.erase(request);
    else
        m_impl->state->failures[request] = {error, times};
}

void EmulatedVideoFunction::shortenFrames(size_t missingBytes, int frames)
{
    std::lock_guard<std::mutex> lock(m_impl->state->mutex);
    m_impl->state->missingBytes = missingBytes;
    m_impl->state->shortFrames = frames;
}

void EmulatedVideoFunction::setCaptureCapabilities(uint32_t deviceCaps)
{
    std::lock_guard<std::mutex> lock(m_impl->state->mutex);
    m_impl->state->captureCaps = deviceCaps;
    m_impl->state->capsOverridden = true;
}

void EmulatedVideoFunction::setMinimumBuffers(unsigned count)
{
    std::lock_guard<std::mutex> lock(m_impl->state->mutex);
    m_impl->state->minimumBuffers = count;
}

void EmulatedVideoFunction::damage(VideoNodeDamage damage)
{
    Impl& d = *m_impl;
    const std::string file = d.fileOf(captureNode());
    const std::string nodeName = captureNode().substr(5);  // "videoN"
    switch (damage) {
    case VideoNodeDamage::None:
        break;
    case VideoNodeDamage::DirectoryNode:
        ::unlink((d.bed.rootDir() + "/dev/.node/" + nodeName).c_str());
        ::unlink(file.c_str());
        if (mkdir(file.c_str(), 0755) != 0) emulatorLog("cannot make %s a directory", file.c_str());
        break;
    case VideoNodeDamage::UnopenableNode:
        ::unlink(file.c_str());
        if (!makeSocketFile(file)) emulatorLog("cannot make %s unopenable", file.c_str());
        break;
    case VideoNodeDamage::ForeignModalias:
        umockdev_testbed_set_attribute(d.bed.testbed(), ("/sys" + VideoNodeRecord::interfacePath(d.facts)).c_str(),
                                       "modalias", "platform:orr-video\n");
        break;
    }
}

void EmulatedVideoFunction::removeAttribute(const std::string& name)
{
    Impl& d = *m_impl;
    std::string dir = d.facts.devicePath;
    if (name == "modalias") dir = VideoNodeRecord::interfacePath(d.facts);
    if (name == "index") dir = VideoNodeRecord::nodePath(d.facts, 0);
    const std::string path = d.bed.rootDir() + "/sys" + dir + "/" + name;
    if (::unlink(path.c_str()) != 0) emulatorLog("no attribute %s to remove", path.c_str());
}

bool EmulatedVideoFunction::unplug()
{
    Impl& d = *m_impl;
    {
        std::lock_guard<std::mutex> lock(d.state->mutex);
        if (!d.plugged) return false;
        d.plugged = false;
        for (auto& h : d.current) h->markGoneLocked();
    }
    for (auto& h : d.current) h->dropReleased();
    d.removeNodes();
    for (auto& h : d.current) {
        h->detach(d.bed.testbed());
        std::lock_guard<std::mutex> lock(d.state->mutex);
        d.retired.push_back(std::move(h));
    }
    return d.usb.unplug();
}

bool EmulatedVideoFunction::replug()
{
    Impl& d = *m_impl;
    {
        std::lock_guard<std::mutex> lock(d.state->mutex);
        if (d.plugged) return false;
    }
    if (!d.usb.plugged() && !d.usb.replug()) return false;
    if (!d.addNodes()) return false;
    std::lock_guard<std::mutex> lock(d.state->mutex);
    d.plugged = true;
    return true;
}

uint64_t EmulatedVideoFunction::framesDelivered() const
{
    std::lock_guard<std::mutex> lock(m_impl->state->mutex);
    return m_impl->state->framesDelivered;
}

bool EmulatedVideoFunction::waitForFrames(uint64_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(m_impl->state->mutex);
    return m_impl->state->frameDelivered.wait_for(lock, timeout,
                                                  [this, count] { return m_impl->state->framesDelivered >= count; });
}

bool EmulatedVideoFunction::streaming() const
{
    std::lock_guard<std::mutex> lock(m_impl->state->mutex);
    return m_impl->current[0] && m_impl->current[0]->streamingLocked();
}

int EmulatedVideoFunction::openHandles() const
{
    std::lock_guard<std::mutex> lock(m_impl->state->mutex);
    int handles = 0;
    for (V4l2NodeHandler* h : m_impl->handlers()) handles += h->openHandlesLocked();
    return handles;
}

}  // namespace orrindale::emulator
