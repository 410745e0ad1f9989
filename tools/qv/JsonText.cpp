#include "JsonText.h"

#include <cstdio>

namespace qv {

std::string JsonText::quote(const std::string& text)
{
    std::string q = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            q += '\\';
            q += static_cast<char>(c);
        } else if (c < 0x20) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            q += esc;
        } else {
            q += static_cast<char>(c);
        }
    }
    return q + "\"";
}

std::string JsonText::hex4(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%04x", value);
    return text;
}

void JsonText::key(const std::string& k)
{
    if (!m_body.empty()) m_body += ", ";
    m_body += quote(k) + ": ";
}

void JsonText::add(const std::string& k, const std::string& value)
{
    key(k);
    m_body += quote(value);
}

void JsonText::add(const std::string& k, int value)
{
    key(k);
    m_body += std::to_string(value);
}

void JsonText::add(const std::string& k, double value)
{
    key(k);
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", value);
    m_body += text;
}

void JsonText::addRaw(const std::string& k, const std::string& json)
{
    key(k);
    m_body += json;
}

}  // namespace qv
