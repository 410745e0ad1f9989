#include "topicPublish.h"

#include <dirent.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "Logger.h"

topicPublish* topicPublish::getInstance()
{
    static topicPublish instance;
    return &instance;
}

topicPublish::topicPublish()
    : m_subscriber(m_context, zmq::socket_type::sub), m_publisher(m_context, zmq::socket_type::pub)
{
    m_publisher.set(zmq::sockopt::linger, 0);
    m_publisher.connect(m_endpoint);  // before the subscriber binds
    m_subscriber.set(zmq::sockopt::subscribe, "");
    m_subscriber.bind(m_endpoint);
    // Messages sent before the connection is complete would be lost.
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

topicPublish::~topicPublish()
{
    m_publisher.close();
    m_subscriber.close();
    m_context.close();
    removeChannelFiles();
}

void topicPublish::removeChannelFiles()
{
    const std::string directory = "./";
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) {
        QV_LOGE("Failed to open directory ", directory);
        return;
    }
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        const std::string path = directory + "/" + name;
        struct stat info;
        if (lstat(path.c_str(), &info) == 0 && name.find("qv_TopicChannel_") != std::string::npos)
            std::remove(path.c_str());
    }
    closedir(dir);
}

int topicPublish::send(std::string const&, std::string const& message)
{
    std::lock_guard<std::mutex> lock(m_sendLock);
    const int ret = zmq_send(m_publisher.handle(), message.data(), message.size(), 0);
    return ret;
}

int topicPublish::recv(std::string& message, int timeoutMs)
{
    std::lock_guard<std::mutex> lock(m_recvLock);
    return recv(m_subscriber.handle(), message, timeoutMs);
}

int topicPublish::recv(void* socket, std::string& message, int timeoutMs)
{
    if (socket == nullptr) return -1;
    if (zmq_setsockopt(socket, ZMQ_RCVTIMEO, &timeoutMs, sizeof timeoutMs) != 0) return -1;
    zmq_msg_t received;
    zmq_msg_init(&received);
    const int ret = zmq_msg_recv(&received, socket, 0);
    if (ret >= 1) message.assign(static_cast<const char*>(zmq_msg_data(&received)), zmq_msg_size(&received));
    zmq_msg_close(&received);
    return ret;
}
