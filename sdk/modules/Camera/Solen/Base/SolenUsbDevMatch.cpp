#include "SolenUsbDevMatch.h"

#include <atomic>

namespace {

std::atomic<bool> g_strict{false};

}  // namespace

void setSolenUsbDevMatch(bool strict) { g_strict = strict; }

bool solenUsbDevMatch() { return g_strict; }
