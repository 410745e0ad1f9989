// Network cameras: the records made from their answers to the discovery broadcast
// and from the announcements they send by themselves.
#pragma once

#include <string>
#include <vector>

#include "qv_camera_sdk_types.h"

class SocketNet;

// Port on which cameras announce themselves.
constexpr int kNetAnnouncePort = 9000;

// The 64-byte discovery request.
std::vector<unsigned char> getBroadcastData();

// Fills attr from one answer's text (matched in upper case); 0, or -1 when the text
// names no known model.
int getCameraAttrFromKeyInfo(const std::string& senderIp, const std::string& keyInfo, QV_CAM_ATTR& attr);

// Appends one QV_CAM_ATTR_NET record per camera that answered; negative when the broadcast failed.
int getNetCameraAttrsList(std::vector<QV_CAM_ATTR>& out);

// Waits (at most the socket's receive time-out) for one announcement on a socket made
// by SocketNet::openListening(kNetAnnouncePort, ...) and appends its record; the
// number appended, or -1 when nothing arrived.
int recvBroadcast(SocketNet& socket, std::vector<QV_CAM_ATTR>& out);
