// Threads and open descriptors of this process, and what the emulator itself keeps per
// unplug and replug, for checks that nothing of the library stays behind.
#pragma once

#include <dirent.h>

#include <string>
#include <vector>

#include "UsbTestBed.h"

namespace orrtest {

inline int entriesOf(const char* dir)
{
    int n = 0;
    if (DIR* d = opendir(dir)) {
        while (readdir(d) != nullptr) ++n;
        closedir(d);
    }
    return n - 2;  // "." and ".."
}

struct ProcessCounts {
    int threads = entriesOf("/proc/self/task");
    int fds = entriesOf("/proc/self/fd");
};

// Unplugs and replugs each device `rounds` times with no library call in between; what the
// process gained, which the emulator keeps per replug.
inline ProcessCounts emulatorReplugCost(orrindale::emulator::UsbTestBed& bed,
                                        const std::vector<std::pair<std::string, int>>& devices, int rounds)
{
    const ProcessCounts before;
    for (int i = 0; i < rounds; ++i)
        for (const auto& [name, address] : devices) {
            bed.deviceAt(name)->unplug();
            bed.deviceAt(name)->replug(address);
        }
    const ProcessCounts after;
    return {after.threads - before.threads, after.fds - before.fds};
}

}  // namespace orrtest
