#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace orrindale::sdk {

RegularFile::~RegularFile()
{
    if (m_fd >= 0) ::close(m_fd);
}

RegularFile::Status RegularFile::open(const std::string& path)
{
    m_fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0) return Status::CannotOpen;
    struct stat st {};
    if (fstat(m_fd, &st) != 0) return Status::CannotOpen;
    if (!S_ISREG(st.st_mode)) return Status::NotRegular;
    m_size = static_cast<uint64_t>(st.st_size);
    return Status::Ok;
}

RegularFile::Status RegularFile::read(std::vector<char>& data, std::size_t limit)
{
    if (m_fd < 0) return Status::CannotOpen;
    std::vector<char> bytes(static_cast<std::size_t>(std::min<uint64_t>(m_size, limit)));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pread(m_fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;  // a file that shrank while it was read
        done += static_cast<std::size_t>(n);
    }
    if (done != bytes.size()) return Status::ReadFailed;
    data.swap(bytes);
    return Status::Ok;
}

}  // namespace orrindale::sdk
