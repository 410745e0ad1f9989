#include "Fl30cGeometry.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

#include "ParameterTransfer.h"

namespace {

struct Pinhole {
    double fx, fy, cx, cy;
};

bool isQuarterTurn(ROTATE_MODE_E rotate) { return rotate == ROTATE_MODE_90 || rotate == ROTATE_MODE_270; }

// One axis of ImageGeometry::ReSizeForNearestFC: output pixel x shows input pixel
// floor(x * in / out). With out / in = p / q in lowest terms the fractions dropped by the
// floor average (p - 1) / 2p, so c' = s (c + (p - 1) / 2p): exact for whole-number
// reductions (c s) and for enlargements ((c + 0.5) s - 0.5).
void nearestResizeAxis(double& f, double& c, int in, int out)
{
    if (in <= 0 || out <= 0 || in == out) return;
    const double s = static_cast<double>(out) / in;
    const double p = static_cast<double>(out / std::gcd(out, in));
    f *= s;
    c = s * (c + (p - 1) / (2 * p));
}

void nearestResize(Pinhole& k, int inW, int inH, int outW, int outH)
{
    nearestResizeAxis(k.fx, k.cx, inW, outW);
    nearestResizeAxis(k.fy, k.cy, inH, outH);
}

// A rendering grid of another size over the same view (pixel centres kept aligned).
void regrid(Pinhole& k, int inW, int inH, int outW, int outH)
{
    if (inW <= 0 || inH <= 0) return;
    const double sx = static_cast<double>(outW) / inW, sy = static_cast<double>(outH) / inH;
    k = {k.fx * sx, k.fy * sy, (k.cx + 0.5) * sx - 0.5, (k.cy + 0.5) * sy - 0.5};
}

// ImageGeometry::rotateMirror of a width x height image: clockwise turn, then left-right mirror.
void turn(Pinhole& k, int width, int height, ROTATE_MODE_E rotate, bool mirror)
{
    const double w = width, h = height;
    Pinhole t = k;
    double outW = w;
    switch (rotate) {
    case ROTATE_MODE_90: t = {k.fy, k.fx, h - 1 - k.cy, k.cx}, outW = h; break;
    case ROTATE_MODE_180: t = {k.fx, k.fy, w - 1 - k.cx, h - 1 - k.cy}; break;
    case ROTATE_MODE_270: t = {k.fy, k.fx, k.cy, w - 1 - k.cx}, outW = h; break;
    default: break;
    }
    if (mirror) t.cx = outW - 1 - t.cx;
    k = t;
}

// The camera axes of the turned and mirrored images: x' = Q x (rows of Q).
void frameChange(ROTATE_MODE_E rotate, bool mirror, int (&q)[3][3])
{
    const int turns[4][2][2] = {{{1, 0}, {0, 1}}, {{0, -1}, {1, 0}}, {{-1, 0}, {0, -1}}, {{0, 1}, {-1, 0}}};
    const int t = rotate == ROTATE_MODE_90 ? 1 : rotate == ROTATE_MODE_180 ? 2 : rotate == ROTATE_MODE_270 ? 3 : 0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) q[i][j] = i < 2 && j < 2 ? turns[t][i][j] : i == j;
    if (mirror)
        for (int j = 0; j < 3; ++j) q[0][j] = -q[0][j];
}

Pinhole depthOf(const CAM_Parameter& p) { return {p.depthFx, p.depthFy, p.depthCx, p.depthCy}; }
Pinhole colourOf(const CAM_Parameter& p) { return {p.rgbFx, p.rgbFy, p.rgbCx, p.rgbCy}; }

void setDepth(CAM_Parameter& p, const Pinhole& k)
{
    p.depthFx = static_cast<float>(k.fx), p.depthFy = static_cast<float>(k.fy);
    p.depthCx = static_cast<float>(k.cx), p.depthCy = static_cast<float>(k.cy);
}

void setColour(CAM_Parameter& p, const Pinhole& k)
{
    p.rgbFx = static_cast<float>(k.fx), p.rgbFy = static_cast<float>(k.fy);
    p.rgbCx = static_cast<float>(k.cx), p.rgbCy = static_cast<float>(k.cy);
}

}  // namespace

bool Fl30cGeometry::Request::operator==(const Request& o) const
{
    return transferWidth == o.transferWidth && transferHeight == o.transferHeight && depthWidth == o.depthWidth &&
           depthHeight == o.depthHeight && mjpegWidth == o.mjpegWidth && mjpegHeight == o.mjpegHeight &&
           rgbWidth == o.rgbWidth && rgbHeight == o.rgbHeight && rotate == o.rotate && mirror == o.mirror &&
           registration == o.registration;
}

