#include "NetworkListener.h"

#include "Logger.h"
#include "NetCameraList.h"
#include "SocketNet.h"
#include "UsbCameraList.h"
#include "topicPublish.h"

namespace {

constexpr auto kDetectPeriod = std::chrono::seconds(3);
constexpr auto kMonitorPeriod = std::chrono::milliseconds(50);
constexpr int kTopicWaitMs = 300;
constexpr int kAnnouncementWaitMs = 200;

// The address between "IP[" and "]IP" of a topic message; empty when there is none.
std::string addressIn(const std::string& message)
{
    const size_t open = message.find("IP[");
    if (open == std::string::npos) return {};
    const size_t close = message.find("]IP", open + 3);
    if (close == std::string::npos) return {};
    return message.substr(open + 3, close - open - 3);
}

}  // namespace

bool NetworkListener::Shared::pause(std::chrono::milliseconds period)
{
    std::unique_lock<std::mutex> lock(mutex);
    wake.wait_for(lock, period, [&] { return !running; });
    return running;
}

bool NetworkListener::Shared::isRunning()
{
    std::lock_guard<std::mutex> lock(mutex);
    return running;
}

NetworkListener::NetworkListener() { topicPublish::getInstance()->send("begin", "begin"); }

NetworkListener::~NetworkListener() { stop(); }

int NetworkListener::start(QV_LISTENER_CALLBACK const& callback, bool enumerate)
{
    if (!m_threads.empty()) return 0;  // already running
    m_shared = std::make_shared<Shared>();
    m_shared->callback = callback;
    m_shared->reportNew = enumerate;
    m_shared->running = true;
    m_threads.emplace_back(&NetworkListener::monitor, m_shared);
    m_threads.emplace_back(&NetworkListener::detectNewDev, m_shared);
    m_threads.emplace_back(&NetworkListener::refreshDev, m_shared);
    m_threads.emplace_back(&NetworkListener::receiveAnnouncements, m_shared);
    return 0;
}

int NetworkListener::stop()
{
    if (m_threads.empty()) return 0;
    {
        std::lock_guard<std::mutex> lock(m_shared->mutex);
        m_shared->running = false;
    }
    m_shared->wake.notify_all();
    for (std::thread& t : m_threads) {
        if (t.get_id() == std::this_thread::get_id())
            t.detach();  // stopped from its own callback: it ends when the callback returns
        else
            t.join();
    }
    m_threads.clear();
    m_shared.reset();
    return 0;
}

void NetworkListener::detectNewDev(std::shared_ptr<Shared> shared)
{
    do {
        std::vector<QV_CAM_ATTR> found;
        {
            std::lock_guard<std::mutex> enumeration(enum_lock);
            getNetCameraAttrsList(found);
        }
        std::lock_guard<std::mutex> lock(shared->mutex);
        shared->cameras.discovered(found, KnownNetCameras::Clock::now(), shared->reportNew, shared->pending);
        shared->reportNew = true;  // after the first round every new camera is an arrival
    } while (shared->pause(kDetectPeriod));
}

void NetworkListener::refreshDev(std::shared_ptr<Shared> shared)
{
    topicPublish* topic = topicPublish::getInstance();
    while (shared->isRunning()) {
        std::string message;
        if (topic->recv(message, kTopicWaitMs) <= 0) continue;
        const std::string ip = addressIn(message);
        if (ip.empty()) continue;
        std::lock_guard<std::mutex> lock(shared->mutex);
        shared->cameras.signOfLife(ip, KnownNetCameras::Clock::now());
    }
}

void NetworkListener::receiveAnnouncements(std::shared_ptr<Shared> shared)
{
    std::unique_ptr<SocketNet> socket = SocketNet::openListening(kNetAnnouncePort, kAnnouncementWaitMs);
    if (!socket) return;  // logged; discovery and heartbeats still work
    while (shared->isRunning()) {
        std::vector<QV_CAM_ATTR> heard;
        if (recvBroadcast(*socket, heard) <= 0) continue;
        std::lock_guard<std::mutex> lock(shared->mutex);
        for (const QV_CAM_ATTR& attr : heard)
            shared->cameras.announced(attr, KnownNetCameras::Clock::now(), shared->reportNew, shared->pending);
    }
}

void NetworkListener::monitor(std::shared_ptr<Shared> shared)
{
    do {
        std::vector<KnownNetCameras::Event> events;
        QV_LISTENER_CALLBACK callback;
        {
            std::lock_guard<std::mutex> lock(shared->mutex);
            shared->cameras.check(KnownNetCameras::Clock::now(), shared->pending);
            events.swap(shared->pending);
            callback = shared->callback;
        }
        // One thread reports, so that an arrival and a departure of one camera keep their order.
        for (const KnownNetCameras::Event& e : events) {
            if (!shared->isRunning()) break;
            auto* function = e.attach ? callback.attach : callback.detach;
            if (function != nullptr) function(&e.attr, callback.user);
        }
    } while (shared->pause(kMonitorPeriod));
}
