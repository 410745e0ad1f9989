// main() of the emulated-device test programs: re-executes under the umockdev preload,
// then runs the tests. Test beds go to tmpfs (TestBedOptions::tmpfs).
#include <gtest/gtest.h>

#include "PreloadEnvironment.h"

int main(int argc, char** argv)
{
    if (!orrindale::emulator::PreloadEnvironment::ensure(argv)) return 1;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
