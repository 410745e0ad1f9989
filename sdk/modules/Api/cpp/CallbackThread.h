// Knows whether the current thread is running an application callback of the library (a
// stream callback of a camera, or a listener callback), so that a call made from inside one
// never waits for a thread that may be waiting for that very callback.
#pragma once

#include <functional>

class CallbackThread {
public:
    // Marks the current thread as running a callback on behalf of owner (a camera handle or
    // a listener) for the lifetime of this object.
    explicit CallbackThread(const void* owner);
    ~CallbackThread();
    CallbackThread(const CallbackThread&) = delete;
    CallbackThread& operator=(const CallbackThread&) = delete;

    // Inside any callback of the library.
    static bool active();
    // Inside a callback on behalf of owner.
    static bool activeFor(const void* owner);

    // Runs work on a short-lived thread of its own: what a callback thread must not wait for
    // (joining a transport or a listener). False, with an ERROR line, when no thread could be made.
    static bool runDetached(std::function<void()> work);

private:
    const void* m_previous;
};
