// One flat JSON object, built field by field.
#pragma once

#include <cstdint>
#include <string>

namespace qv {

class JsonText {
public:
    void add(const std::string& key, const std::string& value);
    void add(const std::string& key, const char* value) { add(key, std::string(value ? value : "")); }
    void add(const std::string& key, int value);
    void add(const std::string& key, double value);
    void addRaw(const std::string& key, const std::string& json);
    std::string text() const { return "{" + m_body + "}"; }

    static std::string quote(const std::string& text);
    static std::string hex4(uint32_t value);

private:
    void key(const std::string& k);
    std::string m_body;
};

}  // namespace qv
