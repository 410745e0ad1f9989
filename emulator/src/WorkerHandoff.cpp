#include "WorkerHandoff.h"

#include <mutex>

namespace orrindale::emulator {

namespace {
std::mutex g_handoff;
}

void WorkerHandoff::publish() { std::lock_guard<std::mutex> lock(g_handoff); }

void WorkerHandoff::receive() { std::lock_guard<std::mutex> lock(g_handoff); }

}  // namespace orrindale::emulator
