// Where the images the Fl30c driver delivers come from, and the calibration that describes
// them. The camera's transfer header calibrates its own images (depth at the transfer's
// size, colour at the MJPEG's); the driver resizes, crops, turns and mirrors them, and may
// register depth onto the colour image, so the intrinsics and extrinsics a user reads are
// made again for the images as delivered.
#pragma once

#include "ImageGeometry.h"
#include "IrRgbParameter.h"
#include "qv_camera_sdk_types.h"

class Fl30cGeometry {
public:
    // What the camera sends and what the driver was asked for.
    struct Request {
        int transferWidth = 640, transferHeight = 480;  // depth/infrared image of the transfers
        int depthWidth = 640, depthHeight = 480;        // depth size before the rotation
        int mjpegWidth = 640, mjpegHeight = 480;        // the colour image the camera sends
        int rgbWidth = 640, rgbHeight = 480;            // requested colour size (landscape)
        ROTATE_MODE_E rotate = ROTATE_MODE_0;
        bool mirror = false;
        bool registration = false;
        bool operator==(const Request& o) const;
        bool operator!=(const Request& o) const { return !(*this == o); }
    };

    // The steps from a decoded colour image to the delivered one: a centre band of columns
    // (quarter turns only), the turn and mirror, then a nearest-neighbour resize when the
    // turned picture differs from the output size.
    struct ColourPlan {
        int bandX0 = 0, bandWidth = 0;       // columns kept before turning
        int turnedWidth = 0, turnedHeight = 0;
        int outWidth = 0, outHeight = 0;
    };
    // Without a quarter turn the output is the requested size; with one it is the requested
    // size transposed, fitted to the turned picture's aspect (a 640x480 request gives a
    // 480x640 picture, and nothing is stretched).
    static ColourPlan colourPlan(int decodedWidth, int decodedHeight, int rgbWidth, int rgbHeight,
                                 ROTATE_MODE_E rotate);
    static void turnedSize(int width, int height, ROTATE_MODE_E rotate, int& outWidth, int& outHeight);
    // Depth registered onto colour takes the colour size when the requested colour height is
    // 360, 180 or 90 rows, and keeps the (turned) depth size otherwise.
    static void alignedSize(const Request& r, int& width, int& height);
    // The sizes of the colour, depth and infrared images as delivered (depth registered when
    // the request says so); irWidth/irHeight is the infrared size before the rotation.
    static void deliveredSizes(const Request& r, int irWidth, int irHeight, STREAM_PARAM_S (&sizes)[3]);

    // header: the 20 floats of the transfer header. processing: what registration and the
    // point cloud use (depth as delivered before registration, colour on the grid the cloud
    // is computed on). reported: the delivered images; registered depth is seen from the
    // colour camera, so it reports the colour intrinsics on its grid and no rotation or
    // translation to colour.
    static void parameters(const CAM_Parameter& header, const Request& r, orrindale::ir_rgb_Parameter& processing,
                           CAM_Parameter& reported);
};
