#include "CameraConf.h"

#include "CameraConfResult.h"
#include "Logger.h"
#include "RegularFile.h"

namespace orrindale::sdk {

int CameraConf::parseConfigFileParameter(std::string const& path, std::string const& moduleName, void* out)
{
    QV_LOGI("moduleName:", moduleName);
    std::vector<char> data;
    const int ret = getDataFromFile(path, data);
    if (ret != CONF_OK) return ret;
    data.push_back('\0');
    return parseConfigParmeter(data.data(), moduleName, out);
}

int CameraConf::getDataFromFile(std::string const& path, std::vector<char>& data)
{
    RegularFile file;
    const RegularFile::Status opened = file.open(path);
    if (opened == RegularFile::Status::CannotOpen) {
        QV_LOGE("Can't open config file ", path);
        return CONF_ERR_READ;
    }
    // A FIFO, a directory or a device has no contents to read as a file.
    if (opened == RegularFile::Status::NotRegular) {
        QV_LOGE("Config file ", path, " is not a regular file");
        return CONF_ERR_READ;
    }
    QV_LOGI("Parsing config file ", path);
    if (file.size() > kMaxFileSize) {
        QV_LOGE("Config file ", path, " has ", file.size(), " bytes, more than the ", kMaxFileSize, " allowed");
        return CONF_ERR_READ;
    }
    if (file.read(data, kMaxFileSize) != RegularFile::Status::Ok) {
        QV_LOGE("Read data fail.");
        return CONF_ERR_READ;
    }
    return CONF_OK;
}

}  // namespace orrindale::sdk
