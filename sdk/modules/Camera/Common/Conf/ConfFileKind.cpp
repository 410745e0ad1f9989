#include "ConfFileKind.h"

#include <fstream>
#include <vector>

#include "ConfContainer.h"

namespace orrindale::sdk {

namespace {
// Enough for the header and for the blank lines an editor may put before the opening brace.
constexpr std::size_t kPrefixSize = 64 * 1024;
}  // namespace

ConfFileKind::Kind ConfFileKind::ofBytes(const char* data, std::size_t size)
{
    ConfContainer::Header header;
    if (ConfContainer::readHeader(data, size, header) && ConfContainer::headerProblem(header, size).empty())
        return Container;
    std::size_t i = 0;
    if (size >= 3 && static_cast<unsigned char>(data[0]) == 0xEF && static_cast<unsigned char>(data[1]) == 0xBB &&
        static_cast<unsigned char>(data[2]) == 0xBF)
        i = 3;
    while (i < size && (data[i] == ' ' || data[i] == '\t' || data[i] == '\r' || data[i] == '\n')) ++i;
    return i < size && data[i] == '{' ? PlainJson : Container;
}

ConfFileKind::Kind ConfFileKind::ofFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) return PlainJson;
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    file.seekg(0, std::ios::beg);
    if (size < 0 || !file) return PlainJson;
    std::vector<char> prefix(kPrefixSize);
    file.read(prefix.data(), static_cast<std::streamsize>(prefix.size()));
    prefix.resize(static_cast<std::size_t>(file.gcount()));
    // The header check needs the whole file's size, the brace check only its start.
    ConfContainer::Header header;
    if (ConfContainer::readHeader(prefix.data(), prefix.size(), header) &&
        ConfContainer::headerProblem(header, static_cast<std::size_t>(size)).empty())
        return Container;
    return ofBytes(prefix.data(), prefix.size()) == PlainJson ? PlainJson : Container;
}

}  // namespace orrindale::sdk
