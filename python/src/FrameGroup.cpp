#include "FrameGroup.h"

#include <cstring>

namespace orrpy {

namespace {

constexpr float kMetresPerMillimetre = 0.001f;

// Sets the shape of an image slot and allocates it; false when the slot's bytes do not
// hold width x height pixels of that shape.
bool shapeImage(const CAM_FRAME& f, uint32_t channels, uint32_t sampleBytes, FrameCopy& out)
{
    const uint64_t need = uint64_t(f.width) * f.height * channels * sampleBytes;
    if (f.width == 0 || f.height == 0 || need > f.size) return false;
    out.width = f.width;
    out.height = f.height;
    out.channels = channels;
    out.sampleBytes = sampleBytes;
    return true;
}

bool copyFrame(const CAM_FRAME& f, int kind, FrameCopy& out)
{
    if (f.size == 0 || f.data == nullptr) return false;
    bool shaped = false;
    switch (kind) {
    case FrameGroup::Depth: shaped = shapeImage(f, 1, 2, out); break;
    case FrameGroup::Color: shaped = shapeImage(f, 3, 1, out); break;
    case FrameGroup::Ir: shaped = shapeImage(f, 1, f.length == 2 ? 2 : 1, out); break;
    case FrameGroup::Cloud:
        out.width = f.size / 12;
        out.height = 1;
        out.channels = 3;
        out.sampleBytes = 4;
        shaped = out.width > 0;
        break;
    }
    if (!shaped) return false;
    const size_t size = out.size();
    out.bytes.reset(new uint8_t[size]);
    if (kind == FrameGroup::Cloud) {
        for (size_t i = 0; i < size; i += 4) {
            float v;
            std::memcpy(&v, f.data + i, 4);
            v *= kMetresPerMillimetre;
            std::memcpy(out.bytes.get() + i, &v, 4);
        }
    } else {
        std::memcpy(out.bytes.get(), f.data, size);
    }
    out.frameId = f.frameId;
    out.timestamp = f.timestamp;
    return true;
}

}  // namespace

const char* FrameGroup::kindName(int kind)
{
    static const char* const names[kKinds] = {"depth", "color", "ir", "cloud"};
    return names[kind];
}

std::unique_ptr<FrameGroup> FrameGroup::copy(const CAM_DATA& data)
{
    auto group = std::make_unique<FrameGroup>();
    bool any = false;
    for (int kind = 0; kind < kKinds; ++kind) any = copyFrame(data.frame[kind], kind, group->frames[kind]) || any;
    if (!any) group.reset();
    return group;
}

}  // namespace orrpy
