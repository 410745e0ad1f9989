// Finds network cameras by a UDP broadcast from every local IPv4 interface and
// collects their answers; one per process, shared by the camera list and the
// network listener, which take turns.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <netinet/in.h>

#include "SocketNet.h"

// One answer: the sender's dotted address and the text from byte 12 on.
struct rcv_msg_info {
    std::string ip;
    std::string keyInfo;
};

class NetDevMng {
public:
    // Largest datagram read.
    static constexpr int kDatagramSize = 1472;

    static NetDevMng& getInstance();

    // An answer or announcement is at least 13 bytes long and starts with 0xFE; its key
    // information is the text from byte 12 on. False for any other datagram.
    static bool acceptAnswer(const unsigned char* datagram, int length, std::string& keyInfo);

    // Every AF_INET interface address, in the order the system lists the interfaces.
    static int getLocalIpList(std::list<std::string>& ips);
    // The socket of one local address, made on first use and kept; null when it cannot be made.
    SocketNet* getBroadcastNetSvr(const std::string& localIp);
    // Sends request once from localIp and collects the answers of the next 80 ms; -1
    // when there is no socket for localIp.
    int sendBroadcast(const std::vector<unsigned char>& request, const std::string& localIp,
                      std::list<rcv_msg_info>& answers);
    // sendBroadcast over every local address, up to 3 attempts each; -1 without any address.
    int broadcastListInfo(const std::vector<unsigned char>& request, std::list<rcv_msg_info>& answers);

    // While held (by a network stream that must not be disturbed), no request is sent.
    void holdBroadcast();
    void releaseBroadcast();

private:
    NetDevMng();

    sockaddr_in m_destination{};
    std::map<std::string, std::unique_ptr<SocketNet>> m_sockets;
    std::mutex m_mutex;
    int m_count = 0;
};
