// Commands of the Zenta over the same extension-unit channel as the Fl30c, with its
// differences: the confidence level is sent one lower, there is no frame-rate command,
// no clear-feature request and no MJPEG size; it adds the secure-element queries.
#pragma once

#include <string>
#include <vector>

#include "XuCmdCameraFl30c.h"

class XuCmdCameraZenta : public XuCmdCameraFl30c {
public:
    static constexpr unsigned kSePacketPayload = 60;

    XuCmdCameraZenta(ICapture* capture, void* handle, QV_CAM_ATTR_TYPE type);

    int setHimaxConfidenceLevel(int level) override;
    int setFrameRate(int fps) override;
    int xucmd_write_clear_feature() override;
    int getMjpegSize(unsigned int& width, unsigned int& height) override;

    int getSeSdkVersion(std::string& version);
    int getSeCosVersion(std::string& version);
    int getSeSerial(std::string& serial);

    // Reads the query code, then the answer in 60-byte packets on code 0x90.
    int se_read(unsigned char query, std::vector<unsigned char>& answer);
};
