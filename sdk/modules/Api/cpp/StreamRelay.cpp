#include "StreamRelay.h"

#include "CallbackThread.h"

STREAM_CALLBACK_S StreamRelay::route(const STREAM_CALLBACK_S* application)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_data = application != nullptr ? *application : STREAM_CALLBACK_S{};
    return m_data.callback != nullptr ? STREAM_CALLBACK_S{&StreamRelay::onData, this} : STREAM_CALLBACK_S{};
}

STREAM_CALLBACK_INNER_S StreamRelay::route(const STREAM_CALLBACK_INNER_S* application)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_inner = application != nullptr ? *application : STREAM_CALLBACK_INNER_S{};
    return m_inner.callback != nullptr ? STREAM_CALLBACK_INNER_S{&StreamRelay::onInner, this}
                                       : STREAM_CALLBACK_INNER_S{};
}

void StreamRelay::onData(void*, const CAM_DATA* data, void* self)
{
    auto* relay = static_cast<StreamRelay*>(self);
    if (!relay->m_open) return;
    STREAM_CALLBACK_S callback;
    {
        std::lock_guard<std::mutex> lock(relay->m_mutex);
        callback = relay->m_data;
    }
    if (callback.callback == nullptr) return;
    CallbackThread scope(relay->m_handle);
    callback.callback(relay->m_handle, data, callback.privateData);
}

void StreamRelay::onInner(void*, const CAM_DATA_INNER* data, void* self)
{
    auto* relay = static_cast<StreamRelay*>(self);
    if (!relay->m_open) return;
    STREAM_CALLBACK_INNER_S callback;
    {
        std::lock_guard<std::mutex> lock(relay->m_mutex);
        callback = relay->m_inner;
    }
    if (callback.callback == nullptr) return;
    CallbackThread scope(relay->m_handle);
    callback.callback(relay->m_handle, data, callback.privateData);
}
