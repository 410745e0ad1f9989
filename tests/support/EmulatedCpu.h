// Whether the tests run on a CPU emulated by binary translation: a cross build runs its
// tests under qemu-user with ORR_TEST_EMULATED_CPU set. Such a CPU is many times slower,
// so rates are not asserted there (everything else is).
#pragma once

#include <cstdlib>

namespace orrtest {

inline bool emulatedCpu()
{
    return std::getenv("ORR_TEST_EMULATED_CPU") != nullptr;
}

}  // namespace orrtest
