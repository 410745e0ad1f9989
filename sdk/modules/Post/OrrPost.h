// Post-processing helpers the camera drivers call on raw frames before delivery:
// depth word scaling, speckle removal, hole filling, registration of depth onto the
// colour image, dilation, a fast 3 x 3 median, MJPEG decoding, 16-bit speckle images to
// 8 bits, fixed-point depth to floats and depth to point clouds.
//
// Stateless: every operation works on the buffers it is given. Each returns 0 on
// success or a negative code, and logs one line where a failure is found.
#pragma once

#include <string>
#include <vector>

#include "IrRgbParameter.h"
#include "qv_camera_sdk_types.h"

using orrindale::ir_rgb_Parameter;

class OrrPost {
public:
    OrrPost() = default;
    // The processing version a driver names ("v2.x"); every version behaves the same.
    explicit OrrPost(const std::string& /*version*/) {}

    // Rounding right shift of width * height words (the RawToZ16 arithmetic).
    // -1 "data is nullptr".
    int processDepthImageRawData(unsigned short* data, unsigned int width, unsigned int height, int shift);

    // Speckle removal in place: the filter library for images up to 640 x 640, the
    // built-in filter beyond. -1 null data or a size beyond int, -2 no memory, or the
    // filter library's negative result.
    int denoiseDepthImage(unsigned short* data, unsigned int width, unsigned int height, short newVal,
                          int maxSpeckleSize, int maxDiff, int max_th);

    // Hole filling through filling() (see HoleFilling.h for the four integers). -1 null
    // data or no memory, otherwise filling()'s result.
    int fillHolesDepthImage(unsigned short* data, short newVal, int maxHoleSize, int maxDepthSpread, int fillMode,
                            int fillBorderHoles, int width, int height);

    // Registers depth (its width x height) into depthDst.data (depthDst's width x height).
    // -1 null data, a short depth frame or no memory, -3 depth2RGB failed.
    int depthimg2Rgb(CAM_FRAME& depth, CAM_FRAME& depthDst, ir_rgb_Parameter& calib);

    // dilate_lite_depth_img(src, dst, width, height).
    int dilate_lite_depth(short* src, short* dst, int width, int height);

    // Registration followed by the light dilation. -1 null data, -2 no memory,
    // -3 registration failed, -4 dilation failed.
    int alignDepth(CAM_FRAME& depth, CAM_FRAME& depthDst, ir_rgb_Parameter& calib);

    // Infrared counterpart of alignDepth. The infrared image comes from the depth sensor
    // and so is already aligned with the depth image; without a depth map it cannot be
    // moved onto the colour grid, so it is copied unchanged (ir.size bytes). -1 null
    // data, -2 sizes differ or irDst.size (when set) is too small.
    int alignIr(CAM_FRAME& ir, CAM_FRAME& irDst, ir_rgb_Parameter& calib);

    // 3 x 3 median in place (fastMedianBlur's columns). -1 null data or no memory.
    int fastMedianFilter(unsigned short* data, int width, int height);

    // MJPEG to 8-bit grey / to B, G, R bytes. width and height receive the image size
    // once the header is read. capacity: bytes at out (0: the caller guarantees room).
    // -1 null pointer or no decompressor, -2 unreadable header or an image larger than
    // capacity, -3 (grey) / -4 (colour) decompression failed. Damaged data that still
    // decodes is a success with a warning.
    int mjpgToY8(void* jpeg, int size, unsigned char* out, unsigned int& width, unsigned int& height,
                 unsigned int capacity);
    int mjpgToRGB24(void* jpeg, int size, unsigned char* out, unsigned int& width, unsigned int& height,
                    unsigned int capacity);

    // Decodes src (MJPEG) into dst->data and sets dst's width, height and size
    // (width * height * 3). dst->size on entry is the buffer's capacity (0: unchecked).
    // -1 null frame, -2 decoding failed.
    int MjpegPostProcess(CAM_FRAME* src, CAM_FRAME* dst);

    // Keeps the high byte of each of the width * height 16-bit words at the start of the
    // buffer, clears the rest of it and sets size to width * height. -1 null data.
    int processSpecklegramRawData(unsigned char* data, unsigned long width, unsigned long height,
                                  unsigned int& size);

    // Appends each 12.4 fixed-point word as a float. -1 null data with a non-empty size.
    int processDepthData(unsigned short* data, std::vector<float>& out, unsigned int width, unsigned int height);

    // Depth to a point cloud with the Z16ToXYZ32 arithmetic: colour intrinsics of param
    // when registered, depth intrinsics otherwise; organized keeps every pixel, else only
    // depths 1 .. 5000. points is resized to 3 * width * height + 1 floats; cloud becomes
    // a point-cloud frame pointing into it (size = points * 12, length = element count,
    // frameId and timestamp of depth). -1 null or short depth frame.
    int depthToPointcloud(const CAM_FRAME& depth, CAM_FRAME& cloud, std::vector<float>& points,
                          const ir_rgb_Parameter& param, bool organized, bool registered);
};
