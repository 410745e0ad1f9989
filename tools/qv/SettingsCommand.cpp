#include "SettingsCommand.h"

#include <cctype>
#include <cstdio>
#include <functional>

#include "CameraCatalog.h"
#include "Console.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"

namespace qv {

namespace {

const std::set<std::string> kSelectors = {"index", "serial", "bus", "port-path"};

struct IntSetting {
    const char* name;
    long lo, hi;
    int (*set)(void*, int);
    int (*get)(void*, int&);
    const char* meaning;
};

const IntSetting kIntSettings[] = {
    {"gain", 1, 28, QV_FL30C_SetGain, QV_FL30C_GetGain, "sensor gain, 1..28"},
    {"ae", 0, 255, QV_FL30C_SetAeMode, QV_FL30C_GetAeMode, "auto-exposure mode"},
    {"lighting-time", 0, 65535, QV_FL30C_SetLightingTime, QV_FL30C_GetLightingTime, "lighting time"},
    {"current", 0, 65535, QV_FL30C_SetCurrentIntensity, QV_FL30C_GetCurrentIntensity, "projector current intensity"},
    {"confidence", 0, 255, QV_FL30C_SetConfidenceLevel, QV_FL30C_GetConfidenceLevel, "depth confidence level"},
    {"sd", 0, 255, QV_FL30C_SetSdLevel, QV_FL30C_GetSdLevel, "spatial denoise level"},
    {"td", 0, 255, QV_FL30C_SetTd, QV_FL30C_GetTd, "temporal denoise"},
};

const IntSetting* findInt(const std::string& name)
{
    for (const IntSetting& s : kIntSettings)
        if (name == s.name) return &s;
    return nullptr;
}

// Opens the one selected camera, runs op on it, closes it.
int withCamera(const Options& options, const char* command, const std::function<int(CameraEntry&)>& op)
{
    CameraCatalog catalog;
    CameraEntry* selected = nullptr;
    if (const int status = catalog.selectOne(options, command, selected)) return status;
    CameraEntry& camera = *selected;
    if (camera.model != CAMERA_MODEL_FL30C) {
        std::fprintf(Console::err(), "qv %s: camera %d is a %s; these settings belong to the Fl30c\n", command,
                     camera.index, CameraCatalog::modelName(camera.model));
        return 1;
    }
    const int open = QV_SDK_OpenCamera(camera.handle, nullptr);
    if (open != 0) {
        std::fprintf(Console::err(), "qv %s: camera %d: %s\n", command, camera.index,
                     CameraCatalog::openFailure(open).c_str());
        return 1;
    }
    const int ret = op(camera);
    QV_SDK_CloseCamera(camera.handle);
    return ret;
}

int failed(const char* command, const std::string& what, int code)
{
    std::fprintf(Console::err(), "qv %s: %s failed (code %d%s)\n", command, what.c_str(), code,
                 code == -88 ? ": the command could not be sent" : code == -89 ? ": no valid answer" : "");
    return 1;
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

}  // namespace

const char* SettingsCommand::usage()
{
    return "usage: qv set NAME VALUE [--index N | --serial S | --bus B --port-path P]\n"
           "       qv get NAME [--index N | --serial S | --bus B --port-path P]\n"
           "names: gain (1..28), ae, lighting-time, current, confidence, sd, td, tdc (0/1), fps (10, 15, 25, 30; set),\n"
           "       serial (up to 63 characters), temperature, himax, firmware, ito (get)\n";
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
    long value = 0;
    if (const IntSetting* s = findInt(name)) {
        if (!Options::toInt(text, s->lo, s->hi, value)) {
            std::fprintf(Console::err(), "qv set: %s (%s) must be a whole number from %ld to %ld, not \"%s\"\n", name.c_str(),
                         s->meaning, s->lo, s->hi, text.c_str());
            return 2;
        }
        return withCamera(options, "set", [&](CameraEntry& c) {
            const int ret = s->set(c.handle, static_cast<int>(value));
            if (ret < 0) return failed("set", name, ret);
            std::fprintf(Console::out(), "%s = %ld\n", name.c_str(), value);
            return 0;
        });
    }
    if (name == "fps") {
        if (!Options::toInt(text, 10, 30, value) || (value != 10 && value != 15 && value != 25 && value != 30)) {
            std::fprintf(Console::err(), "qv set: fps must be 10, 15, 25 or 30, not \"%s\"\n", text.c_str());
            return 2;
        }
        return withCamera(options, "set", [&](CameraEntry& c) {
            const int ret = QV_FL30C_SetFrameRate(c.handle, static_cast<int>(value));
            if (ret < 0) return failed("set", name, ret);
            std::fprintf(Console::out(), "fps = %ld\n", value);
            return 0;
        });
    }
    if (name == "tdc") {
        if (!Options::toInt(text, 0, 1, value)) {
            std::fprintf(Console::err(), "qv set: tdc (temperature-drift compensation) must be 0 or 1\n");
            return 2;
        }
        return withCamera(options, "set", [&](CameraEntry& c) {
            const int ret = QV_FL30C_SetTemperatureDriftCompensation(c.handle, value != 0);
            if (ret < 0) return failed("set", name, ret);
            std::fprintf(Console::out(), "tdc = %ld\n", value);
            return 0;
        });
    }
    if (name == "serial") {
        bool printable = !text.empty() && text.size() <= 63;
        for (unsigned char ch : text) printable = printable && std::isgraph(ch);
        if (!printable) {
            std::fprintf(Console::err(), "qv set: a serial number is 1 to 63 printable characters without blanks\n");
            return 2;
        }
        return withCamera(options, "set", [&](CameraEntry& c) {
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
    FILE* out = Console::out();
    if (const IntSetting* s = findInt(name)) {
        return withCamera(options, "get", [&](CameraEntry& c) {
            int value = 0;
            const int ret = s->get(c.handle, value);
            if (ret < 0) return failed("get", name, ret);
            std::fprintf(out, "%s = %d\n", name.c_str(), value);
            return 0;
        });
    }
    if (name == "temperature") {
        return withCamera(options, "get", [&](CameraEntry& c) {
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
    if (name == "serial" || name == "firmware" || name == "himax") {
        return withCamera(options, "get", [&](CameraEntry& c) {
            char buffer[128] = {};
            const int ret = name == "serial"     ? QV_SDK_GetSerialNumber(c.handle, buffer, 127)
                            : name == "firmware" ? QV_SDK_GetFwVersion(c.handle, buffer, 127)
                                                 : QV_FL30C_GetHimaxVersion(c.handle, buffer, 127);
            if (ret < 0) return failed("get", name, ret);
            std::fprintf(out, "%s = %s\n", name.c_str(), buffer);
            return 0;
        });
    }
    if (name == "ito") {
        return withCamera(options, "get", [&](CameraEntry& c) {
            int value = 0;
            const int ret = QV_FL30C_GetCurrentIntensity(c.handle, value);
            if (ret < 0) return failed("get", name, ret);
            std::fprintf(out, "ito = %d\n", value);
            return 0;
        });
    }
    std::fprintf(Console::err(), "qv get: unknown setting \"%s\"\n%s", name.c_str(), usage());
    return 2;
}

}  // namespace qv
