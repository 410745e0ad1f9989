#include "CallbackThread.h"

#include <system_error>
#include <thread>

#include "Logger.h"

namespace {
thread_local const void* t_owner = nullptr;
}

CallbackThread::CallbackThread(const void* owner) : m_previous(t_owner) { t_owner = owner; }

CallbackThread::~CallbackThread() { t_owner = m_previous; }

bool CallbackThread::active() { return t_owner != nullptr; }

bool CallbackThread::activeFor(const void* owner) { return owner != nullptr && t_owner == owner; }

bool CallbackThread::runDetached(std::function<void()> work)
{
    try {
        std::thread(
            [](std::function<void()> job) {
                try {
                    job();
                } catch (...) {
                    QV_LOGE("a deferred stop or close failed");
                }
            },
            work)
            .detach();
        return true;
    } catch (const std::system_error& e) {
        QV_LOGE("no helper thread: ", e.what());
        return false;
    }
}
