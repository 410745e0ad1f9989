// The USB side of an emulated video function: the UVC descriptors of its formats (what
// lsusb shows and libusb lists). Its interfaces belong to uvcvideo, so nothing streams
// through usbfs: the picture comes through the video node.
#pragma once

#include "UvcDeviceModel.h"

namespace orrindale::emulator {

class VideoFunctionUsbModel : public UvcDeviceModel {
public:
    VideoFunctionUsbModel(const UvcIdentity& identity, const std::vector<UvcFormat>& formats);

protected:
    std::optional<Frame> nextFrame(const UvcStreamSelection&, uint64_t) override { return std::nullopt; }
};

}  // namespace orrindale::emulator
