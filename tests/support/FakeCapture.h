// A transport double for driver and command tests: records every cmdMsg request
// (with the bytes of the data stage it was given) and answers reads from a script.
#pragma once

#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ICapture.h"
#include "UsbControlRequest.h"

namespace orrtest {

struct RecordedRequest {
    uint8_t requestType;
    uint8_t request;
    uint16_t value;
    uint16_t index;
    uint16_t length;
    uint32_t timeout;
    std::vector<unsigned char> data;  // bytes handed over (writes) or returned (reads)

    std::string text() const { return std::string(reinterpret_cast<const char*>(data.data()), strnlen(reinterpret_cast<const char*>(data.data()), data.size())); }
};

class FakeCapture : public ICapture {
public:
    // Reply bytes for a read of a command code (copied into the 64-byte buffer).
    void reply(uint8_t code, std::vector<unsigned char> bytes) { m_replies[code] = std::move(bytes); }
    // Echo + text, as a healthy device answers.
    void replyText(uint8_t code, const std::string& text)
    {
        std::vector<unsigned char> bytes(text.size() + 1);
        bytes[0] = code;
        std::copy(text.begin(), text.end(), bytes.begin() + 1);
        reply(code, bytes);
    }
    // Every request with this bRequest fails with code (a stalled transfer answers -2).
    void fail(uint8_t request, int code = -2) { m_failures[request] = code; }
    void failAll(int code = -2) { m_failAll = code; }

    std::vector<RecordedRequest> requests() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_requests;
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.clear();
    }

    int open() override
    {
        ++opens;
        return openResult;
    }
    int close() override
    {
        ++closes;
        return 0;
    }
    int getCapability(std::vector<video_attr_s>&) override { return 0; }
    int start(video_cfg const& cfg) override
    {
        ++starts;
        lastCfg = cfg;
        return startResult;
    }
    int stop() override
    {
        ++stops;
        return 0;
    }
    int read(void*, int, int) override { return 0; }

    int cmdMsg(void* request) override
    {
        auto* r = static_cast<usb_ctrl_request_s*>(request);
        RecordedRequest rec{r->requestType, r->request, r->value, r->index, r->length, r->timeout, {}};
        int result = r->length;
        if (m_failAll != 0) result = m_failAll;
        if (auto f = m_failures.find(r->request); f != m_failures.end()) result = f->second;
        const bool read = (r->requestType & 0x80) != 0;
        if (result >= 0 && read && r->data != nullptr) {
            auto it = m_replies.find(r->request);
            if (it != m_replies.end())
                std::memcpy(r->data, it->second.data(), std::min<size_t>(it->second.size(), r->length));
        }
        if (r->data != nullptr) rec.data.assign(r->data, r->data + r->length);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.push_back(rec);
        return result;
    }

    // Delivers one frame to the callback of the last start, as the transport's thread would.
    void deliver(const frame_info& frame) const
    {
        if (lastCfg.callback) lastCfg.callback(&frame, lastCfg.user);
    }

    int openResult = 0;
    int startResult = 0;
    int opens = 0, closes = 0, starts = 0, stops = 0;
    video_cfg lastCfg;

private:
    mutable std::mutex m_mutex;
    std::vector<RecordedRequest> m_requests;
    std::map<uint8_t, std::vector<unsigned char>> m_replies;
    std::map<uint8_t, int> m_failures;
    int m_failAll = 0;
};

}  // namespace orrtest
