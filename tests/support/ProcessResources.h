// Threads and file descriptors of this process, to show that something left none behind.
#pragma once

#include <dirent.h>
#include <unistd.h>

#include <set>
#include <string>

namespace orrtest {

inline int threadCount()
{
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) return -1;
    int n = 0;
    while (const dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.') ++n;
    closedir(dir);
    return n;
}

// Every open descriptor as "number -> what it refers to". Compare sets, not counts: the
// emulator itself opens and closes descriptors when devices come and go.
inline std::set<std::string> openFds()
{
    std::set<std::string> fds;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) return fds;
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.' || std::stoi(entry->d_name) == dirfd(dir)) continue;
        char target[256] = {};
        const ssize_t n = readlink(("/proc/self/fd/" + std::string(entry->d_name)).c_str(), target, sizeof target - 1);
        std::string what(target, n > 0 ? size_t(n) : 0);
        const size_t deleted = what.rfind(" (deleted)");  // an unplugged device's node
        if (deleted != std::string::npos) what.erase(deleted);
        fds.insert(std::string(entry->d_name) + " -> " + what);
    }
    closedir(dir);
    return fds;
}

}  // namespace orrtest
