// Puts the process under umockdev's preload library, which redirects /sys, /dev and
// the usbdevfs ioctls to the test bed. Call ensure() first thing in main(): when the
// preload is missing it re-executes the program with it (keeping any sanitizer runtime
// first in the preload list) and only returns in the re-executed process.
#pragma once

namespace orrindale::emulator {

class PreloadEnvironment {
public:
    static bool active();
    // True when the preload is active (after re-executing if needed); false, with a log
    // line, when re-executing failed. Also raises the open-file limit: umockdev keeps a
    // few descriptors per test bed and per device.
    static bool ensure(char** argv);
};

}  // namespace orrindale::emulator
