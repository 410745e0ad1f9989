// The buffers of one video node's queue. They live in the node's own file in the test
// bed, which the host maps through its descriptor (a file-backed node is what makes mmap
// work under umockdev); the emulator maps the same file to write frames in place.
// Not thread safe: the node's lock guards it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace orrindale::emulator {

class V4l2BufferQueue {
public:
    static constexpr unsigned kMaxBuffers = 32;  // VIDEO_MAX_FRAME

    explicit V4l2BufferQueue(std::string file);
    V4l2BufferQueue(const V4l2BufferQueue&) = delete;
    V4l2BufferQueue& operator=(const V4l2BufferQueue&) = delete;
    ~V4l2BufferQueue();

    // `count` buffers of `length` bytes each, instead of the present ones (REQBUFS);
    // false when the file cannot hold them. The file never shrinks: a host may still map
    // an old buffer.
    bool allocate(unsigned count, size_t length);
    // `count` more buffers of `length` bytes (CREATE_BUFS).
    bool add(unsigned count, size_t length);
    void release();

    unsigned count() const { return unsigned(m_buffers.size()); }
    size_t length(unsigned index) const { return m_buffers[index].length; }
    uint32_t offsetOf(unsigned index) const { return uint32_t(m_buffers[index].offset); }
    uint8_t* memory(unsigned index) const { return m_map + m_buffers[index].offset; }

    bool isQueued(unsigned index) const;
    void enqueue(unsigned index) { m_queued.push_back(index); }
    std::optional<unsigned> dequeue();
    bool anyQueued() const { return !m_queued.empty(); }
    void clearQueued() { m_queued.clear(); }

private:
    bool mapFile(size_t bytes);

    std::string m_file;
    int m_fd = -1;
    uint8_t* m_map = nullptr;
    size_t m_mapped = 0;
    struct Slot {
        size_t offset;  // page-aligned, as mmap needs
        size_t length;
    };
    std::vector<Slot> m_buffers;
    size_t m_end = 0;  // where the next buffer goes
    std::deque<unsigned> m_queued;
};

}  // namespace orrindale::emulator
