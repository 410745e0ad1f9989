#include "CameraConf.h"

#include <fstream>
#include <system_error>
#include <filesystem>

#include "CameraConfResult.h"
#include "Logger.h"

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
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        QV_LOGE("Can't open config file ", path);
        return CONF_ERR_READ;
    }
    // A directory or a device opens fine but has no size to read.
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        QV_LOGE("Config file ", path, " is not a regular file");
        return CONF_ERR_READ;
    }
    QV_LOGI("Parsing config file ", path);
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (size < 0) {
        QV_LOGE("Read data fail.");
        return CONF_ERR_READ;
    }
    if (static_cast<unsigned long long>(size) > kMaxFileSize) {
        QV_LOGE("Config file ", path, " has ", size, " bytes, more than the ", kMaxFileSize, " allowed");
        return CONF_ERR_READ;
    }
    file.seekg(0, std::ios::beg);
    std::vector<char> bytes(static_cast<std::size_t>(size));
    if (size > 0) file.read(bytes.data(), size);
    if (!file || file.gcount() != size) {
        QV_LOGE("Read data fail.");
        return CONF_ERR_READ;
    }
    data.swap(bytes);
    return CONF_OK;
}

}  // namespace orrindale::sdk
