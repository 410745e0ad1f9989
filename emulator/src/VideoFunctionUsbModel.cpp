#include "VideoFunctionUsbModel.h"

namespace orrindale::emulator {

namespace {

UvcStreaming streamingOf(const std::vector<UvcFormat>& formats)
{
    UvcStreaming streaming;
    streaming.formats = formats;
    return streaming;
}

}  // namespace

VideoFunctionUsbModel::VideoFunctionUsbModel(const UvcIdentity& identity, const std::vector<UvcFormat>& formats)
    : UvcDeviceModel(identity, streamingOf(formats))
{
}

}  // namespace orrindale::emulator
