// One emulated network camera: it answers the discovery request (64 bytes, 0xFF 0x01
// 0x02, to UDP port 5678) with 0xFE, eleven header bytes and its key text from byte 12
// ("TYPE:<model> IP[<address>]IP PORT[<port>]PORT"), announces itself the same way to
// port 9000 when asked to, and misbehaves on demand.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace orrindale::emulator {

class NetworkNamespace;

// Ways an answer can be wrong.
enum class NetAnswerFault {
    None,
    TwelveBytes,        // only the 12 header bytes, no text
    NotFE,              // first byte 0xFD
    NoType,             // the text lacks "TYPE:"
    UnknownModel,       // "TYPE:" names a model no library knows
    LowerCase,          // the whole text in lower case
    IpMarkersReversed,  // "]IP" before "IP["
    NoIpMarkers,        // no "IP[...]IP" at all
};

struct NetCameraConfig {
    std::string model = "Fl30cn";  // the name after "TYPE:"
    int port = 8000;               // the service port it names
    NetAnswerFault fault = NetAnswerFault::None;
    std::string namedIp;           // the address between the IP markers; empty: its own
    std::chrono::milliseconds announceEvery{0};  // announcements to port 9000; 0: none
};

class EmulatedNetCamera {
public:
    // Answers from address, with sockets of the namespace ns; starts its thread.
    EmulatedNetCamera(const NetworkNamespace& ns, std::string address, NetCameraConfig config);
    EmulatedNetCamera(const EmulatedNetCamera&) = delete;
    EmulatedNetCamera& operator=(const EmulatedNetCamera&) = delete;
    ~EmulatedNetCamera();

    bool ready() const { return m_listen >= 0 && m_reply >= 0; }
    const std::string& address() const { return m_address; }
    // Whether it answers discovery and sends its announcements; both off is a camera
    // switched off or unplugged.
    void setAnswering(bool on) { m_answering = on; }
    void setAnnouncing(bool on);
    // When it last announced itself (steady clock).
    std::chrono::steady_clock::time_point lastAnnouncement() const;
    // Discovery requests heard, and the bytes of the last datagram heard on port 5678.
    int requestsHeard() const { return m_requests; }
    std::vector<uint8_t> lastDatagram() const;
    // The datagram it answers and announces with.
    std::vector<uint8_t> answer() const;

private:
    void serve();
    void announce();

    std::string m_address;
    NetCameraConfig m_config;
    int m_listen = -1;
    int m_reply = -1;
    std::atomic<bool> m_answering{true};
    bool m_announcing = true;  // under m_mutex, with m_lastAnnouncement
    std::chrono::steady_clock::time_point m_lastAnnouncement{};
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_requests{0};
    mutable std::mutex m_mutex;
    std::vector<uint8_t> m_last;
    std::thread m_thread;
};

}  // namespace orrindale::emulator
