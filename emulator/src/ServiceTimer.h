// Runs a device's service function on umockdev's worker thread at a chosen time, so
// that paced transfers complete without any thread of our own and without polling.
// The worker's main context is learnt from the first request the device serves.
#pragma once

#include <glib.h>

#include <chrono>
#include <functional>
#include <mutex>

namespace orrindale::emulator {

class ServiceTimer {
public:
    using Clock = std::chrono::steady_clock;

    explicit ServiceTimer(std::function<void()> service);
    ServiceTimer(const ServiceTimer&) = delete;
    ServiceTimer& operator=(const ServiceTimer&) = delete;
    ~ServiceTimer();

    // Called on the worker thread: remembers its main context.
    void learnWorkerContext();
    // Thread safe. Runs the service at or soon after `when`; an earlier pending run wins.
    // Without a known worker (nobody ever talked to the device) there is nothing to serve.
    void scheduleAt(Clock::time_point when);
    // Runs `fn` on the worker thread and waits for it (directly when there is no worker
    // yet or when called on it). Never call with the device's lock held.
    void runOnWorker(const std::function<void()>& fn);
    // Drops a pending run and stops further ones (on the worker, before the device goes).
    void stop();

private:
    static gboolean fire(gpointer self);

    std::function<void()> m_service;
    std::mutex m_mutex;  // leaf lock: guards the fields below only
    GMainContext* m_context = nullptr;
    GSource* m_source = nullptr;
    Clock::time_point m_due;
    bool m_stopped = false;
};

}  // namespace orrindale::emulator
