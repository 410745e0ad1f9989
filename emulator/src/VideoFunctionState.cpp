#include "VideoFunctionState.h"

#include "VideoTestPattern.h"

namespace orrindale::emulator {

VideoFunctionState::VideoFunctionState(const VideoFunctionConfig& configuration, uint32_t patternTag,
                                       std::string usbBusInfo)
    : config(configuration),
      formats(configuration.formats),
      source(configuration.frames ? configuration.frames : VideoTestPattern::source(patternTag)),
      tag(patternTag),
      busInfo(std::move(usbBusInfo)),
      format(formats.defaultFormat()),
      fps(formats.closestFps(format, 0))
{
}

bool VideoFunctionState::takeFailure(unsigned long request, int& error)
{
    auto it = failures.find(request);
    if (it == failures.end()) return false;
    error = it->second.error;
    if (it->second.times > 0 && --it->second.times == 0) failures.erase(it);
    return true;
}

size_t VideoFunctionState::frameBytes(size_t bytes)
{
    if (shortFrames == 0) return bytes;
    if (shortFrames > 0) --shortFrames;
    return bytes > missingBytes ? bytes - missingBytes : 0;
}

}  // namespace orrindale::emulator
