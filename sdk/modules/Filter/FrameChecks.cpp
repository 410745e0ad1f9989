#include "FrameChecks.h"

#include <climits>

namespace orrindale {

bool FrameChecks::holdsImage(const CAM_FRAME& f, std::size_t bytesPerPixel)
{
    if (f.data == nullptr || f.width > INT_MAX || f.height > INT_MAX) return false;
    const std::size_t need = static_cast<std::size_t>(f.width) * f.height * bytesPerPixel;
    return f.size >= need;
}

std::string FrameChecks::describeShortImage(const CAM_FRAME& f, std::size_t bytesPerPixel)
{
    if (f.data == nullptr) return "data is nullptr";
    return "frame of " + std::to_string(f.width) + "x" + std::to_string(f.height) + " needs " +
           std::to_string(static_cast<std::size_t>(f.width) * f.height * bytesPerPixel) + " bytes, size is " +
           std::to_string(f.size);
}

}  // namespace orrindale
