#include "ConfFileKind.h"

#include <cjson/cJSON.h>

#include <vector>

#include "CameraConf.h"
#include "ConfContainer.h"
#include "RegularFile.h"

namespace orrindale::sdk {

namespace {

bool isJsonDocument(const char* data, std::size_t size)
{
    cJSON* root = cJSON_ParseWithLength(data, size);
    const bool ok = root != nullptr;
    cJSON_Delete(root);
    return ok;
}

// The header of a container that lost its end: lengths a sealing tool writes (N whole
// blocks, at most one block of padding after the L text bytes) and more cipher bytes
// than the file holds. JSON text read as such a header almost never fits: its L and N
// are four printable characters each.
bool isCutContainerHeader(const ConfContainer::Header& h, std::size_t size)
{
    const int64_t l = h.plainLength, n = h.cipherLength;
    return l >= 0 && n >= l && n - l <= 16 && n % 16 == 0 &&
           static_cast<uint64_t>(n) + ConfContainer::kHeaderSize > size;
}

}  // namespace

ConfFileKind::Kind ConfFileKind::ofBytes(const char* data, std::size_t size)
{
    ConfContainer::Header header;
    const bool haveHeader = ConfContainer::readHeader(data, size, header);
    if (haveHeader && ConfContainer::headerProblem(header, size).empty()) return Container;
    std::size_t i = 0;
    if (size >= 3 && static_cast<unsigned char>(data[0]) == 0xEF && static_cast<unsigned char>(data[1]) == 0xBB &&
        static_cast<unsigned char>(data[2]) == 0xBF)
        i = 3;
    while (i < size && (data[i] == ' ' || data[i] == '\t' || data[i] == '\r' || data[i] == '\n')) ++i;
    if (i >= size || data[i] != '{') return Container;
    // A truncated container whose L begins with '{' (L = 123, ...) is reported as a container.
    if (haveHeader && isCutContainerHeader(header, size) && !isJsonDocument(data, size)) return Container;
    return PlainJson;
}

ConfFileKind::Kind ConfFileKind::ofFile(const std::string& path)
{
    RegularFile file;
    std::vector<char> bytes;
    // What cannot be read whole counts as plain JSON: its reader then reports why.
    if (file.open(path) != RegularFile::Status::Ok || file.size() > CameraConf::kMaxFileSize ||
        file.read(bytes, CameraConf::kMaxFileSize) != RegularFile::Status::Ok)
        return PlainJson;
    return ofBytes(bytes.data(), bytes.size());
}

}  // namespace orrindale::sdk
