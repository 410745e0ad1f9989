#include "ConfModuleCatalog.h"

#include <algorithm>
#include <memory>
#include <string>
#include <type_traits>

#include "CameraConfLoader.h"
#include "CameraConfResult.h"
#include "DepthProcessConfig.h"
#include "Fl30cCameraConf.h"
#include "SolenConf.h"
#include "VireneACameraConf.h"
#include "VireneBCameraConf.h"
#include "ZentaCameraConf.h"

using namespace orrindale::sdk;

namespace {

const char* const kSolenModules[] = {"QV_CAM_FL30", "QV_CAM_FL30V", "QV_CAM_G700", "QV_CAM_GM80"};

template <typename Record>
void describe(std::vector<ConfKey> const& keys, const Record& record, ConfModuleCatalog::CheckResult& result)
{
    for (const auto& key : keys) result.values.emplace_back(key.pathText(), key.valueText());
    if constexpr (std::is_base_of_v<depth_process_para, Record>) {
        if (record.denoiseEnable && record.farLimitAssumed)
            result.warnings.push_back("Denoise is enabled without a positive \"max_th\": it keeps depth up to " +
                                      std::to_string(record.maxTh) + " mm (no far limit)");
    }
}

template <typename Reader, typename Record>
ConfModuleCatalog::CheckResult checkWith(const std::string& path)
{
    ConfModuleCatalog::CheckResult result;
    Record record;
    result.code = CameraConfLoader::parse(path, std::make_shared<Reader>(), Reader::kModuleName, &record);
    if (result.code == CONF_OK) describe(Reader::keys(record), record, result);
    return result;
}

}  // namespace

std::vector<std::string> ConfModuleCatalog::names()
{
    std::vector<std::string> all = {VireneA::CameraConf::kModuleName, VireneB::CameraConf::kModuleName,
                                    Zenta::CameraConf::kModuleName, Fl30c::CameraConf::kModuleName};
    all.insert(all.end(), std::begin(kSolenModules), std::end(kSolenModules));
    return all;
}

bool ConfModuleCatalog::contains(const std::string& moduleName)
{
    const auto all = names();
    return std::find(all.begin(), all.end(), moduleName) != all.end();
}

ConfModuleCatalog::CheckResult ConfModuleCatalog::check(const std::string& path, const std::string& moduleName)
{
    if (moduleName == VireneA::CameraConf::kModuleName)
        return checkWith<VireneA::CameraConf, VireneA::virenea_config_para>(path);
    if (moduleName == VireneB::CameraConf::kModuleName)
        return checkWith<VireneB::CameraConf, VireneB::vireneb_config_para>(path);
    if (moduleName == Zenta::CameraConf::kModuleName)
        return checkWith<Zenta::CameraConf, Zenta::zenta_config_para>(path);
    if (moduleName == Fl30c::CameraConf::kModuleName)
        return checkWith<Fl30c::CameraConf, Fl30c::fl30c_config_para>(path);
    CheckResult result;
    if (!contains(moduleName)) {
        result.code = CONF_ERR_ARGUMENT;
        return result;
    }
    Solen::solen_config_para record;
    result.code = Solen::parseConfigFile(path, moduleName, record);
    if (result.code == CONF_OK) describe(Solen::configKeys(record), record, result);
    return result;
}
