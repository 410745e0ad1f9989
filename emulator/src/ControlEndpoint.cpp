#include "ControlEndpoint.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "UsbDeviceModel.h"

namespace orrindale::emulator {

namespace {

constexpr uint8_t kGetStatus = 0x00;
constexpr uint8_t kClearFeature = 0x01;
constexpr uint8_t kSetFeature = 0x03;
constexpr uint8_t kGetDescriptor = 0x06;
constexpr uint8_t kGetConfiguration = 0x08;
constexpr uint8_t kSetConfiguration = 0x09;
constexpr uint8_t kGetInterface = 0x0A;
constexpr uint8_t kSetInterface = 0x0B;
constexpr uint16_t kEndpointHalt = 0;

int copyOut(uint8_t* data, int room, const std::vector<uint8_t>& bytes)
{
    const int n = std::min<int>(room, int(bytes.size()));
    if (n > 0) std::memcpy(data, bytes.data(), size_t(n));
    return n;
}

std::vector<uint8_t> stringDescriptorBytes(const std::string& text)
{
    std::vector<uint8_t> bytes{0, 0x03};
    // ASCII to UTF-16LE; a descriptor holds at most 126 characters.
    for (size_t i = 0; i < text.size() && bytes.size() + 2 <= 254; ++i) {
        bytes.push_back(uint8_t(text[i]));
        bytes.push_back(0);
    }
    bytes[0] = uint8_t(bytes.size());
    return bytes;
}

}  // namespace

int ControlEndpoint::handle(const ControlSetup& setup, uint8_t* data)
{
    ControlRecord entry;
    entry.setup = setup;
    if (!setup.deviceToHost() && setup.length > 0) entry.data.assign(data, data + setup.length);

    int result = 0;
    const auto fault = std::find_if(m_faults.begin(), m_faults.end(),
                                    [&setup](const auto& f) { return f.first.matches(setup); });
    if (fault != m_faults.end())
        result = fault->second == ControlFault::Stall ? kTransferStall : kTransferNotReady;
    else if (setup.type() == 0)
        result = standardRequest(setup, data);
    else
        result = m_model.classOrVendorRequest(setup, data);

    if (result >= 0) result = std::min<int>(result, setup.length);
    if (setup.deviceToHost() && result > 0) entry.data.assign(data, data + result);
    entry.result = result;
    m_record.push_back(std::move(entry));
    return result;
}

int ControlEndpoint::standardRequest(const ControlSetup& setup, uint8_t* data)
{
    const int room = setup.length;
    switch (setup.request) {
    case kGetDescriptor:
        return getDescriptor(setup, data);
    case kGetStatus: {
        uint8_t status[2] = {0, 0};
        if (setup.recipient() == 2 && endpointHalted(uint8_t(setup.index))) status[0] = 1;
        if (setup.recipient() == 0) {
            const auto config = configuration(0);
            if (config.size() > 7 && (config[7] & 0x40)) status[0] = 1;  // self-powered
        }
        return copyOut(data, room, {status[0], status[1]});
    }
    case kClearFeature:
        if (setup.recipient() == 2 && setup.value == kEndpointHalt) {
            const uint8_t endpoint = uint8_t(setup.index);
            m_halted &= ~(1u << endpointBit(endpoint));
            m_model.endpointHaltCleared(endpoint);
        }
        return 0;
    case kSetFeature:
        if (setup.recipient() == 2 && setup.value == kEndpointHalt) haltEndpoint(uint8_t(setup.index));
        return 0;
    case kGetConfiguration:
        return copyOut(data, room, {uint8_t(m_configuration)});
    case kSetConfiguration:
        m_configuration = setup.value & 0xff;
        return 0;
    case kGetInterface:
        return copyOut(data, room, {uint8_t(m_alternate[setup.index & 31])});
    case kSetInterface:
        setAlternate(setup.index & 31, setup.value);
        return 0;
    default:
        return kTransferStall;
    }
}

int ControlEndpoint::getDescriptor(const ControlSetup& setup, uint8_t* data)
{
    const int type = setup.value >> 8;
    const int index = setup.value & 0xff;
    const auto all = m_model.descriptors();
    switch (type) {
    case 0x01:  // device
        return copyOut(data, setup.length, std::vector<uint8_t>(all.begin(), all.begin() + std::min<size_t>(18, all.size())));
    case 0x02: {  // configuration
        const auto config = configuration(index);
        if (config.empty()) return kTransferStall;
        return copyOut(data, setup.length, config);
    }
    case 0x03: {  // string
        if (index == 0) return copyOut(data, setup.length, {4, 0x03, 0x09, 0x04});  // English (US)
        const std::string text = m_model.stringDescriptor(uint8_t(index));
        if (text.empty()) return kTransferStall;
        return copyOut(data, setup.length, stringDescriptorBytes(text));
    }
    case 0x06: {  // device qualifier: how the device would look at the other speed
        if (all.size() < 18 || all[3] < 0x02) return kTransferStall;
        return copyOut(data, setup.length, {10, 0x06, all[2], all[3], all[4], all[5], all[6], all[7], all[17], 0});
    }
    default:
        return kTransferStall;
    }
}

std::vector<uint8_t> ControlEndpoint::configuration(int index) const
{
    const auto all = m_model.descriptors();
    size_t offset = all.empty() ? 0 : all[0];
    for (int i = 0; offset + 4 <= all.size(); ++i) {
        const size_t total = size_t(all[offset + 2] | (all[offset + 3] << 8));
        if (total < 9 || offset + total > all.size()) break;
        if (i == index) return std::vector<uint8_t>(all.begin() + long(offset), all.begin() + long(offset + total));
        offset += total;
    }
    return {};
}

void ControlEndpoint::setAlternate(int interfaceNumber, int alternate)
{
    m_alternate[interfaceNumber & 31] = alternate;
    m_model.alternateSettingSelected(interfaceNumber, alternate);
}

bool ControlEndpoint::endpointHalted(uint8_t endpoint) const { return (m_halted >> endpointBit(endpoint)) & 1u; }

void ControlEndpoint::haltEndpoint(uint8_t endpoint)
{
    if ((endpoint & 0x0f) != 0) m_halted |= 1u << endpointBit(endpoint);
}

void ControlEndpoint::reset()
{
    m_halted = 0;
    std::fill(std::begin(m_alternate), std::end(m_alternate), 0);
    m_configuration = 1;
}

int ControlEndpoint::endpointBit(uint8_t endpoint) { return (endpoint & 0x0f) + ((endpoint & 0x80) ? 16 : 0); }

}  // namespace orrindale::emulator
