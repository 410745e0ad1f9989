#include "Filt.h"

#include <cstddef>
#include <cstdint>

#include "DepthRegistration.h"
#include "HoleFilling.h"
#include "RunSpeckleFilter.h"
#include "SpeckleFilter.h"

int denoise(short* depth, short newVal, int maxSpeckleSize, short maxDiff, unsigned char* work, int max_th, int,
            int, int width, int height)
{
    if (depth == nullptr || work == nullptr || width <= 0 || height <= 0) return -1;
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (pixels > static_cast<std::size_t>(INT32_MAX)) return -1;
    orrindale::SpeckleParameters params;
    params.newVal = newVal;
    params.maxSpeckleSize = maxSpeckleSize;
    params.maxDiff = maxDiff;
    params.maxDepth = max_th;
    // The caller's area is width * height * 13 bytes; the run-based filter fits in it
    // for every image of more than a few dozen pixels.
    const std::size_t workBytes = orrindale::SpeckleFilter::workAreaBytes(pixels);
    if (orrindale::RunSpeckleFilter::fits(width, height, workBytes))
        orrindale::RunSpeckleFilter::apply(depth, width, height, params, work, workBytes);
    else
        orrindale::SpeckleFilter::apply(depth, width, height, params, work);
    return 0;
}

int depth2RGB(short* depthIn, short* depthOut, float*, float*, float*, int outWidth, int outHeight, int inWidth,
              int inHeight, ir_rgb_Parameter& calib)
{
    if (depthIn == nullptr || depthOut == nullptr || outWidth <= 0 || outHeight <= 0 || inWidth <= 0 ||
        inHeight <= 0 || depthIn == depthOut)
        return -1;
    orrindale::DepthRegistration::Projection projection;
    if (!orrindale::DepthRegistration::makeProjection(calib, projection)) return -2;
    orrindale::DepthRegistration::apply(reinterpret_cast<const uint16_t*>(depthIn), inWidth, inHeight,
                                        reinterpret_cast<uint16_t*>(depthOut), outWidth, outHeight, projection);
    return 0;
}

int filling(unsigned char* mask, short* depthIn, short* depthOut, short newVal, int maxHoleSize, int maxDepthSpread,
            unsigned char* work, int fillMode, int fillBorderHoles, int width, int height)
{
    if (mask == nullptr || depthIn == nullptr || depthOut == nullptr || work == nullptr || width <= 0 || height <= 0)
        return -1;
    orrindale::HoleFillingParameters params;
    params.newVal = newVal;
    params.maxHoleSize = maxHoleSize;
    params.maxDepthSpread = maxDepthSpread;
    params.fillMode = fillMode;
    params.fillBorderHoles = fillBorderHoles;
    return orrindale::HoleFilling::apply(depthIn, depthOut, mask, width, height, params, work);
}
