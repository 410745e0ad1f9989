// Commands of the Selvar A: those of every Selvar camera, and the write protection of its
// flash, which must be lifted before a serial number or calibration is stored.
#pragma once

#include "SelvarCmd.h"

class SelvarACmd : public SelvarCmd {
public:
    virtual int setWriteProtect(bool /*enable*/) { return notSupported(); }
};
