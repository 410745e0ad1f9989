// How a test bed serves its devices.
#pragma once

namespace orrindale::emulator {

struct TestBedOptions {
    // Serve hosts that live in this process in place (no copies of transfer buffers).
    // Hosts in other processes are recognised and always served through copies.
    // ThreadSanitizer cannot see that a host's ioctl() orders its memory with ours
    // (the hand-off runs through umockdev's socket), so its builds copy.
#if defined(__SANITIZE_THREAD__)
    bool shareHostMemory = false;
#else
    bool shareHostMemory = true;
#endif
    // Device nodes are FIFOs whose POLLOUT signals a reapable transfer, so that libusb
    // sleeps in poll() instead of asking again and again.
    bool readinessFifo = true;
    // Put the test bed's directory on /dev/shm: set-up costs a few milliseconds instead of
    // tens. Takes effect for the first test bed of a process (GLib keeps its temp dir).
    bool tmpfs = true;
};

}  // namespace orrindale::emulator
