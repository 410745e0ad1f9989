// Arbitrary text as a configuration document for every model reader, plain and, sealed into
// a valid container, through CameraConfAes.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "CameraConfAes.h"
#include "ConfAesKey.h"
#include "ConfContainer.h"
#include "FuzzConfInput.h"
#include "Fl30cCameraConf.h"
#include "SolenConf.h"
#include "VireneACameraConf.h"
#include "VireneBCameraConf.h"
#include "ZentaCameraConf.h"

using namespace orrindale::sdk;

namespace {

template <typename Reader, typename Record>
void parseText(const char* text)
{
    Reader reader;
    Record record;
    reader.parseConfigParmeter(text, Reader::kModuleName, &record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    parseText<VireneA::CameraConf, VireneA::virenea_config_para>(text.c_str());
    parseText<VireneB::CameraConf, VireneB::vireneb_config_para>(text.c_str());
    parseText<Zenta::CameraConf, Zenta::zenta_config_para>(text.c_str());
    parseText<Fl30c::CameraConf, Fl30c::fl30c_config_para>(text.c_str());
    Solen::solen_config_para solen;
    Solen::parseConfigText(text.c_str(), "QV_CAM_G700", solen);

    // The same text inside a container, read as a driver would read it.
    unsigned char key[AesCbc256::kKeySize];
    unsigned char iv[AesCbc256::kIvSize];
    ConfAesKey::build(key, iv);
    std::vector<char> container;
    if (ConfContainer::seal(text, key, iv, container) != 0) return 0;
    const std::string path = fuzzconf::inputFile(reinterpret_cast<const uint8_t*>(container.data()), container.size());
    if (path.empty()) return 0;
    CameraConfAes aes(std::make_shared<Fl30c::CameraConf>());
    Fl30c::fl30c_config_para record;
    aes.parseConfigFileParameter(path, Fl30c::CameraConf::kModuleName, &record);
    Solen::parseConfigFile(path, "QV_CAM_G700", solen);
    return 0;
}
