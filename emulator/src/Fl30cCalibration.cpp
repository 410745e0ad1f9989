#include "Fl30cCalibration.h"

#include <cmath>

namespace orrindale::emulator {

CameraIntrinsics CameraIntrinsics::scaledTo(int newWidth, int newHeight) const
{
    const float sx = float(newWidth) / float(width);
    const float sy = float(newHeight) / float(height);
    return {fx * sx, fy * sy, (cx + 0.5f) * sx - 0.5f, (cy + 0.5f) * sy - 0.5f, newWidth, newHeight};
}

Fl30cCalibration Fl30cCalibration::defaults()
{
    Fl30cCalibration c;
    c.depth = {570.0f, 570.0f, 319.5f, 239.5f, 640, 480};
    c.colourWide = {920.0f, 920.0f, 639.5f, 359.5f, 1280, 720};
    c.colourFourThree = {610.0f, 610.0f, 319.5f, 239.5f, 640, 480};
    // A small rotation (x -0.8, y 1.5, z 0.3 degrees) so that a transposed or ignored
    // rotation shows as a shift of many pixels.
    const double rx = -0.8 * M_PI / 180, ry = 1.5 * M_PI / 180, rz = 0.3 * M_PI / 180;
    const double cxr = std::cos(rx), sxr = std::sin(rx), cyr = std::cos(ry), syr = std::sin(ry);
    const double czr = std::cos(rz), szr = std::sin(rz);
    // R = Rz * Ry * Rx
    const double r[9] = {czr * cyr, czr * syr * sxr - szr * cxr, czr * syr * cxr + szr * sxr,
                         szr * cyr, szr * syr * sxr + czr * cxr, szr * syr * cxr - czr * sxr,
                         -syr,      cyr * sxr,                   cyr * cxr};
    for (int i = 0; i < 9; ++i) c.rotation[size_t(i)] = float(r[i]);
    c.translation = {-25.0f, 0.5f, 1.5f};
    return c;
}

CameraIntrinsics Fl30cCalibration::colourFor(int width, int height) const
{
    // 4:3 images come from their own sensor crop; 16:9 ones are the wide image scaled.
    if (width * 3 == height * 4) return colourFourThree.scaledTo(width, height);
    return colourWide.scaledTo(width, height);
}

std::array<float, 20> Fl30cCalibration::headerFloats(int depthWidth, int depthHeight, int colourWidth,
                                                     int colourHeight) const
{
    const CameraIntrinsics d = depthFor(depthWidth, depthHeight);
    const CameraIntrinsics c = colourFor(colourWidth, colourHeight);
    std::array<float, 20> f{};
    f[0] = d.fx, f[1] = d.fy, f[2] = d.cx, f[3] = d.cy;
    f[4] = c.fx, f[5] = c.fy, f[6] = c.cx, f[7] = c.cy;
    for (size_t i = 0; i < 9; ++i) f[8 + i] = rotation[i];
    for (size_t i = 0; i < 3; ++i) f[17 + i] = translation[i];
    return f;
}

}  // namespace orrindale::emulator
