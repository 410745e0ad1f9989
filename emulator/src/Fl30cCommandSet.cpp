#include "Fl30cCommandSet.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace orrindale::emulator {

namespace {

constexpr uint8_t kGainTable[28][2] = {
    {0x03, 0x20}, {0x23, 0x24}, {0x23, 0x35}, {0x27, 0x24}, {0x27, 0x2D}, {0x27, 0x35}, {0x27, 0x3E},
    {0x2F, 0x24}, {0x2F, 0x28}, {0x2F, 0x2D}, {0x2F, 0x31}, {0x2F, 0x35}, {0x2F, 0x3A}, {0x2F, 0x3E},
    {0x3F, 0x22}, {0x3F, 0x24}, {0x3F, 0x26}, {0x3F, 0x28}, {0x3F, 0x2A}, {0x3F, 0x2D}, {0x3F, 0x2F},
    {0x3F, 0x31}, {0x3F, 0x33}, {0x3F, 0x35}, {0x3F, 0x38}, {0x3F, 0x3A}, {0x3F, 0x3C}, {0x3F, 0x3E},
};

// The text of a payload: from byte 0 up to the first zero or the end.
std::string payloadText(const uint8_t* payload, int length)
{
    std::string text;
    for (int i = 0; i < length && payload[i] != 0; ++i) text += char(payload[i]);
    return text;
}

// A whole decimal number, as "%d" writes it.
bool parseDecimal(const std::string& text, int& value)
{
    if (text.empty()) return false;
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || parsed < -1000000 || parsed > 1000000) return false;
    value = int(parsed);
    return true;
}

}  // namespace

int Fl30cCommandSet::gainOf(uint8_t coarse, uint8_t fine)
{
    for (int i = 0; i < 28; ++i)
        if (kGainTable[i][0] == coarse && kGainTable[i][1] == fine) return i + 1;
    return 0;
}

std::optional<std::pair<uint8_t, uint8_t>> Fl30cCommandSet::registersOf(int gain)
{
    if (gain < 1 || gain > 28) return std::nullopt;
    return std::make_pair(kGainTable[gain - 1][0], kGainTable[gain - 1][1]);
}

std::optional<std::pair<int, int>> Fl30cCommandSet::mjpegSizeOf(const std::string& version)
{
    std::vector<std::string> fields;
    size_t start = 0;
    while (true) {
        const size_t colon = version.find(':', start);
        fields.push_back(version.substr(start, colon - start));
        if (colon == std::string::npos) break;
        start = colon + 1;
    }
    if (fields.size() < 3) return std::nullopt;
    const std::string kind = fields[2].substr(0, 3);
    if (kind == "H01" || kind == "H02" || kind == "L01" || kind == "L02") return std::make_pair(640, 480);
    if (kind == "H03" || kind == "H04" || kind == "L03" || kind == "L04") return std::make_pair(640, 360);
    if (kind == "001") return std::make_pair(1280, 720);
    return std::nullopt;
}

void Fl30cCommandSet::setEcho(uint8_t code, std::optional<uint8_t> echo)
{
    if (echo)
        m_echo[code] = *echo;
    else
        m_echo.erase(code);
}

bool Fl30cCommandSet::write(uint8_t code, const uint8_t* payload, int length)
{
    Fl30cSettings& s = m_settings;
    const std::string text = payloadText(payload, length);
    int value = 0;
    switch (code) {
    case 0x29:  // serial number: the characters themselves
        if (text.empty() || text.size() > 63) return false;
        s.serialNumber = text;
        return true;
    case 0x33:  // reboot: 64 zero bytes
        ++s.reboots;
        return true;
    case 0x47: {  // gain: one sensor register per write
        unsigned data = 0;
        char tail = 0;
        if (std::sscanf(text.c_str(), "S=C0,R2=3e08,D=%2x%c", &data, &tail) == 1) {
            s.gainCoarse = uint8_t(data);
            return true;
        }
        if (std::sscanf(text.c_str(), "S=C0,R2=3e09,D=%2x%c", &data, &tail) == 1) {
            s.gainFine = uint8_t(data);
            return true;
        }
        return false;
    }
    default:
        break;
    }
    if (!parseDecimal(text, value)) return false;
    switch (code) {
    case 0x20:
        if (value < 0 || value > 2) return false;
        s.streamMode = Fl30cStreamMode(value);
        return true;
    case 0x22:
        s.lightingTime = value;
        return true;
    case 0x23:
        s.aeMode = value;
        return true;
    case 0x24:
        s.confidenceLevel = value;
        return true;
    case 0x36:
        s.currentIntensity = value;
        return true;
    case 0x48:
        if (value != 0 && value != 1) return false;
        s.temperatureDrift = value;
        return true;
    case 0x51:
        s.temporalDenoise = value;
        return true;
    case 0x52:
        s.spatialDenoise = value;
        return true;
    case 0x54:
        if (value < 1 || value > 60) return false;
        s.frameRate = value;
        return true;
    default:
        return false;
    }
}

std::string Fl30cCommandSet::replyText(uint8_t code, bool& known) const
{
    const Fl30cSettings& s = m_settings;
    known = true;
    char text[64];
    auto number = [&text](int v) {
        std::snprintf(text, sizeof text, "%d", v);
        return std::string(text);
    };
    auto temperature = [&text](float t) {
        std::snprintf(text, sizeof text, "%.2f", double(t));
        return std::string(text);
    };
    switch (code) {
    case 0x20:
        return number(int(s.streamMode));
    case 0x22:
        return number(s.lightingTime);
    case 0x23:
        return number(s.aeMode);
    case 0x24:
        return number(s.confidenceLevel);
    case 0x26:
        return temperature(s.temperatures[0]);
    case 0x27:
        return s.firmwareVersion;
    case 0x28:
        return s.himaxVersion;
    case 0x29:
        return "SN=" + s.serialNumber;
    case 0x2C:
        return temperature(s.temperatures[1]);
    case 0x36:
        return number(s.currentIntensity);
    case 0x37:
        return temperature(s.temperatures[2]);
    case 0x47:
        return number(gainOf(s.gainCoarse, s.gainFine));
    case 0x48:
        return number(s.temperatureDrift);
    case 0x51:
        return number(s.temporalDenoise);
    case 0x52:
        return number(s.spatialDenoise);
    case 0x54:
        return number(s.frameRate);
    default:
        known = false;
        return {};
    }
}

bool Fl30cCommandSet::read(uint8_t code, uint8_t* reply)
{
    bool known = false;
    const std::string text = replyText(code, known);
    if (!known) return false;
    std::memset(reply, 0, kPayload);
    const auto echo = m_echo.find(code);
    reply[0] = echo != m_echo.end() ? echo->second : code;
    std::memcpy(reply + 1, text.data(), std::min<size_t>(text.size(), kPayload - 2));
    return true;
}

}  // namespace orrindale::emulator
