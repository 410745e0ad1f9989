// Maintenance commands of a camera model (upgrade, reboot, serial number,
// versions, private data area). Operations a model lacks keep these bodies.
#pragma once

#include <string>

#include "qv_camera_sdk_types.h"

class ICommand {
public:
    virtual ~ICommand() = default;
    virtual int upgrade(std::string const& packagePath, CAM_UPGRADE_DEV_S* progress);
    virtual int reboot();
    virtual int setSn(std::string const& sn);
    virtual int getSn(std::string& sn);
    virtual int getFwVersion(std::string& version);
    virtual int getHimaxVersion(std::string& version);
    virtual int getPrivateMaxSize(int& size);
    virtual int writePrivateData(void* data, int length, int offset);
    virtual int readPrivateData(void* data, int length, int offset);

protected:
    // The body of an operation a model's command object has but this release cannot carry
    // out: logs "not support to <operation>" in the operation's name and answers -1.
    static int notSupported(const char* operation = __builtin_FUNCTION(), const char* file = __builtin_FILE(),
                            int line = __builtin_LINE());
};
