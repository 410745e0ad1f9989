// Helpers shared by the configuration fuzz targets (one includes this per program).
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace fuzzconf {

// The readers take a path: the input is put in one memory-backed file, rewritten per input.
inline std::string inputFile(const uint8_t* data, std::size_t size)
{
    static const int fd = memfd_create("orr-fuzz-conf", 0);
    if (fd < 0) return {};
    if (ftruncate(fd, 0) != 0) return {};
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = pwrite(fd, data + done, size - done, static_cast<off_t>(done));
        if (n <= 0) return {};
        done += static_cast<std::size_t>(n);
    }
    return "/proc/self/fd/" + std::to_string(fd);
}

}  // namespace fuzzconf

// The readers log every step on standard output; the fuzzer reports on standard error.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::perror("freopen");
    return 0;
}
