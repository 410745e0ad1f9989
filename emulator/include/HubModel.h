// A USB 2.0 hub: the root hub of a bus (1d6b:0002) or an external hub (05e3:0608)
// that the test bed puts where a port path needs one. Answers the hub class requests
// that lsusb -v sends (hub descriptor, hub and port status).
#pragma once

#include "UsbDeviceModel.h"

namespace orrindale::emulator {

class HubModel : public UsbDeviceModel {
public:
    static constexpr int kPorts = 15;

    HubModel(bool rootHub, int bus);

    std::vector<uint8_t> descriptors() const override { return m_descriptors; }
    std::string stringDescriptor(uint8_t index) const override;
    int classOrVendorRequest(const ControlSetup& setup, uint8_t* data) override;
    bool rootHub() const { return m_rootHub; }

private:
    bool m_rootHub;
    int m_bus;
    std::vector<uint8_t> m_descriptors;
};

}  // namespace orrindale::emulator
