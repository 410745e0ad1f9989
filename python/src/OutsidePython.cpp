#include "OutsidePython.h"

#include <pthread.h>

namespace orrpy {

namespace {

// The signals with a handler installed (Python's, for SIGINT at least): those would interrupt
// the library's system calls. Signals left to their default action (SIGTERM, SIGHUP, ...)
// stay deliverable, so a process stuck in a call can still be ended; faults always are.
sigset_t handledSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (int signal = 1; signal < SIGRTMIN; ++signal) {
        if (signal == SIGSEGV || signal == SIGBUS || signal == SIGFPE || signal == SIGILL || signal == SIGTRAP ||
            signal == SIGSYS || signal == SIGABRT || signal == SIGKILL || signal == SIGSTOP)
            continue;
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && !(action.sa_flags & SA_SIGINFO) &&
            (action.sa_handler == SIG_DFL || action.sa_handler == SIG_IGN))
            continue;
        sigaddset(&set, signal);
    }
    return set;
}

}  // namespace

OutsidePython::OutsidePython()
{
    const sigset_t blocked = handledSignals();  // read each time: a script may install handlers later
    pthread_sigmask(SIG_BLOCK, &blocked, &m_previous);
}

OutsidePython::~OutsidePython() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }

}  // namespace orrpy
