// The video function of a USB camera as the kernel's uvcvideo driver presents it: a USB
// device that libusb lists and lsusb describes, whose VideoControl interface carries two
// video4linux nodes, /dev/videoN (sysfs "index" 0, the capture node) and /dev/videoN+1
// (index 1, the metadata node). The capture node answers the V4L2 requests of a capture
// device (QUERYCAP, formats, frame sizes and intervals, G/S_PARM, inputs, priorities,
// REQBUFS/QUERYBUF/QBUF/DQBUF, STREAMON/OFF) with buffers the host maps, and completes
// VIDIOC_DQBUF when a frame is due at the negotiated rate.
//
//   VideoFunctionConfig config = VideoFunctionConfig::sonix636b();
//   config.frames = VideoDepthScene::source(intrinsics);        // or the default test pattern
//   EmulatedVideoFunction* video = bed().addVideoFunction(UsbLocation(1, {2, 2}, 6), config);
//   video->captureNode();                 // "/dev/video0"
//   video->failRequest(VIDIOC_S_FMT, EBUSY);
//   video->unplug();                      // pending and later requests fail with ENODEV
//
// A composite camera puts its control function and this video function behind one hub
// (UsbLocation(1, {2, 1}) and UsbLocation(1, {2, 2})).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "UsbLocation.h"
#include "UvcModelTypes.h"
#include "VideoFrameSource.h"

namespace orrindale::emulator {

class EmulatedUsbDevice;
class TestBedCore;

struct VideoFunctionConfig {
    UvcIdentity identity;             // identifiers and strings; the product is the V4L2 card name
    std::vector<UvcFormat> formats;   // YUY2 and MJPEG sizes with their rates (first: the default)
    VideoFrameSource frames;          // empty: VideoTestPattern
    uint32_t patternTag = 0;          // tag of the test pattern; 0: (bus << 8) | address

    // 0C45:636B and 2DBB:0300, each with YUY2 640 x 480 and 320 x 240 at 30, 15 and 5 fps
    // and MJPEG 640 x 480 at 30 and 15 fps.
    static VideoFunctionConfig sonix636b();
    static VideoFunctionConfig video2dbb0300();
};

// Ways the sysfs record or the node itself can be broken on demand.
enum class VideoNodeDamage {
    None,
    // /dev/videoN is a directory: "ls /dev/video*" lists "/dev/videoN:" (and its entries),
    // a name that cannot be accessed. (A dangling link is not listed at all under
    // umockdev 0.17: its preload cannot stat it.)
    DirectoryNode,
    UnopenableNode,    // /dev/videoN exists but cannot be opened (it is a directory)
    ForeignModalias,   // the interface's modalias is not a USB one ("platform:...")
};

class EmulatedVideoFunction {
public:
    // Made by UsbTestBed::addVideoFunction; `firstMinor` is N of /dev/videoN.
    EmulatedVideoFunction(TestBedCore& bed, EmulatedUsbDevice& usb, const VideoFunctionConfig& config, int firstMinor);
    EmulatedVideoFunction(const EmulatedVideoFunction&) = delete;
    EmulatedVideoFunction& operator=(const EmulatedVideoFunction&) = delete;
    ~EmulatedVideoFunction();

    EmulatedUsbDevice& usbDevice() const;
    std::string captureNode() const;   // "/dev/videoN", sysfs index 0
    std::string metadataNode() const;  // "/dev/videoN+1", sysfs index 1
    uint32_t patternTag() const;

    // Misbehaviour, thread safe; each takes effect from the next request.
    // The next `times` requests with this VIDIOC_ code (-1: all) fail with `error`.
    void failRequest(unsigned long request, int error, int times = 1);
    // The next `frames` frames (-1: all) are `missingBytes` shorter than the image size.
    void shortenFrames(size_t missingBytes, int frames = 1);
    // Capabilities QUERYCAP reports for the capture node (a device without V4L2_CAP_STREAMING).
    void setCaptureCapabilities(uint32_t deviceCaps);
    // REQBUFS grants at least this many buffers (a driver that rounds the count up).
    void setMinimumBuffers(unsigned count);
    // Lasts until the function is plugged in again.
    void damage(VideoNodeDamage damage);
    // Removes a sysfs attribute: "busnum", "devnum", "devpath" of the USB device,
    // "modalias" of the interface or "index" of the capture node.
    void removeAttribute(const std::string& name);

    // The device leaves: pending and later requests on open nodes fail with ENODEV, the
    // nodes and the USB device disappear from /dev and sysfs. Mappings stay readable.
    bool unplug();
    // Plugs it in (again) at the same place, with fresh nodes of the same numbers.
    bool replug();

    // Thread safe observations.
    uint64_t framesDelivered() const;
    bool waitForFrames(uint64_t count, std::chrono::milliseconds timeout) const;
    bool streaming() const;
    // Open file handles on the two nodes (a host that leaks a descriptor keeps one).
    int openHandles() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace orrindale::emulator
