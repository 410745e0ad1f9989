// Presence of network cameras: periodic discovery, the cameras' own announcements and
// the heartbeats that open network cameras publish on the topic channel. Arrivals and
// departures reach the application's callbacks on the listener's monitor thread, with
// no library lock held.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "IListener.h"
#include "KnownNetCameras.h"

class NetworkListener : public IListener {
public:
    NetworkListener();
    ~NetworkListener() override;

    // enumerate false: cameras already there when the listener starts are not reported.
    int start(QV_LISTENER_CALLBACK const& callback, bool enumerate) override;
    // Safe from inside the listener's own callback.
    int stop() override;

private:
    // Everything the threads use; a thread keeps it alive, so that a listener stopped
    // and destroyed from inside its own callback leaves that thread nothing dangling.
    struct Shared {
        std::mutex mutex;
        std::condition_variable wake;
        bool running = false;
        bool reportNew = false;
        KnownNetCameras cameras;
        std::vector<KnownNetCameras::Event> pending;
        QV_LISTENER_CALLBACK callback{};
        // Sleeps up to period; false once the listener stops.
        bool pause(std::chrono::milliseconds period);
        bool isRunning();
    };

    static void detectNewDev(std::shared_ptr<Shared> shared);
    static void refreshDev(std::shared_ptr<Shared> shared);
    static void monitor(std::shared_ptr<Shared> shared);
    static void receiveAnnouncements(std::shared_ptr<Shared> shared);

    std::shared_ptr<Shared> m_shared;
    std::vector<std::thread> m_threads;
};
