// Whether a test asserts stream rates. ThreadSanitizer slows the memory-heavy stream
// consumers (libuvc copies every frame twice, the tests compare every byte) and the
// emulated devices well below 30 fps, and libuvc then drops frames; so does a CPU emulated
// by binary translation (a cross build runs its tests under qemu-user with
// ORR_TEST_EMULATED_CPU set). There the tests check that frames arrive and are right, not
// how many per second.
#pragma once

#include <cstdlib>

#if defined(__SANITIZE_THREAD__)
inline const bool kRatesAsserted = false;
#else
inline const bool kRatesAsserted = std::getenv("ORR_TEST_EMULATED_CPU") == nullptr;
#endif
