// Makes the hand-off between a test's thread and umockdev's worker thread visible to
// ThreadSanitizer. GLib passes work between them with its own futex locks, which the
// sanitizer cannot see, so it would report every object built on one thread and used
// on the other. Publishing after set-up and receiving at each worker entry through one
// uncontended mutex gives it the ordering that really exists.
#pragma once

namespace orrindale::emulator {

class WorkerHandoff {
public:
    // On the test's thread, after preparing state the worker will use.
    static void publish();
    // On the worker thread, on entry to a callback.
    static void receive();
};

}  // namespace orrindale::emulator
