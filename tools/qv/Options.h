// Command-line options of one qv command: "--name value", "--flag" and positionals.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qv {

class Options {
public:
    // valued: options that take a value; flags: options that do not. false with a
    // message in error for an unknown option or a missing value.
    bool parse(const std::vector<std::string>& args, const std::set<std::string>& valued,
               const std::set<std::string>& flags, std::string& error);

    bool has(const std::string& name) const { return m_values.count(name) || m_flags.count(name); }
    std::string get(const std::string& name, const std::string& fallback = "") const;
    const std::vector<std::string>& positionals() const { return m_positionals; }

    // Whole numbers only (decimal, or hexadecimal after 0x); false when the text is not one
    // or is outside [lo, hi].
    static bool toInt(const std::string& text, long lo, long hi, long& value);
    static bool toDouble(const std::string& text, double& value);
    // "640x480@30" (the "@fps" part is optional; fps then stays as it is).
    static bool toMode(const std::string& text, unsigned& width, unsigned& height, unsigned& fps);

private:
    std::map<std::string, std::string> m_values;
    std::set<std::string> m_flags;
    std::vector<std::string> m_positionals;
};

}  // namespace qv
