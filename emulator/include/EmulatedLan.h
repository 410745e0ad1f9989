// An Ethernet segment of emulated network cameras. The library's side is the calling
// thread's network namespace, where the segment appears as interface "orrlan<N>" with
// address 10.77.<N>.1/24; the cameras live in a namespace of their own behind a veth
// pair and answer from 10.77.<N>.11, .12, ... Everything vanishes with the object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "EmulatedNetCamera.h"
#include "NetworkNamespace.h"

namespace orrindale::emulator {

class EmulatedLan {
public:
    // number 1..200 names the interface and the subnet; null, with a log line, on failure.
    static std::unique_ptr<EmulatedLan> create(int number);
    ~EmulatedLan();

    std::string hostAddress() const;
    // A camera at the segment's next address; null when it cannot be set up.
    EmulatedNetCamera* addCamera(const NetCameraConfig& config = {});

private:
    EmulatedLan(int number, std::unique_ptr<NetworkNamespace> cameras);

    int m_number;
    std::unique_ptr<NetworkNamespace> m_cameraSide;
    std::vector<std::unique_ptr<EmulatedNetCamera>> m_cameras;
};

}  // namespace orrindale::emulator
