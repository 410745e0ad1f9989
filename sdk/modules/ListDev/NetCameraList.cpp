#include "NetCameraList.h"

// Network discovery is not part of this release: no network camera is listed.
int getNetCameraAttrsList(std::vector<QV_CAM_ATTR>&) { return 0; }
