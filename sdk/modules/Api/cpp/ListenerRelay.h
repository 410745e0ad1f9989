// One running listener and the application's callback record: the application's functions are
// called through it, so that their thread is known as a callback thread (CallbackThread) and
// nothing more is reported once the listener is being stopped.
#pragma once

#include <atomic>
#include <memory>

#include "IListener.h"

class ListenerRelay {
public:
    ListenerRelay(std::unique_ptr<IListener> listener, const QV_LISTENER_CALLBACK& application);

    // Starts the listener with the relay's own callback record; the listener's result.
    int start(bool enumerate);

    // Stops and destroys the listener. From inside any callback of the library this happens on a
    // helper thread, never on the listener's own thread.
    static void stopAndDestroy(std::unique_ptr<ListenerRelay> relay);

private:
    static void onAttach(const QV_CAM_ATTR* attr, void* self);
    static void onDetach(const QV_CAM_ATTR* attr, void* self);
    void report(void (*function)(const QV_CAM_ATTR*, void*), const QV_CAM_ATTR* attr);

    std::unique_ptr<IListener> m_listener;
    QV_LISTENER_CALLBACK m_application;
    std::atomic<bool> m_open{true};
};
