#include "ListenerRelay.h"

#include "CallbackThread.h"

ListenerRelay::ListenerRelay(std::unique_ptr<IListener> listener, const QV_LISTENER_CALLBACK& application)
    : m_listener(std::move(listener)), m_application(application)
{
}

int ListenerRelay::start(bool enumerate)
{
    QV_LISTENER_CALLBACK own{};
    own.attach = m_application.attach != nullptr ? &ListenerRelay::onAttach : nullptr;
    own.detach = m_application.detach != nullptr ? &ListenerRelay::onDetach : nullptr;
    own.user = this;
    return m_listener->start(own, enumerate);
}

void ListenerRelay::onAttach(const QV_CAM_ATTR* attr, void* self)
{
    auto* relay = static_cast<ListenerRelay*>(self);
    relay->report(relay->m_application.attach, attr);
}

void ListenerRelay::onDetach(const QV_CAM_ATTR* attr, void* self)
{
    auto* relay = static_cast<ListenerRelay*>(self);
    relay->report(relay->m_application.detach, attr);
}

void ListenerRelay::report(void (*function)(const QV_CAM_ATTR*, void*), const QV_CAM_ATTR* attr)
{
    if (!m_open || function == nullptr) return;
    CallbackThread scope(this);
    function(attr, m_application.user);
}

void ListenerRelay::stopAndDestroy(std::unique_ptr<ListenerRelay> relay)
{
    relay->m_open = false;
    auto finish = [](ListenerRelay* r) {
        r->m_listener->stop();
        delete r;
    };
    if (CallbackThread::active()) {
        ListenerRelay* raw = relay.release();
        if (CallbackThread::runDetached([raw, finish] { finish(raw); })) return;
        return;  // no helper thread: the listener stays stopped from reporting, and is not destroyed
    }
    finish(relay.release());
}
