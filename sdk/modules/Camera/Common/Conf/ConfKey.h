// One key of a module object bound to a field of a parameter record: where it is, what it
// may hold, and how to read it. A model reader's list of keys is its document table.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

struct cJSON;

namespace orrindale::sdk {

class ConfKey {
public:
    // A switch: a whole number (non-zero is on) or true/false.
    static ConfKey flag(std::initializer_list<const char*> path, bool& field);
    // A whole number within [min, max].
    static ConfKey integer(std::initializer_list<const char*> path, int32_t& field,
                           int32_t min = std::numeric_limits<int32_t>::min(),
                           int32_t max = std::numeric_limits<int32_t>::max());
    // A whole number from a fixed set.
    static ConfKey oneOf(std::initializer_list<const char*> path, int32_t& field, std::vector<int32_t> allowed);

    // Reads the key below module into the field. An absent key (or absent enclosing object)
    // keeps the field; a wrong type or value logs one ERROR line and returns CONF_ERR_VALUE.
    int read(const cJSON* module) const;
    // Reads every key in order; stops at the first failure.
    static int readAll(const cJSON* module, const std::vector<ConfKey>& keys);

    std::string pathText() const;   // e.g. "DepthProcess/Denoise/enable"
    std::string valueText() const;  // the field's current value: "true", "false" or a number

private:
    ConfKey(std::initializer_list<const char*> path, bool* flagField, int32_t* intField, int32_t min, int32_t max,
            std::vector<int32_t> allowed);
    std::string expectation() const;

    std::vector<const char*> m_path;
    bool* m_flag;
    int32_t* m_int;
    int32_t m_min;
    int32_t m_max;
    std::vector<int32_t> m_allowed;
};

}  // namespace orrindale::sdk
