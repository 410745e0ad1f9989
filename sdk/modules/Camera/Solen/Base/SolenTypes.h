// Values the Solen control protocol sends as "%d" for the frame rate ("F") and the
// stream type ("S") requests.
#pragma once

#include <cstdint>

// The frame rate itself is the value on the wire.
enum SOLEN_FPS_TYPE_E : int32_t {
    SOLEN_FPS_5 = 5,
    SOLEN_FPS_10 = 10,
    SOLEN_FPS_15 = 15,
    SOLEN_FPS_20 = 20,
    SOLEN_FPS_25 = 25,
    SOLEN_FPS_30 = 30,
};

// What the camera's video function sends.
enum qvSTREAM_OPTION_E : int32_t {
    QV_STREAM_DEPTH = 0,     // depth frames
    QV_STREAM_IR = 1,        // infrared frames
    QV_STREAM_DEPTH_IR = 2,  // one frame of two images: depth rows, then infrared rows
};
