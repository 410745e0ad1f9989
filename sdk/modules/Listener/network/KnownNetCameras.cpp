#include "KnownNetCameras.h"

#include <algorithm>
#include <cstring>

#include "Logger.h"

namespace {

constexpr long kCheckFromMs = 3000;
constexpr long kCheckToMs = 4000;
constexpr long kTimeoutMs = 6000;

bool sameIp(const char* a, const char* b) { return std::strncmp(a, b, QV_NET_IP_SIZE) == 0; }

}  // namespace

KnownNetCameras::Known* KnownNetCameras::find(const char* ip)
{
    for (Known& k : m_cameras)
        if (sameIp(k.attr.attr.netAttrs.ip, ip)) return &k;
    return nullptr;
}

void KnownNetCameras::add(const QV_CAM_ATTR& attr, Clock::time_point now, bool alive, bool report,
                          std::vector<Event>& events)
{
    m_cameras.push_back({attr, now, alive, false, false});
    QV_LOGI("detect a new dev ", attr.attr.netAttrs.ip);
    if (report) events.push_back({true, attr});
}

void KnownNetCameras::refresh(Known& camera, Clock::time_point now)
{
    camera.lastSign = now;
    camera.checkLogged = false;
    camera.keptLogged = false;
}

void KnownNetCameras::discovered(const std::vector<QV_CAM_ATTR>& found, Clock::time_point now, bool report,
                                 std::vector<Event>& events)
{
    // A round that misses a camera clears its flag: discovery no longer vouches for it.
    for (Known& k : m_cameras)
        k.broadCastAlive = std::any_of(found.begin(), found.end(), [&](const QV_CAM_ATTR& a) {
            return sameIp(a.attr.netAttrs.ip, k.attr.attr.netAttrs.ip);
        });
    for (const QV_CAM_ATTR& a : found) {
        if (find(a.attr.netAttrs.ip) != nullptr)
            QV_LOGW("get old net camera and set broadCastAlive, ipAddr ", a.attr.netAttrs.ip);
        else
            add(a, now, true, report, events);
    }
}

void KnownNetCameras::announced(const QV_CAM_ATTR& attr, Clock::time_point now, bool report,
                                std::vector<Event>& events)
{
    if (Known* k = find(attr.attr.netAttrs.ip))
        refresh(*k, now);
    else
        add(attr, now, false, report, events);
}

void KnownNetCameras::signOfLife(const std::string& ip, Clock::time_point now)
{
    if (Known* k = find(ip.c_str())) refresh(*k, now);
}

void KnownNetCameras::check(Clock::time_point now, std::vector<Event>& events)
{
    for (auto it = m_cameras.begin(); it != m_cameras.end();) {
        Known& k = *it;
        const long elapsed =
            static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(now - k.lastSign).count());
        const char* ip = k.attr.attr.netAttrs.ip;
        if (elapsed >= kCheckFromMs && elapsed <= kCheckToMs && !k.checkLogged) {
            QV_LOGI("check broadCastAlive, elapsedTime ", elapsed, " ipAddr ", ip);
            k.checkLogged = true;
        }
        if (elapsed >= kTimeoutMs) {
            if (k.broadCastAlive) {
                if (!k.keptLogged) QV_LOGW("detect camera hearBeat timeout but broadCastAlive, elapsedTime ", elapsed,
                                           " ipAddr ", ip);
                k.keptLogged = true;
            } else {
                QV_LOGW("detect camera error, hearBeat timeout:", elapsed, "---ip ", ip);
                events.push_back({false, k.attr});
                it = m_cameras.erase(it);
                continue;
            }
        }
        ++it;
    }
}
