// A configuration file opened for reading only when it is a regular file. The open does not
// block, so a FIFO or a device named as the configuration never holds the caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orrindale::sdk {

class RegularFile {
public:
    enum class Status { Ok, CannotOpen, NotRegular, ReadFailed };

    RegularFile() = default;
    ~RegularFile();
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    Status open(const std::string& path);
    uint64_t size() const { return m_size; }
    // Reads up to limit bytes from the start of the file into data.
    Status read(std::vector<char>& data, std::size_t limit);

private:
    int m_fd = -1;
    uint64_t m_size = 0;
};

}  // namespace orrindale::sdk
