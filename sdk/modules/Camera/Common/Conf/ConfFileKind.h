// Tells a plain JSON configuration file from an encrypted container.
#pragma once

#include <cstddef>
#include <string>

namespace orrindale::sdk {

class ConfFileKind {
public:
    enum Kind { PlainJson, Container };

    // A file whose 12-byte header describes it exactly as a container (0 <= L <= N, N a multiple
    // of 16, 12 + N <= size) is a container; otherwise a file whose first non-blank byte (after
    // an optional UTF-8 byte order mark) is '{' is plain JSON, unless it does not parse and its
    // header is that of a container cut short (0 <= L <= N <= L + 16, N a multiple of 16,
    // 12 + N > size); anything else is taken as a container, so that its reader reports what
    // is wrong with it.
    static Kind ofBytes(const char* data, std::size_t size);
    // A file that cannot be read whole (missing, not a regular file, too large) counts as plain
    // JSON: its reader then reports it.
    static Kind ofFile(const std::string& path);
};

}  // namespace orrindale::sdk
