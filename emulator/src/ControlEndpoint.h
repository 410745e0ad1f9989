// Endpoint 0 of an emulated device: answers the standard requests from the model's
// descriptors, applies the faults a test set, records every request, keeps the halt
// state of the other endpoints and passes class and vendor requests to the model.
// Every call is made with the model's mutex held.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "UsbControlTypes.h"

namespace orrindale::emulator {

class UsbDeviceModel;

class ControlEndpoint {
public:
    explicit ControlEndpoint(UsbDeviceModel& model) : m_model(model) {}

    // Answers one request; `data` has room for setup.length bytes. Returns the bytes
    // transferred, kTransferStall, or kTransferNotReady (no response).
    int handle(const ControlSetup& setup, uint8_t* data);

    bool endpointHalted(uint8_t endpoint) const;
    void haltEndpoint(uint8_t endpoint);
    // A new connection: alternate settings and halts back to their power-on state.
    void reset();

    const std::vector<ControlRecord>& record() const { return m_record; }
    void clearRecord() { m_record.clear(); }
    void setFault(const ControlMatch& match, ControlFault fault) { m_faults.emplace_back(match, fault); }
    void clearFaults() { m_faults.clear(); }

private:
    int standardRequest(const ControlSetup& setup, uint8_t* data);
    int getDescriptor(const ControlSetup& setup, uint8_t* data);
    // The configuration descriptor with index `index` (whole, wTotalLength bytes).
    std::vector<uint8_t> configuration(int index) const;
    void setAlternate(int interfaceNumber, int alternate);
    static int endpointBit(uint8_t endpoint);

    UsbDeviceModel& m_model;
    std::vector<ControlRecord> m_record;
    std::vector<std::pair<ControlMatch, ControlFault>> m_faults;
    uint32_t m_halted = 0;  // bit (endpoint & 0x0f) + 16 for IN
    int m_alternate[32] = {};
    int m_configuration = 1;
};

}  // namespace orrindale::emulator
