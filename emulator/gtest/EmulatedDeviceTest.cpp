#include "EmulatedDeviceTest.h"

#include <chrono>
#include <string>

namespace orrindale::emulator {

void EmulatedDeviceTest::SetUp()
{
    const auto start = std::chrono::steady_clock::now();
    m_bed = UsbTestBed::create(testBedOptions());
    ASSERT_NE(m_bed, nullptr) << "no test bed: see the orr-emulator line above";
    const auto us =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
    RecordProperty("testbed_setup_us", std::to_string(us));
}

void EmulatedDeviceTest::TearDown() { m_bed.reset(); }

}  // namespace orrindale::emulator
