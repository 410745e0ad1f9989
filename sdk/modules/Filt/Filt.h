// The filter library's entry points: speckle removal, registration of depth onto the
// colour image and hole filling, with the calling conventions the drivers use.
#pragma once

#include "IrRgbParameter.h"

using orrindale::ir_rgb_Parameter;

// Removes speckles in place (see SpeckleFilter.h). `work` is a zero-filled area of
// width * height * 13 bytes. Pixels deeper than max_th (unsigned millimetres) are set
// to 0 first. The two unnamed integers are reserved and ignored.
// Returns 0, or -1 for a null pointer or a non-positive size.
int denoise(short* depth, short newVal, int maxSpeckleSize, short maxDiff, unsigned char* work, int max_th, int,
            int, int width, int height);

// Fills depthOut (outWidth x outHeight) with depthIn (inWidth x inHeight) as seen from
// the colour camera (see DepthRegistration.h). The work areas are not needed and may be
// null. Returns 0, -1 for a null image, a non-positive size or depthIn == depthOut, -2 for a calibration
// that cannot project (zero or non-finite focal lengths, non-finite extrinsics).
int depth2RGB(short* depthIn, short* depthOut, float* work1, float* work2, float* work3, int outWidth, int outHeight,
              int inWidth, int inHeight, ir_rgb_Parameter& calib);

// Fills small holes (see HoleFilling.h): filling(mask, depthIn, depthOut, newVal,
// maxHoleSize, maxDepthSpread, work, fillMode, fillBorderHoles, width, height).
// `mask` (width * height bytes) marks filled pixels with 255; `work` holds at least
// width * height * 5 bytes; depthOut may equal depthIn.
// Returns 0, -1 for a null pointer or a non-positive size, -2 for an unknown fill mode.
int filling(unsigned char* mask, short* depthIn, short* depthOut, short newVal, int maxHoleSize, int maxDepthSpread,
            unsigned char* work, int fillMode, int fillBorderHoles, int width, int height);
