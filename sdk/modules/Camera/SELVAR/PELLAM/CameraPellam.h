// Pellam dToF camera (USB 0x3482:0x8723, or on the network): several ToF sensors behind
// one camera, each reached on the camera's sensor bus at an address of its own.
#pragma once

#include <vector>

#include "Logger.h"
#include "PellamCmd.h"
#include "UnsupportedCamera.h"

class CameraPellam : public UnsupportedCamera {
public:
    CameraPellam(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraPellam")
    {
        m_command = std::make_unique<PellamCmd>();
    }
    // Calibration of every ToF sensor of the camera.
    int getCameraParameterSet(CAM_Parameter_Set&) { return notSupported("getCameraParameterSet"); }
    // Frames of all sensors of one capture instant, in one callback.
    int registerStreamSetCallback(STREAM_SET_CALLBACK_S*) { return notSupported("registerStreamSetCallback"); }

    // 0 when index names one of the camera's sensors; otherwise -2 with a line.
    int checkTofIndex(unsigned int index) const
    {
        if (index < m_tofAddresses.size()) return 0;
        QV_LOGE("tof index ", index, " out of range, the camera has ", m_tofAddresses.size(), " tof sensors");
        return -2;
    }
    // Bus address of a checked sensor; -1 for a sensor that did not answer when the camera opened.
    int tofAddress(unsigned int index) const { return m_tofAddresses[index]; }

protected:
    std::vector<int> m_tofAddresses;  // by sensor index; found when the camera opens (none while it cannot)
};
