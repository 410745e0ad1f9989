#include "LogSink.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace orrindale::log {

namespace {

struct Receiver {
    std::mutex mutex;
    std::condition_variable idle;
    QV_LOG_CALLBACK callback = nullptr;
    void* user = nullptr;
    int running = 0;  // calls of a receiver in progress
    std::atomic<bool> present{false};
};

// Never destroyed: threads may still log while the process exits.
Receiver& receiver()
{
    static Receiver* r = new Receiver;
    return *r;
}

thread_local bool t_insideReceiver = false;

}  // namespace

int LogSink::set(QV_LOG_CALLBACK callback, void* user)
{
    if (t_insideReceiver) return -1;
    Receiver& r = receiver();
    std::unique_lock<std::mutex> lock(r.mutex);
    r.callback = callback;
    r.user = user;
    r.present = callback != nullptr;
    r.idle.wait(lock, [&] { return r.running == 0; });
    return 0;
}

bool LogSink::deliver(LogLevel level, const std::string& line)
{
    Receiver& r = receiver();
    if (!r.present.load(std::memory_order_acquire) || t_insideReceiver) return false;
    QV_LOG_CALLBACK callback;
    void* user;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        if (r.callback == nullptr) return false;
        callback = r.callback;
        user = r.user;
        ++r.running;
    }
    struct Done {
        Receiver& r;
        ~Done()
        {
            t_insideReceiver = false;
            std::lock_guard<std::mutex> lock(r.mutex);
            if (--r.running == 0) r.idle.notify_all();
        }
    } done{r};
    t_insideReceiver = true;
    callback(level, line.c_str(), user);
    return true;
}

}  // namespace orrindale::log
