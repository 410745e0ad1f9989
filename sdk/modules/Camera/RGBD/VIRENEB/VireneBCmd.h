// Commands of the Virene B: those of the projector cameras.
#pragma once

#include "ProjectorCameraCmd.h"

class VireneBCmd : public ProjectorCameraCmd {};
