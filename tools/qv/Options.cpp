#include "Options.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace qv {

bool Options::parse(const std::vector<std::string>& args, const std::set<std::string>& valued,
                    const std::set<std::string>& flags, std::string& error)
{
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
            std::string name = a.substr(2), value;
            const auto eq = name.find('=');
            const bool inlineValue = eq != std::string::npos;
            if (inlineValue) {
                value = name.substr(eq + 1);
                name = name.substr(0, eq);
            }
            if (valued.count(name)) {
                if (!inlineValue) {
                    if (i + 1 >= args.size()) {
                        error = "option --" + name + " needs a value";
                        return false;
                    }
                    value = args[++i];
                }
                m_values[name] = value;
            } else if (flags.count(name) && !inlineValue) {
                m_flags.insert(name);
            } else {
                error = "unknown option --" + name;
                return false;
            }
        } else {
            m_positionals.push_back(a);
        }
    }
    return true;
}

std::string Options::get(const std::string& name, const std::string& fallback) const
{
    auto it = m_values.find(name);
    return it == m_values.end() ? fallback : it->second;
}

bool Options::toInt(const std::string& text, long lo, long hi, long& value)
{
    // Decimal, or hexadecimal with 0x; a leading zero does not make it octal ("010" is ten).
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const size_t digits = hex ? 2 : (!text.empty() && (text[0] == '-' || text[0] == '+')) ? 1 : 0;
    if (text.size() <= digits || !std::isxdigit(static_cast<unsigned char>(text[digits]))) return false;
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || *end != '\0' || v < lo || v > hi) return false;
    value = v;
    return true;
}

bool Options::toDouble(const std::string& text, double& value)
{
    if (text.empty() || !(std::isdigit(static_cast<unsigned char>(text[0])) || text[0] == '.')) return false;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !std::isfinite(v) || v < 0) return false;
    value = v;
    return true;
}

bool Options::toMode(const std::string& text, unsigned& width, unsigned& height, unsigned& fps)
{
    const auto x = text.find('x');
    if (x == std::string::npos) return false;
    const auto at = text.find('@');
    long w = 0, h = 0, f = 0;
    if (!toInt(text.substr(0, x), 1, 10000, w)) return false;
    if (!toInt(text.substr(x + 1, at == std::string::npos ? std::string::npos : at - x - 1), 1, 10000, h)) return false;
    if (at != std::string::npos) {
        if (!toInt(text.substr(at + 1), 1, 1000, f)) return false;
        fps = static_cast<unsigned>(f);
    }
    width = static_cast<unsigned>(w);
    height = static_cast<unsigned>(h);
    return true;
}

}  // namespace qv
