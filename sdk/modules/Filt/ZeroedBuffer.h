// A zero-filled scratch area for one call of an image kernel.
//
// Sparse use: large areas come straight from anonymous memory mappings. The kernel
// hands out zero pages lazily, so an area of which a kernel touches only a little
// costs two system calls and those pages, instead of a memset of the whole area (the
// C heap recycles blocks and must clear them).
// Dense use: the C heap. An area that is touched all over would take one page fault
// per page from a mapping, which costs more than clearing a recycled heap block.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale {

class ZeroedBuffer {
public:
    enum class Use { kSparse, kDense };

    ZeroedBuffer() = default;
    // Allocates `bytes` zeroed bytes; on failure (or bytes == 0) data() is null.
    explicit ZeroedBuffer(std::size_t bytes, Use use = Use::kSparse);
    ~ZeroedBuffer();

    ZeroedBuffer(const ZeroedBuffer&) = delete;
    ZeroedBuffer& operator=(const ZeroedBuffer&) = delete;
    ZeroedBuffer(ZeroedBuffer&& other) noexcept;
    ZeroedBuffer& operator=(ZeroedBuffer&& other) noexcept;

    uint8_t* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    template <typename T>
    T* as() const
    {
        return reinterpret_cast<T*>(m_data);
    }
    explicit operator bool() const { return m_data != nullptr; }

private:
    void release() noexcept;

    uint8_t* m_data = nullptr;
    std::size_t m_size = 0;
    bool m_mapped = false;
};

}  // namespace orrindale
