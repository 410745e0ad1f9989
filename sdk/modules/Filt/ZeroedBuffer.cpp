#include "ZeroedBuffer.h"

#include <sys/mman.h>

#include <cstdlib>
#include <utility>

namespace orrindale {

namespace {
// Below this the C heap is cheaper than a mapping.
constexpr std::size_t kMapThreshold = 256 * 1024;
}  // namespace

ZeroedBuffer::ZeroedBuffer(std::size_t bytes, Use use)
{
    if (bytes == 0) return;
    if (use == Use::kSparse && bytes >= kMapThreshold) {
        void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED) return;
        m_data = static_cast<uint8_t*>(p);
        m_mapped = true;
    } else {
        m_data = static_cast<uint8_t*>(std::calloc(bytes, 1));
        if (m_data == nullptr) return;
    }
    m_size = bytes;
}

ZeroedBuffer::~ZeroedBuffer() { release(); }

ZeroedBuffer::ZeroedBuffer(ZeroedBuffer&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_mapped(std::exchange(other.m_mapped, false))
{
}

ZeroedBuffer& ZeroedBuffer::operator=(ZeroedBuffer&& other) noexcept
{
    if (this != &other) {
        release();
        m_data = std::exchange(other.m_data, nullptr);
        m_size = std::exchange(other.m_size, 0);
        m_mapped = std::exchange(other.m_mapped, false);
    }
    return *this;
}

void ZeroedBuffer::release() noexcept
{
    if (m_data == nullptr) return;
    if (m_mapped)
        munmap(m_data, m_size);
    else
        std::free(m_data);
    m_data = nullptr;
    m_size = 0;
    m_mapped = false;
}

}  // namespace orrindale
