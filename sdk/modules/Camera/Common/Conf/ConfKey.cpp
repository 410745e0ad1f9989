#include "ConfKey.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "CameraConfResult.h"
#include "Logger.h"

namespace orrindale::sdk {

namespace {

bool isWholeNumber(const cJSON* item)
{
    if (!cJSON_IsNumber(item)) return false;
    const double value = item->valuedouble;
    return std::isfinite(value) && std::trunc(value) == value;
}

std::string describe(const cJSON* item)
{
    if (cJSON_IsNumber(item)) {
        std::ostringstream text;
        text << item->valuedouble;
        return text.str();
    }
    if (cJSON_IsString(item)) return "a string";
    if (cJSON_IsBool(item)) return "a boolean";
    if (cJSON_IsNull(item)) return "null";
    if (cJSON_IsArray(item)) return "an array";
    if (cJSON_IsObject(item)) return "an object";
    return "an invalid value";
}

}  // namespace

ConfKey::ConfKey(std::initializer_list<const char*> path, bool* flagField, int32_t* intField, int32_t min,
                 int32_t max, std::vector<int32_t> allowed)
    : m_path(path), m_flag(flagField), m_int(intField), m_min(min), m_max(max), m_allowed(std::move(allowed))
{
}

ConfKey ConfKey::flag(std::initializer_list<const char*> path, bool& field)
{
    return ConfKey(path, &field, nullptr, 0, 0, {});
}

ConfKey ConfKey::integer(std::initializer_list<const char*> path, int32_t& field, int32_t min, int32_t max)
{
    return ConfKey(path, nullptr, &field, min, max, {});
}

ConfKey ConfKey::oneOf(std::initializer_list<const char*> path, int32_t& field, std::vector<int32_t> allowed)
{
    return ConfKey(path, nullptr, &field, 0, 0, std::move(allowed));
}

int ConfKey::read(const cJSON* module) const
{
    const cJSON* item = module;
    for (std::size_t i = 0; i < m_path.size(); ++i) {
        if (!cJSON_IsObject(item)) {
            // Only an enclosing object can be of the wrong kind here; the module itself is checked
            // when it is looked up.
            std::string enclosing;
            for (std::size_t j = 0; j < i; ++j) enclosing += (j ? "/" : "") + std::string(m_path[j]);
            QV_LOGE("\"", enclosing, "\" must be an object");
            return CONF_ERR_VALUE;
        }
        item = cJSON_GetObjectItemCaseSensitive(item, m_path[i]);
        if (item == nullptr) return CONF_OK;
    }
    if (m_flag != nullptr) {
        if (cJSON_IsBool(item)) {
            *m_flag = cJSON_IsTrue(item);
            return CONF_OK;
        }
        if (isWholeNumber(item)) {
            *m_flag = item->valuedouble != 0.0;
            return CONF_OK;
        }
    } else if (isWholeNumber(item)) {
        const double value = item->valuedouble;
        const bool fits = m_allowed.empty()
                              ? value >= m_min && value <= m_max
                              : std::any_of(m_allowed.begin(), m_allowed.end(), [value](int32_t v) { return v == value; });
        if (fits) {
            *m_int = static_cast<int32_t>(value);
            return CONF_OK;
        }
    }
    QV_LOGE("\"", pathText(), "\" must be ", expectation(), ", got ", describe(item));
    return CONF_ERR_VALUE;
}

int ConfKey::readAll(const cJSON* module, const std::vector<ConfKey>& keys)
{
    for (const auto& key : keys) {
        const int ret = key.read(module);
        if (ret != CONF_OK) return ret;
    }
    return CONF_OK;
}

std::string ConfKey::pathText() const
{
    std::string text;
    for (const char* part : m_path) {
        if (!text.empty()) text += '/';
        text += part;
    }
    return text;
}

std::string ConfKey::valueText() const
{
    if (m_flag != nullptr) return *m_flag ? "true" : "false";
    return std::to_string(*m_int);
}

std::string ConfKey::expectation() const
{
    std::ostringstream text;
    if (m_flag != nullptr) {
        text << "a whole number or true/false";
    } else if (!m_allowed.empty()) {
        text << "one of ";
        for (std::size_t i = 0; i < m_allowed.size(); ++i) text << (i ? ", " : "") << m_allowed[i];
    } else if (m_min == std::numeric_limits<int32_t>::min() && m_max == std::numeric_limits<int32_t>::max()) {
        text << "a whole number";
    } else if (m_max == std::numeric_limits<int32_t>::max()) {
        text << "a whole number of at least " << m_min;
    } else {
        text << "a whole number from " << m_min << " to " << m_max;
    }
    return text.str();
}

}  // namespace orrindale::sdk
