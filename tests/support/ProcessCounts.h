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

// A device somewhere on the bus and the two addresses it takes in turn when replugged, as a
// real bus gives a re-enumerated device a new address.
struct Replugged {
    std::string name;  // sysfs name, "1-4"
    int address, otherAddress;
};

inline bool unplugAndReplug(orrindale::emulator::UsbTestBed& bed, const Replugged& r)
{
    orrindale::emulator::EmulatedUsbDevice* device = bed.deviceAt(r.name);
    const int next = device->address() == r.address ? r.otherAddress : r.address;
    return device->unplug() && device->replug(next);
}

// Unplugs and replugs each device `rounds` times with no library call in between; what the
// process gained, which the emulator keeps per replug.
inline ProcessCounts emulatorReplugCost(orrindale::emulator::UsbTestBed& bed, const std::vector<Replugged>& devices,
                                        int rounds)
{
    const ProcessCounts before;
    for (int i = 0; i < rounds; ++i)
        for (const Replugged& r : devices) unplugAndReplug(bed, r);
    const ProcessCounts after;
    return {after.threads - before.threads, after.fds - before.fds};
}

}  // namespace orrtest
