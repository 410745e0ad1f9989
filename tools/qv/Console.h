// Where qv writes: its own results go to standard output; the library's log lines,
// which the library prints on standard output, are moved to standard error (or
// dropped with --quiet) so that results stay readable by scripts.
#pragma once

#include <cstdio>

namespace qv {

class Console {
public:
    // Call once, before the library prints anything. quiet: the library's lines and
    // what its USB libraries print on standard error are dropped; qv's own messages
    // still reach standard error.
    static void separateLibraryLog(bool quiet);
    static FILE* out();  // results
    static FILE* err();  // progress and messages
};

}  // namespace qv
