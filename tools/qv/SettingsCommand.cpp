#include "SettingsCommand.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <functional>

#include "CameraCatalog.h"
#include "Console.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"
#include "qv_camera_sdk_solen.h"

namespace qv {

namespace {

const std::set<std::string> kSelectors = {"index", "serial", "bus", "port-path"};

// The cameras whose settings qv knows.
enum class Family { Fl30c, Solen, None };

Family familyOf(CAMERA_MODEL_E model)
{
    switch (model) {
    case CAMERA_MODEL_FL30C:
        return Family::Fl30c;
    case CAMERA_MODEL_GM80:
    case CAMERA_MODEL_G700:
    case CAMERA_MODEL_FL30:
    case CAMERA_MODEL_FL30V:
        return Family::Solen;
    default:
        return Family::None;
    }
}

const char* familyName(Family family) { return family == Family::Fl30c ? "Fl30c" : "Solen"; }

// A number written to a camera: a range, or the values allowed.
struct NumberSetting {
    const char* name;
    Family family;
    long lo, hi;
    std::vector<long> allowed;  // empty: every value of the range
    const char* meaning;        // empty: the name says it
    int (*set)(void*, int);
    int (*get)(void*, int&);  // null: written only

    bool accepts(long value) const
    {
        return value >= lo && value <= hi &&
               (allowed.empty() || std::find(allowed.begin(), allowed.end(), value) != allowed.end());
    }
    std::string constraint() const
    {
        if (allowed.empty()) return "a whole number from " + std::to_string(lo) + " to " + std::to_string(hi);
        std::string text;
        for (size_t i = 0; i < allowed.size(); ++i)
            text += (i == 0 ? "" : i + 1 == allowed.size() ? " or " : ", ") + std::to_string(allowed[i]);
        return text;
    }
};

int setTdc(void* h, int v) { return QV_FL30C_SetTemperatureDriftCompensation(h, v != 0); }
int setTc(void* h, int v) { return QV_Solen_SetTemperatureCompensation(h, v != 0); }

const std::vector<NumberSetting>& numberSettings()
{
    static const std::vector<NumberSetting> table = {
        {"gain", Family::Fl30c, 1, 28, {}, "sensor gain, 1..28", QV_FL30C_SetGain, QV_FL30C_GetGain},
        {"ae", Family::Fl30c, 0, 255, {}, "auto-exposure mode", QV_FL30C_SetAeMode, QV_FL30C_GetAeMode},
        {"lighting-time", Family::Fl30c, 0, 65535, {}, "lighting time", QV_FL30C_SetLightingTime,
         QV_FL30C_GetLightingTime},
        {"current", Family::Fl30c, 0, 65535, {}, "projector current intensity", QV_FL30C_SetCurrentIntensity,
         QV_FL30C_GetCurrentIntensity},
        {"confidence", Family::Fl30c, 0, 255, {}, "depth confidence level", QV_FL30C_SetConfidenceLevel,
         QV_FL30C_GetConfidenceLevel},
        {"sd", Family::Fl30c, 0, 255, {}, "spatial denoise level", QV_FL30C_SetSdLevel, QV_FL30C_GetSdLevel},
        {"td", Family::Fl30c, 0, 255, {}, "temporal denoise", QV_FL30C_SetTd, QV_FL30C_GetTd},
        {"tdc", Family::Fl30c, 0, 1, {0, 1}, "temperature-drift compensation", setTdc, nullptr},
        {"fps", Family::Fl30c, 10, 30, {10, 15, 25, 30}, "", QV_FL30C_SetFrameRate, nullptr},
        {"ae", Family::Solen, 0, 99, {}, "auto-exposure mode", QV_Solen_SetAeMode, QV_Solen_GetAeMode},
        {"cl", Family::Solen, 0, 99, {}, "CL mode", QV_Solen_SetClMode, QV_Solen_GetClMode},
        {"pwm", Family::Solen, 0, 100, {}, "projector duty cycle, percent", QV_Solen_SetPwmDuty, QV_Solen_GetPwmDuty},
        {"lighting-time", Family::Solen, 0, 9999, {}, "lighting time", QV_Solen_SetLightingTime,
         QV_Solen_GetLightingTime},
        {"sd", Family::Solen, 0, 99, {}, "spatial denoise level", QV_Solen_SetSdLevel, QV_Solen_GetSdLevel},
        {"td", Family::Solen, 0, 99, {}, "temporal denoise", QV_Solen_SetTd, QV_Solen_GetTd},
        {"tc", Family::Solen, 0, 1, {0, 1}, "temperature compensation", setTc, nullptr},
        {"fps", Family::Solen, 5, 30, {5, 10, 15, 20, 25, 30}, "", QV_Solen_SetFrameRate, nullptr},
    };
    return table;
}

std::vector<const NumberSetting*> settingsNamed(const std::string& name, bool readable)
{
    std::vector<const NumberSetting*> found;
    for (const NumberSetting& s : numberSettings())
        if (name == s.name && (!readable || s.get != nullptr)) found.push_back(&s);
    return found;
}

const NumberSetting* settingOf(const std::vector<const NumberSetting*>& candidates, Family family)
{
    for (const NumberSetting* s : candidates)
        if (s->family == family) return s;
    return nullptr;
}

// "ae (auto-exposure mode) must be ... (Fl30c) or ... (Solen), not "x"".
std::string refusal(const std::vector<const NumberSetting*>& settings, const std::string& text, const char* where)
{
    const NumberSetting& first = *settings.front();
    std::string message = std::string(first.name) + (*first.meaning ? std::string(" (") + first.meaning + ")" : "") +
                          " must be ";
    for (size_t i = 0; i < settings.size(); ++i) {
        message += (i == 0 ? "" : " or ") + settings[i]->constraint();
        if (settings.size() > 1) message += std::string(" (") + familyName(settings[i]->family) + ")";
    }
    return message + where + ", not \"" + text + "\"";
}

// Selects and opens the one camera, runs op on it with the family of its settings, closes it.
int withCamera(const Options& options, const char* command, const std::function<int(CameraEntry&, Family)>& op)
{
    CameraCatalog catalog;
    CameraEntry* selected = nullptr;
    if (const int status = catalog.selectOne(options, command, selected)) return status;
    CameraEntry& camera = *selected;
    const Family family = familyOf(camera.model);
    if (family == Family::None) {
        std::fprintf(Console::err(), "qv %s: camera %d is a %s; these settings belong to the Fl30c and the Solen cameras\n",
                     command, camera.index, CameraCatalog::modelName(camera.model));
        return 1;
    }
    const int open = QV_SDK_OpenCamera(camera.handle, nullptr);
    if (open != 0) {
        std::fprintf(Console::err(), "qv %s: camera %d: %s\n", command, camera.index,
                     CameraCatalog::openFailure(open).c_str());
        return 1;
    }
    const int ret = op(camera, family);
    QV_SDK_CloseCamera(camera.handle);
    return ret;
}

int failed(const char* command, const std::string& what, int code)
{
    std::fprintf(Console::err(), "qv %s: %s failed (code %d%s)\n", command, what.c_str(), code,
                 code == -88 ? ": the command could not be sent" : code == -89 ? ": no valid answer" : "");
    return 1;
}

int notForModel(const char* command, const std::string& name, const CameraEntry& camera)
{
    std::fprintf(Console::err(), "qv %s: the %s has no setting \"%s\"\n", command,
                 CameraCatalog::modelName(camera.model), name.c_str());
    return 2;
}

bool parseOptions(const std::vector<std::string>& args, Options& options, const char* command)
{
    std::string error;
    if (!options.parse(args, kSelectors, {}, error)) {
        std::fprintf(Console::err(), "qv %s: %s\n%s", command, error.c_str(), SettingsCommand::usage());
        return false;
    }
    return true;
}

int setNumber(const Options& options, const std::vector<const NumberSetting*>& settings, const std::string& text)
{
    // Refused before any camera is looked at when no camera could take it.
    long value = 0;
    const bool number = Options::toInt(text, -1000000, 1000000, value);
    if (!number || std::none_of(settings.begin(), settings.end(), [&](const NumberSetting* s) { return s->accepts(value); })) {
        std::fprintf(Console::err(), "qv set: %s\n", refusal(settings, text, "").c_str());
        return 2;
    }
    return withCamera(options, "set", [&](CameraEntry& c, Family family) {
        const NumberSetting* s = settingOf(settings, family);
        if (s == nullptr) return notForModel("set", settings.front()->name, c);
        if (!s->accepts(value)) {
            const std::string where = std::string(" on a ") + CameraCatalog::modelName(c.model);
            std::fprintf(Console::err(), "qv set: %s\n", refusal({s}, text, where.c_str()).c_str());
            return 2;
        }
        const int ret = s->set(c.handle, static_cast<int>(value));
        if (ret < 0) return failed("set", s->name, ret);
        std::fprintf(Console::out(), "%s = %ld\n", s->name, value);
        return 0;
    });
}

int getText(const Options& options, const std::string& name)
{
    return withCamera(options, "get", [&](CameraEntry& c, Family family) {
        char buffer[128] = {};
        const int ret = name == "serial"     ? QV_SDK_GetSerialNumber(c.handle, buffer, 127)
                        : name == "firmware" ? QV_SDK_GetFwVersion(c.handle, buffer, 127)
                        : family == Family::Fl30c ? QV_FL30C_GetHimaxVersion(c.handle, buffer, 127)
                                                  : QV_Solen_GetHimaxVersion(c.handle, buffer, 127);
        if (ret < 0) return failed("get", name, ret);
        std::fprintf(Console::out(), "%s = %s\n", name.c_str(), buffer);
        return 0;
    });
}

int getFl30cOnly(const Options& options, const std::string& name)
{
    return withCamera(options, "get", [&](CameraEntry& c, Family family) {
        if (family != Family::Fl30c) return notForModel("get", name, c);
        FILE* out = Console::out();
        if (name == "ito") {
            int value = 0;
            const int ret = QV_FL30C_GetCurrentIntensity(c.handle, value);
            if (ret < 0) return failed("get", name, ret);
            std::fprintf(out, "ito = %d\n", value);
            return 0;
        }
        const char* sensors[3] = {"depth processor", "projector", "image sensor"};
        for (int device = 0; device < 3; ++device) {
            float t = 0;
            const int ret = QV_FL30C_GetTemperature(c.handle, device, t);
            if (ret < 0) return failed("get", std::string("temperature of the ") + sensors[device], ret);
            std::fprintf(out, "temperature %-16s %.2f C\n", sensors[device], static_cast<double>(t));
        }
        return 0;
    });
}

}  // namespace

const char* SettingsCommand::usage()
{
    return "usage: qv set NAME VALUE [--index N | --serial S | --bus B --port-path P]\n"
           "       qv get NAME [--index N | --serial S | --bus B --port-path P]\n"
           "Fl30c: gain (1..28), ae, lighting-time, current, confidence, sd, td, tdc (0/1), fps (10, 15, 25, 30; set),\n"
           "       temperature, ito (get)\n"
           "Gm80, G700, Fl30, Fl30v: ae, cl, pwm (0..100), lighting-time, sd, td, tc (0/1; set),\n"
           "       fps (5, 10, 15, 20, 25, 30; set)\n"
           "both:  serial (up to 63 characters), himax, firmware (get)\n";
}

int SettingsCommand::runSet(const std::vector<std::string>& args)
{
    Options options;
    if (!parseOptions(args, options, "set")) return 2;
    if (options.positionals().size() != 2) {
        std::fprintf(Console::err(), "qv set: needs a setting and a value\n%s", usage());
        return 2;
    }
    const std::string name = options.positionals()[0], text = options.positionals()[1];
    const std::vector<const NumberSetting*> settings = settingsNamed(name, false);
    if (!settings.empty()) return setNumber(options, settings, text);
    if (name == "serial") {
        bool printable = !text.empty() && text.size() <= 63;
        for (unsigned char ch : text) printable = printable && std::isgraph(ch);
        if (!printable) {
            std::fprintf(Console::err(), "qv set: a serial number is 1 to 63 printable characters without blanks\n");
            return 2;
        }
        return withCamera(options, "set", [&](CameraEntry& c, Family) {
            const int ret = QV_SDK_SetSerialNumber(c.handle, text.c_str(), static_cast<int>(text.size()));
            if (ret < 0) return failed("set", name, ret);
            std::fprintf(Console::out(), "serial = %s\n", text.c_str());
            return 0;
        });
    }
    std::fprintf(Console::err(), "qv set: unknown setting \"%s\"\n%s", name.c_str(), usage());
    return 2;
}

int SettingsCommand::runGet(const std::vector<std::string>& args)
{
    Options options;
    if (!parseOptions(args, options, "get")) return 2;
    if (options.positionals().size() != 1) {
        std::fprintf(Console::err(), "qv get: needs one setting\n%s", usage());
        return 2;
    }
    const std::string name = options.positionals()[0];
    const std::vector<const NumberSetting*> settings = settingsNamed(name, true);
    if (!settings.empty()) {
        return withCamera(options, "get", [&](CameraEntry& c, Family family) {
            const NumberSetting* s = settingOf(settings, family);
            if (s == nullptr) return notForModel("get", name, c);
            int value = 0;
            const int ret = s->get(c.handle, value);
            if (ret < 0) return failed("get", name, ret);
            std::fprintf(Console::out(), "%s = %d\n", name.c_str(), value);
            return 0;
        });
    }
    if (name == "serial" || name == "firmware" || name == "himax") return getText(options, name);
    if (name == "temperature" || name == "ito") return getFl30cOnly(options, name);
    std::fprintf(Console::err(), "qv get: unknown setting \"%s\"\n%s", name.c_str(), usage());
    return 2;
}

}  // namespace qv
