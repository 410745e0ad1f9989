// One stream callback's frames, copied out of the library's buffers: the only copy on the
// way to the arrays the application holds. Made on the transport's thread, so it touches
// nothing of Python.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "qv_camera_sdk_types.h"

namespace orrpy {

struct FrameCopy {
    std::unique_ptr<uint8_t[]> bytes;  // null: the group has no frame of this kind
    uint32_t width = 0;                // pixels per row; points for a cloud
    uint32_t height = 0;               // rows; 1 for a cloud
    uint32_t channels = 1;             // samples per pixel (3 for colour and cloud points)
    uint32_t sampleBytes = 1;          // bytes per sample
    uint32_t frameId = 0;
    uint64_t timestamp = 0;            // milliseconds, the camera's chosen clock
    size_t size() const { return size_t(width) * height * channels * sampleBytes; }
};

class FrameGroup {
public:
    // In the order of the CAM_DATA slots.
    enum Kind { Depth = CAM_DATA_SLOT_DEPTH, Color = CAM_DATA_SLOT_RGB, Ir = CAM_DATA_SLOT_IR, Cloud = CAM_DATA_SLOT_POINTCLOUD, kKinds };
    static const char* kindName(int kind);

    // Null when no slot carries a frame that fits its stated size (nothing to hand on).
    // Depth stays in millimetres; the point cloud is converted to metres while it is copied.
    static std::unique_ptr<FrameGroup> copy(const CAM_DATA& data);

    FrameCopy frames[kKinds];
};

}  // namespace orrpy
