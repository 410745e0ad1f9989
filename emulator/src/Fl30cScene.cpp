#include "Fl30cScene.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orrindale::emulator {

namespace {

using Vec = std::array<double, 3>;

constexpr double kNoHit = std::numeric_limits<double>::infinity();

double planeHit(const ScenePlane& plane, const Vec& o, const Vec& d)
{
    const double denominator = plane.normal[0] * d[0] + plane.normal[1] * d[1] + plane.normal[2] * d[2];
    if (std::fabs(denominator) < 1e-12) return kNoHit;
    const double t = -(plane.normal[0] * o[0] + plane.normal[1] * o[1] + plane.normal[2] * o[2] + plane.offset) /
                     denominator;
    return t > 1e-6 ? t : kNoHit;
}

double boxHit(const SceneBox& box, const Vec& o, const Vec& d)
{
    double near = -kNoHit, far = kNoHit;
    for (int i = 0; i < 3; ++i) {
        if (std::fabs(d[size_t(i)]) < 1e-12) {
            if (o[size_t(i)] < box.min[size_t(i)] || o[size_t(i)] > box.max[size_t(i)]) return kNoHit;
            continue;
        }
        double t1 = (box.min[size_t(i)] - o[size_t(i)]) / d[size_t(i)];
        double t2 = (box.max[size_t(i)] - o[size_t(i)]) / d[size_t(i)];
        if (t1 > t2) std::swap(t1, t2);
        near = std::max(near, t1);
        far = std::min(far, t2);
    }
    if (near > far || far <= 1e-6) return kNoHit;
    return near > 1e-6 ? near : kNoHit;
}

double sphereHit(const SceneSphere& sphere, const Vec& o, const Vec& d)
{
    const Vec oc{o[0] - sphere.centre[0], o[1] - sphere.centre[1], o[2] - sphere.centre[2]};
    const double a = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    const double b = 2 * (oc[0] * d[0] + oc[1] * d[1] + oc[2] * d[2]);
    const double c = oc[0] * oc[0] + oc[1] * oc[1] + oc[2] * oc[2] - sphere.radius * sphere.radius;
    const double discriminant = b * b - 4 * a * c;
    if (discriminant < 0) return kNoHit;
    const double t = (-b - std::sqrt(discriminant)) / (2 * a);
    return t > 1e-6 ? t : kNoHit;
}

}  // namespace

std::array<uint8_t, 3> Fl30cScene::colourOf(SceneSurface surface)
{
    switch (surface) {
    case SceneSurface::Floor:
        return {120, 100, 80};
    case SceneSurface::BackWall:
        return {190, 190, 210};
    case SceneSurface::Box:
        return {200, 40, 40};
    case SceneSurface::Sphere:
        return {40, 160, 60};
    default:
        return {0, 0, 0};
    }
}

uint8_t Fl30cScene::irOf(SceneSurface surface)
{
    switch (surface) {
    case SceneSurface::Floor:
        return 90;
    case SceneSurface::BackWall:
        return 60;
    case SceneSurface::Box:
        return 170;
    case SceneSurface::Sphere:
        return 220;
    default:
        return 0;
    }
}

SceneHit Fl30cScene::cast(const Vec& o, const Vec& d)
{
    SceneHit hit;
    double best = kNoHit;
    auto consider = [&](double t, SceneSurface surface) {
        if (t < best) {
            best = t;
            hit.surface = surface;
        }
    };
    const double wall = planeHit(backWall(), o, d);
    if (wall < kNoHit && o[1] + wall * d[1] >= kWallTop) consider(wall, SceneSurface::BackWall);
    const double floorT = planeHit(floor(), o, d);
    if (floorT < kNoHit && o[2] + floorT * d[2] <= backWall().offset) consider(floorT, SceneSurface::Floor);
    consider(boxHit(box(), o, d), SceneSurface::Box);
    consider(sphereHit(sphere(), o, d), SceneSurface::Sphere);
    if (hit.surface == SceneSurface::None) return hit;
    hit.point = {o[0] + best * d[0], o[1] + best * d[1], o[2] + best * d[2]};
    hit.depthMm = hit.point[2];
    return hit;
}

SceneHit Fl30cScene::atDepthPixel(double u, double v, const CameraIntrinsics& k)
{
    return cast({0, 0, 0}, {(u - k.cx) / k.fx, (v - k.cy) / k.fy, 1.0});
}

SceneHit Fl30cScene::atColourPixel(double u, double v, const CameraIntrinsics& k, const Fl30cCalibration& c)
{
    // colour = R * depth + T, so depth = R^T (colour - T).
    const auto& r = c.rotation;
    const Vec dc{(u - k.cx) / k.fx, (v - k.cy) / k.fy, 1.0};
    const Vec tc{c.translation[0], c.translation[1], c.translation[2]};
    Vec origin{}, direction{};
    for (size_t i = 0; i < 3; ++i) {
        origin[i] = -(r[0 + i] * tc[0] + r[3 + i] * tc[1] + r[6 + i] * tc[2]);
        direction[i] = r[0 + i] * dc[0] + r[3 + i] * dc[1] + r[6 + i] * dc[2];
    }
    return cast(origin, direction);
}

uint16_t Fl30cScene::rawDepth(const SceneHit& hit)
{
    if (hit.surface == SceneSurface::None) return 0;
    const double raw = std::round(hit.depthMm * 16.0);
    return raw > 0 && raw <= 65535 ? uint16_t(raw) : 0;
}

}  // namespace orrindale::emulator
