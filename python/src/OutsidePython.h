// The region of a call into the library (or the emulator): the interpreter lock is
// released, and the signals that have a handler (Python's) are blocked on this thread
// meanwhile. Threads the library starts in the region inherit that mask, so Ctrl-C and its
// kind reach Python's own threads instead of interrupting the system calls of the library's;
// signals left to their default action (SIGTERM) still end a process stuck in a call.
#pragma once

#include <pybind11/pybind11.h>
#include <signal.h>

namespace orrpy {

class OutsidePython {
public:
    OutsidePython();
    ~OutsidePython();
    OutsidePython(const OutsidePython&) = delete;
    OutsidePython& operator=(const OutsidePython&) = delete;

private:
    sigset_t m_previous;
    pybind11::gil_scoped_release m_unlocked;
};

}  // namespace orrpy
