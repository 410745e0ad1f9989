#include "SolenCommonCtrl.h"

#include "Logger.h"

int SolenCommonCtrl::getOriCamParam(CAM_Parameter*)
{
    QV_LOGE("not support to getOriCamParam");
    return -1;
}
