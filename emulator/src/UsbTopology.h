// Bookkeeping of the emulated buses: which sysfs names (positions) and which device
// addresses are taken. Devices take the lowest free address from 2 up unless the test
// chooses one; hubs the test bed adds take the highest free one from 127 down, so they
// rarely collide with the addresses tests choose.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

namespace orrindale::emulator {

class UsbTopology {
public:
    bool positionTaken(const std::string& sysfsName) const { return m_positions.count(sysfsName) != 0; }
    bool addressTaken(int bus, int address) const { return m_addresses.count({bus, address}) != 0; }
    // 0 when the bus is full.
    int lowestFreeAddress(int bus) const;
    int highestFreeAddress(int bus) const;
    void take(int bus, int address, const std::string& sysfsName, bool hub);
    void release(int bus, int address, const std::string& sysfsName);
    void moveAddress(int bus, int from, int to);
    bool isHub(const std::string& sysfsName) const;

private:
    std::set<std::pair<int, int>> m_addresses;
    std::map<std::string, bool> m_positions;  // sysfs name -> is a hub
};

}  // namespace orrindale::emulator
