// How a reply of the Solen firmware is judged and read: accepted unless empty or naming
// "ERR" or "FAIL"; a number at index 8 (the reply cut at its first ','); a text after
// its key.
#pragma once

#include <string>

class SolenReply {
public:
    // Index of the first character of a numeric reply's number.
    static constexpr size_t kNumberIndex = 8;

    explicit SolenReply(const char* text) : m_text(text) {}

    const std::string& text() const { return m_text; }
    // Not empty and neither "ERR" nor "FAIL" anywhere in it.
    bool accepted() const;
    // The decimal number at index 8 of the reply cut at its first ','; false when none is there.
    bool number(int& value) const;
    // The text after "<key>=" (line end dropped); false when the key is not in the reply.
    bool textAfterKey(const std::string& key, std::string& value) const;

private:
    std::string m_text;
};
