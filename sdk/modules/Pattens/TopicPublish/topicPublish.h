// The library's in-process message bus: network transports announce connections,
// events and heartbeats of network cameras on it, and the network listener reads them.
#pragma once

#include <mutex>
#include <string>

#include <zmq.hpp>

class topicPublish {
public:
    static topicPublish* getInstance();

    topicPublish(const topicPublish&) = delete;
    topicPublish& operator=(const topicPublish&) = delete;

    // Publishes message as one frame: the topic is not transmitted, receivers tell
    // messages apart by their bodies. Bytes sent, or -1.
    int send(std::string const& topic, std::string const& message);
    // Waits at most timeoutMs for one message; its byte count, or a negative value with
    // message unchanged.
    int recv(std::string& message, int timeoutMs);
    // The same on a ZeroMQ socket of the caller's.
    int recv(void* socket, std::string& message, int timeoutMs);

private:
    topicPublish();
    ~topicPublish();
    // Removes channel files left in the working directory by earlier runs.
    static void removeChannelFiles();

    const std::string m_endpoint = "inproc://qv_TopicChannel";
    zmq::context_t m_context;
    zmq::socket_t m_subscriber;
    zmq::socket_t m_publisher;
    std::mutex m_sendLock;
    // Only one thread may use the subscriber socket at a time (two network listeners).
    std::mutex m_recvLock;
};
