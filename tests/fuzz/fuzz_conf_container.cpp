// Arbitrary bytes as a configuration container, read through CameraConfAes by each model
// reader and by the Solen reader.
//
// Input: one selector byte, then the file. Selector bits 0-2 pick the reader; bit 3 rewrites
// the stored checksum to match the cipher bytes (when the header's cipher length fits the
// file), so that decryption and the text parse are reached too.
#include <cstdint>
#include <memory>
#include <vector>

#include "CameraConfAes.h"
#include "ConfContainer.h"
#include "ConfFileKind.h"
#include "FuzzConfInput.h"
#include "Fl30cCameraConf.h"
#include "SolenConf.h"
#include "VireneACameraConf.h"
#include "VireneBCameraConf.h"
#include "ZentaCameraConf.h"

using namespace orrindale::sdk;

namespace {

template <typename Reader, typename Record>
void readContainer(const std::string& path)
{
    CameraConfAes aes(std::make_shared<Reader>());
    Record record;
    aes.parseConfigFileParameter(path, Reader::kModuleName, &record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    const uint8_t selector = data[0];
    std::vector<uint8_t> file(data + 1, data + size);

    ConfContainer::Header header;
    if ((selector & 0x08) != 0 && ConfContainer::readHeader(reinterpret_cast<const char*>(file.data()), file.size(), header) &&
        header.cipherLength >= 0 &&
        static_cast<std::size_t>(header.cipherLength) <= file.size() - ConfContainer::kHeaderSize) {
        const uint32_t sum = ConfContainer::checksum(file.data() + ConfContainer::kHeaderSize,
                                                     static_cast<std::size_t>(header.cipherLength));
        for (int i = 0; i < 4; ++i) file[8 + i] = static_cast<uint8_t>(sum >> (8 * i));
    }
    ConfFileKind::ofBytes(reinterpret_cast<const char*>(file.data()), file.size());

    const std::string path = fuzzconf::inputFile(file.data(), file.size());
    if (path.empty()) return 0;
    switch (selector & 0x07) {
    case 0: readContainer<VireneA::CameraConf, VireneA::virenea_config_para>(path); break;
    case 1: readContainer<VireneB::CameraConf, VireneB::vireneb_config_para>(path); break;
    case 2: readContainer<Zenta::CameraConf, Zenta::zenta_config_para>(path); break;
    case 3: readContainer<Fl30c::CameraConf, Fl30c::fl30c_config_para>(path); break;
    default: {
        Solen::solen_config_para record;
        Solen::parseConfigFile(path, "QV_CAM_G700", record);
        break;
    }
    }
    return 0;
}
