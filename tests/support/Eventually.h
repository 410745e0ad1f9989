// Waiting in tests: against a clock, generous enough for sanitizer builds on a loaded
// machine, and over as soon as the condition holds.
#pragma once

#include <chrono>
#include <thread>

namespace orrtest {

// Polls `condition` until it holds or `timeout` has passed; true when it held.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(20))
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace orrtest
