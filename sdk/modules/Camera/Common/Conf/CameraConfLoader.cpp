#include "CameraConfLoader.h"

#include <new>

#include "CameraConfAes.h"
#include "CameraConfResult.h"
#include "ConfFileKind.h"
#include "Logger.h"

namespace orrindale::sdk {

int CameraConfLoader::parse(const std::string& path, const std::shared_ptr<CameraConf>& reader,
                            const std::string& moduleName, void* out)
{
    if (!reader) {
        QV_LOGE("no configuration reader for module ", moduleName);
        return CONF_ERR_ARGUMENT;
    }
    try {
        if (ConfFileKind::ofFile(path) == ConfFileKind::Container) {
            QV_LOGI("configuration file ", path, " is an encrypted container");
            CameraConfAes container(reader);
            return container.parseConfigFileParameter(path, moduleName, out);
        }
        return reader->parseConfigFileParameter(path, moduleName, out);
    } catch (const std::bad_alloc&) {
        // A driver's open must not fail by exception over a configuration file.
        QV_LOGE("out of memory while reading configuration file ", path);
        return CONF_ERR_READ;
    }
}

}  // namespace orrindale::sdk
