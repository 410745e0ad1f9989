// GoogleTest fixture giving each test a fresh test bed. Tests add devices, then create
// their libusb/libuvc contexts (after the test bed, never before), and end them before
// the test returns.
//
//   class MyTest : public orrindale::emulator::EmulatedDeviceTest {};
//   TEST_F(MyTest, Streams) { auto* cam = bed().addFl30c(UsbLocation(1, {4}, 5)); ... }
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "UsbTestBed.h"

namespace orrindale::emulator {

class EmulatedDeviceTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Options of the test bed; a fixture may override them.
    virtual TestBedOptions testBedOptions() const { return TestBedOptions(); }

    UsbTestBed& bed() { return *m_bed; }

private:
    std::unique_ptr<UsbTestBed> m_bed;
};

}  // namespace orrindale::emulator
