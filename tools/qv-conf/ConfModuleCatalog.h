// The configuration modules qv-conf knows, and checking a file with a module's reader.
#pragma once

#include <string>
#include <utility>
#include <vector>

class ConfModuleCatalog {
public:
    struct CheckResult {
        int code = 0;  // 0 or the reader's negative code
        // The record the driver would apply, as (document path, value) in reading order.
        std::vector<std::pair<std::string, std::string>> values;
        std::vector<std::string> warnings;  // accepted, but probably not what was meant
    };

    static std::vector<std::string> names();
    static bool contains(const std::string& moduleName);
    // Reads the file (plain or container) with the module's reader, as its driver would.
    static CheckResult check(const std::string& path, const std::string& moduleName);
};
