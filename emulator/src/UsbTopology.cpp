#include "UsbTopology.h"

namespace orrindale::emulator {

int UsbTopology::lowestFreeAddress(int bus) const
{
    for (int address = 2; address <= 127; ++address)
        if (!addressTaken(bus, address)) return address;
    return 0;
}

int UsbTopology::highestFreeAddress(int bus) const
{
    for (int address = 127; address >= 2; --address)
        if (!addressTaken(bus, address)) return address;
    return 0;
}

void UsbTopology::take(int bus, int address, const std::string& sysfsName, bool hub)
{
    m_addresses.insert({bus, address});
    m_positions[sysfsName] = hub;
}

void UsbTopology::release(int bus, int address, const std::string& sysfsName)
{
    m_addresses.erase({bus, address});
    m_positions.erase(sysfsName);
}

void UsbTopology::moveAddress(int bus, int from, int to)
{
    m_addresses.erase({bus, from});
    m_addresses.insert({bus, to});
}

bool UsbTopology::isHub(const std::string& sysfsName) const
{
    const auto it = m_positions.find(sysfsName);
    return it != m_positions.end() && it->second;
}

}  // namespace orrindale::emulator
