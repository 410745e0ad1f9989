#include "ICommand.h"

#include "Logger.h"

int ICommand::notSupported(const char* operation, const char* file, int line)
{
    orrindale::log::line("ERROR", orrindale::log::sourceName(file), line, operation, "not support to ", operation);
    return -1;
}

int ICommand::upgrade(std::string const&, CAM_UPGRADE_DEV_S*) { return notSupported(); }
int ICommand::reboot() { return notSupported(); }
int ICommand::setSn(std::string const&) { return notSupported(); }
int ICommand::getSn(std::string&) { return notSupported(); }
int ICommand::getFwVersion(std::string&) { return notSupported(); }
int ICommand::getHimaxVersion(std::string&) { return notSupported(); }
int ICommand::getPrivateMaxSize(int&) { return notSupported(); }
int ICommand::writePrivateData(void*, int, int) { return notSupported(); }
int ICommand::readPrivateData(void*, int, int) { return notSupported(); }
