#include "V4l2BufferQueue.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "EmulatorLog.h"

namespace orrindale::emulator {

V4l2BufferQueue::V4l2BufferQueue(std::string file) : m_file(std::move(file)) {}

V4l2BufferQueue::~V4l2BufferQueue()
{
    if (m_map != nullptr) munmap(m_map, m_mapped);
    if (m_fd >= 0) ::close(m_fd);
}

bool V4l2BufferQueue::mapFile(size_t bytes)
{
    if (m_fd < 0) {
        // The test bed's own path: the preload leaves paths outside /dev and /sys alone.
        m_fd = ::open(m_file.c_str(), O_RDWR | O_CLOEXEC);
        if (m_fd < 0) {
            emulatorLog("video buffers: cannot open %s: %s", m_file.c_str(), std::strerror(errno));
            return false;
        }
    }
    if (bytes <= m_mapped) return true;
    struct stat info{};
    if (fstat(m_fd, &info) != 0) return false;
    if (size_t(info.st_size) < bytes && ftruncate(m_fd, off_t(bytes)) != 0) {
        emulatorLog("video buffers: cannot grow %s to %zu bytes: %s", m_file.c_str(), bytes, std::strerror(errno));
        return false;
    }
    void* map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
    if (map == MAP_FAILED) {
        emulatorLog("video buffers: cannot map %s: %s", m_file.c_str(), std::strerror(errno));
        return false;
    }
    if (m_map != nullptr) munmap(m_map, m_mapped);
    m_map = static_cast<uint8_t*>(map);
    m_mapped = bytes;
    return true;
}

bool V4l2BufferQueue::allocate(unsigned count, size_t length)
{
    release();
    return add(count, length);
}

bool V4l2BufferQueue::add(unsigned count, size_t length)
{
    const size_t page = size_t(sysconf(_SC_PAGESIZE));
    const size_t stride = (std::max<size_t>(length, 1) + page - 1) / page * page;
    if (!mapFile(m_end + stride * count)) return false;
    for (unsigned i = 0; i < count; ++i) {
        m_buffers.push_back({m_end, length});
        m_end += stride;
    }
    return true;
}

void V4l2BufferQueue::release()
{
    m_buffers.clear();
    m_end = 0;
    m_queued.clear();
}

bool V4l2BufferQueue::isQueued(unsigned index) const
{
    return std::find(m_queued.begin(), m_queued.end(), index) != m_queued.end();
}

std::optional<unsigned> V4l2BufferQueue::dequeue()
{
    if (m_queued.empty()) return std::nullopt;
    const unsigned index = m_queued.front();
    m_queued.pop_front();
    return index;
}

}  // namespace orrindale::emulator
