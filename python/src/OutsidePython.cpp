#include "OutsidePython.h"

#include <pthread.h>

namespace orrpy {

namespace {

// Every signal but those a fault raises on the thread that caused it.
sigset_t asynchronousSignals()
{
    sigset_t set;
    sigfillset(&set);
    for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&set, fault);
    return set;
}

}  // namespace

OutsidePython::OutsidePython()
{
    static const sigset_t blocked = asynchronousSignals();
    pthread_sigmask(SIG_BLOCK, &blocked, &m_previous);
}

OutsidePython::~OutsidePython() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }

}  // namespace orrpy
