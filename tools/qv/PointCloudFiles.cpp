#include "PointCloudFiles.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace qv {

bool PointCloudFiles::writePly(const std::string& path, const float* points, size_t count, const uint8_t* rgb,
                               CloudUnits units, std::string& error)
{
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        error = "cannot create " + path;
        return false;
    }
    std::string header = "ply\nformat binary_little_endian 1.0\ncomment written by qv\ncomment units " +
                         std::string(units == CloudUnits::Metres ? "metres" : "millimetres") + "\nelement vertex " +
                         std::to_string(count) + "\nproperty float x\nproperty float y\nproperty float z\n";
    if (rgb != nullptr) header += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    header += "end_header\n";
    bool ok = std::fwrite(header.data(), 1, header.size(), file) == header.size();
    const size_t stride = rgb != nullptr ? 15 : 12;
    std::vector<uint8_t> record(stride);
    for (size_t i = 0; ok && i < count; ++i) {
        std::memcpy(record.data(), points + 3 * i, 12);  // x86 and ARM are little-endian, as the header says
        if (rgb != nullptr) std::memcpy(record.data() + 12, rgb + 3 * i, 3);
        ok = std::fwrite(record.data(), 1, stride, file) == stride;
    }
    ok = std::fclose(file) == 0 && ok;
    if (!ok) error = "cannot write " + path;
    return ok;
}

}  // namespace qv
