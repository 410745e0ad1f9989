#include "SolenPaBlock.h"

#include <cstdio>

bool SolenPaBlock::parse(const std::string& text, SolenPaBlock& out)
{
    SolenPaBlock block;
    if (std::sscanf(text.c_str(), "%d,%d,%f,%f,%f,%f", &block.width, &block.height, &block.fx, &block.fy, &block.cx, &block.cy) != 6)
        return false;
    if (block.width <= 0 || block.height <= 0 || !(block.fx > 0) || !(block.fy > 0)) return false;
    out = block;
    return true;
}

CAM_Parameter SolenPaBlock::parameterAt(int imageWidth, int imageHeight) const
{
    const float sx = float(imageWidth) / float(width);
    const float sy = float(imageHeight) / float(height);
    CAM_Parameter p{};
    p.depthFx = fx * sx;
    p.depthFy = fy * sy;
    // Pixel centres stay aligned: c' = (c + 0.5) s - 0.5.
    p.depthCx = (cx + 0.5f) * sx - 0.5f;
    p.depthCy = (cy + 0.5f) * sy - 0.5f;
    p.rgbFx = p.depthFx;
    p.rgbFy = p.depthFy;
    p.rgbCx = p.depthCx;
    p.rgbCy = p.depthCy;
    p.rotation[0] = p.rotation[4] = p.rotation[8] = 1.0f;
    return p;
}
