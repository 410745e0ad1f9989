// Command object of the Solen family (text requests over USB bulk or a tty). This
// release carries no Solen transport: every operation answers "not support to <op>".
#pragma once

#include "ICommand.h"
#include "qv_camera_sdk_types.h"

class SolenCommonCtrl : public ICommand {
public:
    // The calibration as the camera left the factory.
    virtual int getOriCamParam(CAM_Parameter* parameter);
};
