#include "SolenReply.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>

bool SolenReply::accepted() const
{
    return !m_text.empty() && m_text.find("ERR") == std::string::npos && m_text.find("FAIL") == std::string::npos;
}

bool SolenReply::number(int& value) const
{
    const std::string cut = m_text.substr(0, m_text.find(','));
    if (cut.size() <= kNumberIndex) return false;
    const char* start = cut.c_str() + kNumberIndex;
    char* end = nullptr;
    errno = 0;
    const long parsed = std::strtol(start, &end, 10);
    if (end == start || errno == ERANGE || parsed < INT32_MIN || parsed > INT32_MAX) return false;
    value = static_cast<int>(parsed);
    return true;
}

bool SolenReply::textAfterKey(const std::string& key, std::string& value) const
{
    const std::string marker = key + "=";
    const size_t at = m_text.find(marker);
    if (at == std::string::npos) return false;
    value = m_text.substr(at + marker.size());
    while (!value.empty() && (value.back() == '\n' || value.back() == '\r')) value.pop_back();
    return true;
}
