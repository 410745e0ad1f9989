// Turns one frame of a Solen camera's video function into the frame group: the depth
// and the infrared image (which of them the frame holds follows the stream type), the
// depth's configured processing (borders left out, median, speckle removal) and its
// point cloud through the camera's intrinsics. Runs on the transport's thread only.
#pragma once

#include <cstdint>
#include <vector>

#include "ICapture.h"
#include "OrrPost.h"
#include "SolenConf.h"
#include "SolenTypes.h"
#include "qv_camera_sdk_types.h"

class SolenFrameAssembler {
public:
    struct Request {
        qvSTREAM_OPTION_E streamType = QV_STREAM_DEPTH;
        uint32_t mediaMask = 0;      // streams the application asked for
        int width = 0;               // of one image
        int height = 0;
        bool haveIntrinsics = false;
        CAM_Parameter intrinsics{};  // at width x height
        uint64_t timestamp = 0;
    };

    void configure(const orrindale::sdk::Solen::solen_config_para& config) { m_config = config; }
    // Fills the depth, infrared and point-cloud slots of out; false (with a warning) when
    // the frame is not the size the stream type gives.
    bool assemble(const frame_info& frame, const Request& request, CAM_DATA& out);

private:
    void processDepth(int width, int height);

    orrindale::sdk::Solen::solen_config_para m_config;
    std::vector<uint16_t> m_depth;
    std::vector<uint16_t> m_ir;
    std::vector<float> m_points;
    OrrPost m_post;
};
