#include "UsbLocation.h"

#include <cstdlib>

namespace orrindale::emulator {

namespace {

bool parseNumber(const std::string& text, int& out)
{
    if (text.empty() || text.size() > 3) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    out = std::atoi(text.c_str());
    return true;
}

}  // namespace

std::optional<UsbLocation> UsbLocation::parse(const std::string& text)
{
    UsbLocation location;
    std::string path = text;
    const auto at = path.find('@');
    if (at != std::string::npos) {
        if (!parseNumber(path.substr(at + 1), location.address)) return std::nullopt;
        path.resize(at);
    }
    const auto dash = path.find('-');
    if (dash == std::string::npos || !parseNumber(path.substr(0, dash), location.bus)) return std::nullopt;
    std::string rest = path.substr(dash + 1);
    while (true) {
        const auto dot = rest.find('.');
        int port = 0;
        if (!parseNumber(rest.substr(0, dot), port)) return std::nullopt;
        location.ports.push_back(port);
        if (dot == std::string::npos) break;
        rest = rest.substr(dot + 1);
    }
    if (!location.valid()) return std::nullopt;
    return location;
}

std::string UsbLocation::sysfsName() const
{
    std::string name = std::to_string(bus) + "-";
    for (size_t i = 0; i < ports.size(); ++i) name += (i ? "." : "") + std::to_string(ports[i]);
    if (hiddenPortPath) name += ports.empty() ? "0" : ".0";
    return name;
}

std::string UsbLocation::portPathText() const
{
    if (hiddenPortPath) return {};
    std::string text;
    for (size_t i = 0; i < ports.size(); ++i) text += (i ? "." : "") + std::to_string(ports[i]);
    return text;
}

bool UsbLocation::valid(std::string* why) const
{
    auto fail = [why](const char* reason) {
        if (why) *why = reason;
        return false;
    };
    if (bus < 1 || bus > 255) return fail("bus number not in 1..255");
    if (address < 0 || address > 127) return fail("device address not in 0..127");
    if (address == 1) return fail("address 1 belongs to the root hub");
    if (ports.empty() && !hiddenPortPath) return fail("a device needs at least one port");
    if (ports.size() > 7) return fail("more than 7 port levels");
    for (int port : ports)
        if (port < 1 || port > 255) return fail("port number not in 1..255");
    return true;
}

}  // namespace orrindale::emulator
