// The calls every projector RGB-D camera offers, defined once for each family (QV_OSB_,
// VireneA::QV_VRN_A_, VireneB::QV_VRN_B_): the including file defines
// PROJECTOR_CALL(operation on `cmd`) as its handle-checked call.
#pragma once

#include "ModelCallPatterns.h"
#include "ProjectorCameraCmd.h"

#define QV_PROJECTOR_CAMERA_CALLS(PREFIX)                                                                        \
    int PREFIX##SetExposeTime(void* handle, uint8_t ir, uint8_t rgb) { return PROJECTOR_CALL(cmd.setExposeTime(ir, rgb)); } \
    int PREFIX##GetExposeTime(void* handle, uint8_t& ir, uint8_t& rgb)                                           \
    {                                                                                                            \
        return PROJECTOR_CALL(cmd.getExposeTime(ir, rgb));                                                       \
    }                                                                                                            \
    int PREFIX##SetVcelLightCurrent(void* handle, uint32_t current)                                              \
    {                                                                                                            \
        return PROJECTOR_CALL(cmd.setVcelLightCurrent(current));                                                 \
    }                                                                                                            \
    int PREFIX##GetVcelLightCurrent(void* handle, uint32_t& current)                                             \
    {                                                                                                            \
        return PROJECTOR_CALL(cmd.getVcelLightCurrent(current));                                                 \
    }                                                                                                            \
    int PREFIX##SetIrLightCurrent(void* handle, uint32_t current) { return PROJECTOR_CALL(cmd.setIrLightCurrent(current)); } \
    int PREFIX##GetIrLightCurrent(void* handle, uint32_t& current) { return PROJECTOR_CALL(cmd.getIrLightCurrent(current)); } \
    int PREFIX##SetIrSensorGain(void* handle, uint8_t gain) { return PROJECTOR_CALL(cmd.setIrSensorGain(gain)); } \
    int PREFIX##GetIrSensorGain(void* handle, uint8_t& gain) { return PROJECTOR_CALL(cmd.getIrSensorGain(gain)); } \
    int PREFIX##GetItoValue(void* handle, uint32_t& value) { return PROJECTOR_CALL(cmd.getItoValue(value)); }   \
    int PREFIX##GetProjectorTemp(void* handle, float& celsius) { return PROJECTOR_CALL(cmd.getProjectorTemp(celsius)); }