Fl30cGeometry::ColourPlan Fl30cGeometry::colourPlan(int decodedWidth, int decodedHeight, int rgbWidth, int rgbHeight,
                                                    ROTATE_MODE_E rotate)
{
    ColourPlan plan;
    const int w = decodedWidth, h = decodedHeight;
    const bool quarter = isQuarterTurn(rotate);
    // Quarter turns keep a centre band so the turned picture is not too tall.
    plan.bandWidth = quarter && w == 1280 ? 960 : quarter && w == 800 ? 720 : w;
    plan.bandX0 = (w - plan.bandWidth) / 2;
    turnedSize(plan.bandWidth, h, rotate, plan.turnedWidth, plan.turnedHeight);
    plan.outWidth = rgbWidth, plan.outHeight = rgbHeight;
    if (!quarter || plan.turnedWidth <= 0 || plan.turnedHeight <= 0) return plan;
    // The requested size transposed, as large as the turned picture's aspect allows in it.
    const int64_t tw = rgbHeight, th = rgbWidth, pw = plan.turnedWidth, ph = plan.turnedHeight;
    if (tw * ph <= th * pw) {
        plan.outWidth = static_cast<int>(tw);
        plan.outHeight = std::max(1, static_cast<int>((ph * tw + pw / 2) / pw));
    } else {
        plan.outHeight = static_cast<int>(th);
        plan.outWidth = std::max(1, static_cast<int>((pw * th + ph / 2) / ph));
    }
    return plan;
}

void Fl30cGeometry::turnedSize(int width, int height, ROTATE_MODE_E rotate, int& outWidth, int& outHeight)
{
    const bool quarter = isQuarterTurn(rotate);
    outWidth = quarter ? height : width;
    outHeight = quarter ? width : height;
}

void Fl30cGeometry::alignedSize(const Request& r, int& width, int& height)
{
    if (r.rgbHeight == 360 || r.rgbHeight == 180 || r.rgbHeight == 90) {
        const ColourPlan plan = colourPlan(r.mjpegWidth, r.mjpegHeight, r.rgbWidth, r.rgbHeight, r.rotate);
        width = plan.outWidth, height = plan.outHeight;
        return;
    }
    turnedSize(r.depthWidth, r.depthHeight, r.rotate, width, height);
}

void Fl30cGeometry::deliveredSizes(const Request& r, int irWidth, int irHeight, STREAM_PARAM_S (&sizes)[3])
{
    const ColourPlan plan = colourPlan(r.mjpegWidth, r.mjpegHeight, r.rgbWidth, r.rgbHeight, r.rotate);
    int dw = 0, dh = 0, iw = 0, ih = 0;
    if (r.registration)
        alignedSize(r, dw, dh);
    else
        turnedSize(r.depthWidth, r.depthHeight, r.rotate, dw, dh);
    turnedSize(irWidth, irHeight, r.rotate, iw, ih);
    sizes[0].width = static_cast<uint32_t>(plan.outWidth), sizes[0].height = static_cast<uint32_t>(plan.outHeight);
    sizes[1].width = static_cast<uint32_t>(dw), sizes[1].height = static_cast<uint32_t>(dh);
    sizes[2].width = static_cast<uint32_t>(iw), sizes[2].height = static_cast<uint32_t>(ih);
}

void Fl30cGeometry::parameters(const CAM_Parameter& header, const Request& r, orrindale::ir_rgb_Parameter& processing,
                               CAM_Parameter& reported)
{
    Pinhole depth = depthOf(header);
    nearestResize(depth, r.transferWidth, r.transferHeight, r.depthWidth, r.depthHeight);
    turn(depth, r.depthWidth, r.depthHeight, r.rotate, r.mirror);

    const ColourPlan plan = colourPlan(r.mjpegWidth, r.mjpegHeight, r.rgbWidth, r.rgbHeight, r.rotate);
    Pinhole colour = colourOf(header);
    colour.cx -= plan.bandX0;
    turn(colour, plan.bandWidth, r.mjpegHeight, r.rotate, r.mirror);
    nearestResize(colour, plan.turnedWidth, plan.turnedHeight, plan.outWidth, plan.outHeight);

    int alignedW = 0, alignedH = 0;
    alignedSize(r, alignedW, alignedH);
    Pinhole onGrid = colour;
    regrid(onGrid, plan.outWidth, plan.outHeight, alignedW, alignedH);

    // Both cameras turn and mirror alike: colour' = (Q R Q^T) depth' + Q T.
    int q[3][3];
    frameChange(r.rotate, r.mirror, q);
    CAM_Parameter p = header;
    for (int i = 0; i < 3; ++i) {
        double t = 0;
        for (int j = 0; j < 3; ++j) {
            double v = 0;
            for (int a = 0; a < 3; ++a)
                for (int b = 0; b < 3; ++b) v += q[i][a] * double(header.rotation[a * 3 + b]) * q[j][b];
            p.rotation[i * 3 + j] = static_cast<float>(v);
            t += q[i][j] * double(header.translation[j]);
        }
        p.translation[i] = static_cast<float>(t);
    }
    setDepth(p, depth);
    setColour(p, r.registration ? onGrid : colour);
    orrindale::transferPara(processing, p, false);

    reported = p;
    setColour(reported, colour);
    if (r.registration) {
        setDepth(reported, onGrid);
        for (int i = 0; i < 9; ++i) reported.rotation[i] = i % 4 == 0 ? 1.0f : 0.0f;
        for (float& t : reported.translation) t = 0;
    }
}
