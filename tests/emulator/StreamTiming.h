// ThreadSanitizer slows the memory-heavy stream consumers (libuvc copies every frame
// twice, the tests compare every byte) well below 30 fps, and libuvc then drops frames;
// so does a CPU emulated by binary translation. There the tests check that frames arrive
// and are right, not how many per second.
#pragma once

#include "EmulatedCpu.h"

#if defined(__SANITIZE_THREAD__)
inline const bool kRatesAsserted = false;
#else
inline const bool kRatesAsserted = !orrtest::emulatedCpu();
#endif
