#include "ICommand.h"

#include "Logger.h"

int ICommand::upgrade(std::string const&, CAM_UPGRADE_DEV_S*)
{
    QV_LOGE("not support to upgrade");
    return -1;
}

int ICommand::reboot()
{
    QV_LOGE("not support to reboot");
    return -1;
}

int ICommand::setSn(std::string const&)
{
    QV_LOGE("not support to setSn");
    return -1;
}

int ICommand::getSn(std::string&)
{
    QV_LOGE("not support to getSn");
    return -1;
}

int ICommand::getFwVersion(std::string&)
{
    QV_LOGE("not support to getFwVersion");
    return -1;
}

int ICommand::getHimaxVersion(std::string&)
{
    QV_LOGE("not support to getHimaxVersion");
    return -1;
}

int ICommand::getPrivateMaxSize(int&)
{
    QV_LOGE("not support to getPrivateMaxSize");
    return -1;
}

int ICommand::writePrivateData(void*, int, int)
{
    QV_LOGE("not support to writePrivateData");
    return -1;
}

int ICommand::readPrivateData(void*, int, int)
{
    QV_LOGE("not support to readPrivateData");
    return -1;
}
