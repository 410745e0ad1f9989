// What the device keeps per open file of its node (one per host handle): the URBs
// submitted and completed, the interfaces claimed and how the host's memory is reached.
#pragma once

#include <umockdev.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "UrbRequest.h"

namespace orrindale::emulator {

class UsbdevfsHandler;

// Shared between a handler and the per-client records that umockdev may drop after the
// handler is gone; `handler` is null from then on.
struct UsbdevfsClientRegistry {
    std::mutex mutex;
    UsbdevfsHandler* handler = nullptr;
};

struct UsbdevfsClient {
    enum class Memory { Unknown, Shared, Copied };

    std::shared_ptr<UsbdevfsClientRegistry> registry;
    UMockdevIoctlClient* client = nullptr;  // not referenced: this record dies with it
    std::deque<std::unique_ptr<UrbRequest>> pending;
    std::deque<std::unique_ptr<UrbRequest>> done;
    bool reapWaiting = false;  // a blocking REAPURB waits for a completion
    uint32_t claimed = 0;      // bit per interface
    Memory memory = Memory::Unknown;
    size_t readOffset = 0;     // position of read() in the descriptors
};

}  // namespace orrindale::emulator
