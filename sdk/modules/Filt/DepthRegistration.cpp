#include "DepthRegistration.h"

#include <cmath>
#include <cstring>

namespace orrindale {

bool DepthRegistration::makeProjection(const ir_rgb_Parameter& c, Projection& out)
{
    const double values[] = {c.depthFx, c.depthFy, c.depthCx, c.depthCy, c.rgbFx, c.rgbFy, c.rgbCx, c.rgbCy};
    for (double v : values)
        if (!std::isfinite(v)) return false;
    if (c.depthFx == 0.0f || c.depthFy == 0.0f) return false;
    for (float v : c.rotation)
        if (!std::isfinite(v)) return false;
    for (float v : c.translation)
        if (!std::isfinite(v)) return false;

    // Kinv: depth pixel to ray; K: colour camera; M = K * R * Kinv, offset = K * T.
    const double kinv[3][3] = {{1.0 / c.depthFx, 0.0, -double(c.depthCx) / c.depthFx},
                               {0.0, 1.0 / c.depthFy, -double(c.depthCy) / c.depthFy},
                               {0.0, 0.0, 1.0}};
    const double k[3][3] = {{c.rgbFx, 0.0, c.rgbCx}, {0.0, c.rgbFy, c.rgbCy}, {0.0, 0.0, 1.0}};
    double kr[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double s = 0.0;
            for (int m = 0; m < 3; ++m) s += k[i][m] * c.rotation[m * 3 + j];
            kr[i][j] = s;
        }
    double m[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double s = 0.0;
            for (int n = 0; n < 3; ++n) s += kr[i][n] * kinv[n][j];
            m[i][j] = s;
        }
    for (int i = 0; i < 3; ++i) {
        out.column0[i] = static_cast<float>(m[i][0]);
        out.column1[i] = static_cast<float>(m[i][1]);
        out.column2[i] = static_cast<float>(m[i][2]);
        double t = 0.0;
        for (int n = 0; n < 3; ++n) t += k[i][n] * c.translation[n];
        out.offset[i] = static_cast<float>(t);
    }
    return true;
}

void DepthRegistration::apply(const uint16_t* depthIn, int inWidth, int inHeight, uint16_t* depthOut, int outWidth,
                              int outHeight, const Projection& pr)
{
    std::memset(depthOut, 0, static_cast<std::size_t>(outWidth) * outHeight * sizeof(uint16_t));
    // Far outside the image: keeps the float-to-int conversion defined.
    const float limitX = static_cast<float>(outWidth) + 1.0f;
    const float limitY = static_cast<float>(outHeight) + 1.0f;
    for (int v = 0; v < inHeight; ++v) {
        const uint16_t* row = depthIn + static_cast<std::size_t>(v) * inWidth;
        const float fv = static_cast<float>(v);
        const float baseX = pr.column1[0] * fv + pr.column2[0];
        const float baseY = pr.column1[1] * fv + pr.column2[1];
        const float baseZ = pr.column1[2] * fv + pr.column2[2];
        for (int u = 0; u < inWidth; ++u) {
            const uint16_t d = row[u];
            if (d == 0) continue;
            const float z = static_cast<float>(d);
            const float fu = static_cast<float>(u);
            const float pz = z * (pr.column0[2] * fu + baseZ) + pr.offset[2];
            if (!(pz > 0.5f && pz < 65535.5f)) continue;
            const float inv = 1.0f / pz;
            const float x = (z * (pr.column0[0] * fu + baseX) + pr.offset[0]) * inv;
            const float y = (z * (pr.column0[1] * fu + baseY) + pr.offset[1]) * inv;
            if (!(x > -1.0f && x < limitX && y > -1.0f && y < limitY)) continue;
            const long ox = std::lrint(x);
            const long oy = std::lrint(y);
            if (ox < 0 || ox >= outWidth || oy < 0 || oy >= outHeight) continue;
            const uint16_t zq = static_cast<uint16_t>(std::lrint(pz));
            uint16_t& target = depthOut[static_cast<std::size_t>(oy) * outWidth + ox];
            // 0 is "empty": as an unsigned word minus one it compares above every depth.
            if (static_cast<uint16_t>(zq - 1u) < static_cast<uint16_t>(target - 1u)) target = zq;
        }
    }
}

}  // namespace orrindale
