// Commands of the Virene A: those of the projector cameras.
#pragma once

#include "ProjectorCameraCmd.h"

class VireneACmd : public ProjectorCameraCmd {};
