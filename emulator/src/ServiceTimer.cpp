#include "ServiceTimer.h"

#include <condition_variable>

#include "WorkerHandoff.h"

namespace orrindale::emulator {

ServiceTimer::ServiceTimer(std::function<void()> service) : m_service(std::move(service)) { WorkerHandoff::publish(); }

ServiceTimer::~ServiceTimer()
{
    stop();
    if (m_context != nullptr) g_main_context_unref(m_context);
}

void ServiceTimer::learnWorkerContext()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_context == nullptr) m_context = g_main_context_ref_thread_default();
}

void ServiceTimer::scheduleAt(Clock::time_point when)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_context == nullptr || m_stopped) return;
    if (m_source != nullptr) {
        if (m_due <= when) return;
        g_source_destroy(m_source);
        g_source_unref(m_source);
        m_source = nullptr;
    }
    const auto wait = when - Clock::now();
    // GLib timeouts count whole milliseconds: round up so that we never fire early.
    const auto ms = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
    m_source = g_timeout_source_new(ms > 0 ? guint(ms) : 0);
    m_due = when;
    g_source_set_callback(m_source, &ServiceTimer::fire, this, nullptr);
    g_source_attach(m_source, m_context);
}

gboolean ServiceTimer::fire(gpointer self)
{
    auto* timer = static_cast<ServiceTimer*>(self);
    WorkerHandoff::receive();
    {
        std::lock_guard<std::mutex> lock(timer->m_mutex);
        // A run that scheduleAt() replaced meanwhile is not ours to forget.
        if (timer->m_source != nullptr && timer->m_source == g_main_current_source()) {
            g_source_unref(timer->m_source);
            timer->m_source = nullptr;
        }
        if (timer->m_stopped) return G_SOURCE_REMOVE;
    }
    timer->m_service();
    return G_SOURCE_REMOVE;
}

void ServiceTimer::runOnWorker(const std::function<void()>& fn)
{
    GMainContext* context = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_context != nullptr) context = g_main_context_ref(m_context);
    }
    if (context == nullptr || g_main_context_is_owner(context)) {
        fn();
        if (context != nullptr) g_main_context_unref(context);
        return;
    }
    struct Call {
        const std::function<void()>* fn;
        std::mutex mutex;
        std::condition_variable done;
        bool finished = false;
    } call;
    call.fn = &fn;
    WorkerHandoff::publish();
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_HIGH);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
            auto* c = static_cast<Call*>(data);
            WorkerHandoff::receive();
            (*c->fn)();
            std::lock_guard<std::mutex> lock(c->mutex);
            c->finished = true;
            c->done.notify_one();
            return G_SOURCE_REMOVE;
        },
        &call, nullptr);
    g_source_attach(source, context);
    g_source_unref(source);
    std::unique_lock<std::mutex> lock(call.mutex);
    call.done.wait(lock, [&call] { return call.finished; });
    g_main_context_unref(context);
}

void ServiceTimer::stop()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_stopped = true;
    if (m_source != nullptr) {
        g_source_destroy(m_source);
        g_source_unref(m_source);
        m_source = nullptr;
    }
}

}  // namespace orrindale::emulator
