// The network cameras a listener knows and the rules that keep or drop them: a camera
// lives on while it shows signs of life (heartbeats, announcements); silent for 6 s it
// is kept only while discovery still sees it, and each discovery round that misses it
// takes that back. Not locked: the listener guards it.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "qv_camera_sdk_types.h"

class KnownNetCameras {
public:
    using Clock = std::chrono::system_clock;

    // What the application is told: attach (arrived) or detach (gone).
    struct Event {
        bool attach;
        QV_CAM_ATTR attr;
    };

    // One discovery round's cameras; new ones become attach events when report is set.
    void discovered(const std::vector<QV_CAM_ATTR>& found, Clock::time_point now, bool report,
                    std::vector<Event>& events);
    // A camera's own announcement: a sign of life, or a new camera.
    void announced(const QV_CAM_ATTR& attr, Clock::time_point now, bool report, std::vector<Event>& events);
    // A heartbeat of the camera at ip; unknown addresses are ignored.
    void signOfLife(const std::string& ip, Clock::time_point now);
    // Applies the silence rules; dropped cameras become detach events.
    void check(Clock::time_point now, std::vector<Event>& events);

private:
    struct Known {
        QV_CAM_ATTR attr;
        Clock::time_point lastSign;
        bool broadCastAlive;
        // The lines of one silence are logged once, not at every check.
        bool checkLogged;
        bool keptLogged;
    };

    Known* find(const char* ip);
    void add(const QV_CAM_ATTR& attr, Clock::time_point now, bool alive, bool report, std::vector<Event>& events);
    static void refresh(Known& camera, Clock::time_point now);

    std::vector<Known> m_cameras;
};
