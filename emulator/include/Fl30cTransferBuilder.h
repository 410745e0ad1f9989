// Renders the scene and assembles complete Fl30c transfers, one per (transfer width,
// MJPEG size, image kind), and keeps them: streaming then costs a copy, not a render.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

#include "Fl30cCalibration.h"
#include "Fl30cTransfer.h"

namespace orrindale::emulator {

class Fl30cTransferBuilder {
public:
    explicit Fl30cTransferBuilder(const Fl30cCalibration& calibration) : m_calibration(calibration) {}

    // Thread safe. Null when the width is not one of the camera's.
    std::shared_ptr<const std::vector<uint8_t>> transfer(int transferWidth, int mjpegWidth, int mjpegHeight,
                                                         uint8_t kind);

    // The images themselves (as rendered before packing).
    std::vector<uint16_t> depthImage(int width, int height) const;
    std::vector<uint8_t> irImage(int width, int height) const;
    std::vector<uint8_t> colourImage(int width, int height) const;  // RGB
    // The compressed colour image (kept; at most Fl30cTransferLayout::kMjpegRoom bytes).
    std::shared_ptr<const std::vector<uint8_t>> mjpeg(int width, int height);

    const Fl30cCalibration& calibration() const { return m_calibration; }

private:
    std::shared_ptr<const std::vector<uint8_t>> mjpegLocked(int width, int height);

    Fl30cCalibration m_calibration;
    std::mutex m_mutex;
    std::map<std::tuple<int, int, int, uint8_t>, std::shared_ptr<const std::vector<uint8_t>>> m_transfers;
    std::map<std::pair<int, int>, std::shared_ptr<const std::vector<uint8_t>>> m_mjpegs;
};

}  // namespace orrindale::emulator
