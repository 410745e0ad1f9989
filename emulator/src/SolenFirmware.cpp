#include "SolenFirmware.h"

#include <cstdio>
#include <cstdlib>
#include <set>

namespace orrindale::emulator {

namespace {

constexpr size_t kLongReplyLength = 160;

struct NumberSetting {
    const char* key;
    int SolenSettings::*field;
    int low;
    int high;
};

const NumberSetting kNumbers[] = {
    {"E", &SolenSettings::aeMode, 0, 99},          {"C", &SolenSettings::clMode, 0, 99},
    {"P", &SolenSettings::pwmDuty, 0, 100},        {"T", &SolenSettings::lightingTime, 0, 9999},
    {"SD", &SolenSettings::sdLevel, 0, 99},        {"TD", &SolenSettings::tdLevel, 0, 99},
    {"TF", &SolenSettings::temperatureCompensation, 0, 1}, {"F", &SolenSettings::fps, 5, 30},
    {"S", &SolenSettings::streamType, 0, 2},
};

const NumberSetting* numberSetting(const std::string& key)
{
    for (const NumberSetting& setting : kNumbers)
        if (key == setting.key) return &setting;
    return nullptr;
}

// A whole decimal number; false for anything else.
bool decimal(const std::string& text, int& value)
{
    if (text.empty() || text.size() > 6) return false;
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0') return false;
    value = int(parsed);
    return true;
}

bool printable(const std::string& text)
{
    for (char c : text)
        if (c <= 0x20 || c >= 0x7F) return false;
    return true;
}

std::vector<uint8_t> bytesOf(const std::string& text, bool terminate)
{
    std::vector<uint8_t> bytes(text.begin(), text.end());
    if (terminate) bytes.push_back(0);
    return bytes;
}

}  // namespace

SolenFirmware::SolenFirmware(const SolenSettings& settings) : m_settings(settings) {}

std::vector<SolenAnswer> SolenFirmware::receive(const uint8_t* data, size_t length)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<SolenAnswer> answers;
    for (size_t i = 0; i < length; ++i) {
        m_partial.push_back(char(data[i]));
        if (data[i] != 0) continue;
        m_requests.push_back(m_partial);
        const std::string request = m_partial.substr(0, m_partial.size() - 1);
        m_partial.clear();
        answers.push_back(shape(answerText(request)));
    }
    return answers;
}

SolenAnswer SolenFirmware::shape(std::string text)
{
    SolenAnswer answer;
    if (m_misbehaving == 0) {
        answer.pieces.push_back(bytesOf(text, true));
        return answer;
    }
    if (m_misbehaving > 0) --m_misbehaving;
    switch (m_misbehaviour) {
    case SolenMisbehaviour::ErrReply:
        answer.pieces.push_back(bytesOf("ERR:BUSY", true));
        break;
    case SolenMisbehaviour::FailReply:
        answer.pieces.push_back(bytesOf(text + ",FAIL", true));
        break;
    case SolenMisbehaviour::EmptyReply:
        answer.pieces.push_back(bytesOf("", true));
        break;
    case SolenMisbehaviour::Silence:
        break;
    case SolenMisbehaviour::LongReply:
        text += ",";
        while (text.size() < kLongReplyLength) text += char('a' + text.size() % 26);
        answer.pieces.push_back(bytesOf(text, true));
        break;
    case SolenMisbehaviour::SplitReply: {
        const std::vector<uint8_t> whole = bytesOf(text, true);
        const size_t half = whole.size() / 2;
        answer.pieces.emplace_back(whole.begin(), whole.begin() + long(half));
        answer.pieces.emplace_back(whole.begin() + long(half), whole.end());
        break;
    }
    }
    return answer;
}

std::string SolenFirmware::answerText(const std::string& request)
{
    const size_t colon = request.find(':');
    const size_t equals = request.find('=');
    if (colon == std::string::npos || equals == std::string::npos || equals < colon)
        return "ERR:UNKNOWN " + request;
    const std::string verb = request.substr(0, colon);
    const std::string key = request.substr(colon + 1, equals - colon - 1);
    const std::string value = request.substr(equals + 1);
    if (verb == "ARG WRITE") return writeSetting(key, value);
    if (verb == "ARG READ" && value.empty()) return readSetting(key);
    if (verb == "I2C WRITE" && key == "K") {
        unsigned reg = 0, byte = 0;
        char tail = 0;
        if (value.size() != 7 || std::sscanf(value.c_str(), "%4x:%2x%c", &reg, &byte, &tail) != 2)
            return "WRITE FAIL:K";
        m_settings.sensorRegisters[int(reg)] = int(byte);
        return "OK";
    }
    return "ERR:UNKNOWN " + request;
}

std::string SolenFirmware::writeSetting(const std::string& key, const std::string& value)
{
    if (const NumberSetting* setting = numberSetting(key)) {
        static const std::set<int> rates = {5, 10, 15, 20, 25, 30};
        int number = 0;
        if (!decimal(value, number) || number < setting->low || number > setting->high ||
            (key == "F" && rates.count(number) == 0))
            return "WRITE FAIL:" + key;
        m_settings.*(setting->field) = number;
        return "OK";
    }
    if (key == "SN") {
        if (value.empty() || value.size() > 63 || !printable(value)) return "WRITE FAIL:SN";
        m_settings.serialNumber = value;
        return "OK";
    }
    if (key == "RST" && value.empty()) {
        ++m_settings.reboots;
        return "OK";
    }
    return "ERR:UNKNOWN " + key;
}

std::string SolenFirmware::readSetting(const std::string& key) const
{
    if (const NumberSetting* setting = numberSetting(key))
        return "READ OK:" + std::to_string(m_settings.*(setting->field)) + "," + key;
    if (key == "SN") return "READ OK:SN=" + m_settings.serialNumber;
    if (key == "HF") return "READ OK:HF=" + m_settings.himaxVersion;
    if (key == "V") return "READ OK:V=" + m_settings.firmwareParts;
    if (key == "PA") return "READ OK:PA=" + m_settings.calibration;
    return "ERR:UNKNOWN " + key;
}

SolenSettings SolenFirmware::settings() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_settings;
}

void SolenFirmware::setSettings(const SolenSettings& settings)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_settings = settings;
}

std::vector<std::string> SolenFirmware::requests() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

void SolenFirmware::clearRequests()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.clear();
}

void SolenFirmware::misbehave(SolenMisbehaviour what, int count)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_misbehaviour = what;
    m_misbehaving = count;
}

void SolenFirmware::behave()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_misbehaving = 0;
}

}  // namespace orrindale::emulator
