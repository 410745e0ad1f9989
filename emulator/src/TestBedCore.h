// What the devices of one test bed share: umockdev's test bed, its root directory, the
// options and the bus bookkeeping.
#pragma once

#include <umockdev.h>

#include <string>

#include "TestBedOptions.h"
#include "UsbTopology.h"

namespace orrindale::emulator {

class TestBedCore {
public:
    TestBedCore(UMockdevTestbed* testbed, const TestBedOptions& options);
    TestBedCore(const TestBedCore&) = delete;
    TestBedCore& operator=(const TestBedCore&) = delete;
    ~TestBedCore();

    UMockdevTestbed* testbed() const { return m_testbed; }
    const std::string& rootDir() const { return m_rootDir; }
    const TestBedOptions& options() const { return m_options; }
    UsbTopology& topology() { return m_topology; }
    // The number of the next serial port (ttyUSB<n>): umockdev never makes a terminal node
    // of the same name twice in one test bed, so a port plugged in again takes a new one.
    int takeTtyIndex() { return m_ttyIndex++; }

private:
    UMockdevTestbed* m_testbed;
    std::string m_rootDir;
    TestBedOptions m_options;
    UsbTopology m_topology;
    int m_ttyIndex = 0;
};

}  // namespace orrindale::emulator
