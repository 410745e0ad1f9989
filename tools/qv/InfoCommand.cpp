#include "InfoCommand.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "CameraCatalog.h"
#include "Console.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"
#include "qv_camera_sdk_solen.h"

namespace qv {

namespace {

void printModes(FILE* out, const char* name, void* handle, MEDIA_TYPE_E type)
{
    std::vector<STREAM_PARAM_S> modes;
    if (QV_SDK_GetCapability(handle, type, modes) != 0 || modes.empty()) {
        std::fprintf(out, "  %-6s modes      (none)\n", name);
        return;
    }
    std::fprintf(out, "  %-6s modes     ", name);
    for (size_t i = 0; i < modes.size(); ++i) {
        // One size per line with its rates.
        if (i > 0 && (modes[i].width != modes[i - 1].width || modes[i].height != modes[i - 1].height))
            std::fprintf(out, "\n                   ");
        if (i == 0 || modes[i].width != modes[i - 1].width || modes[i].height != modes[i - 1].height)
            std::fprintf(out, " %ux%u @", modes[i].width, modes[i].height);
        std::fprintf(out, " %u", modes[i].fps);
    }
    std::fprintf(out, " fps\n");
}

// The Fl30c's calibration travels with the frames: stream until the first one arrives.
// Other cameras tell it once opened.
bool readCalibration(void* handle, CAMERA_MODEL_E model, CAM_Parameter& p)
{
    if (model != CAMERA_MODEL_FL30C) return QV_SDK_GetCamParameter(handle, &p) == 0;
    std::atomic<int> frames{0};
    STREAM_CALLBACK_S callback{[](void*, const CAM_DATA*, void* user) { ++*static_cast<std::atomic<int>*>(user); },
                               &frames};
    QV_SDK_RegisterStreamCallback(handle, &callback);
    if (QV_SDK_StartStream(handle, QV_MEDIA_DEPTH | QV_MEDIA_RGB) != 0) return false;
    for (int i = 0; i < 100 && frames == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    QV_SDK_StopStream(handle, 0);
    return QV_SDK_GetCamParameter(handle, &p) == 0;
}

}  // namespace

int InfoCommand::run(const std::vector<std::string>& args)
{
    Options options;
    std::string error;
    if (!options.parse(args, {"index", "serial", "bus", "port-path"}, {}, error) || !options.positionals().empty()) {
        std::fprintf(Console::err(), "qv info: %s\nusage: qv info [--index N | --serial S | --bus B --port-path P]\n",
                     error.empty() ? "unexpected argument" : error.c_str());
        return 2;
    }
    CameraCatalog catalog;
    CameraEntry* selected = nullptr;
    if (const int status = catalog.selectOne(options, "info", selected)) return status;
    CameraEntry& c = *selected;
    FILE* out = Console::out();
    std::fprintf(out, "Camera %d: %s (%s = %d)\n", c.index, CameraCatalog::modelName(c.model),
                 CameraCatalog::modelEnumName(c.model), static_cast<int>(c.model));
    if (c.attr.type == QV_CAM_ATTR_USB)
        std::fprintf(out, "  USB              %04x:%04x, bus %d, address %d, port path %s\n", c.attr.attr.usbAttrs.vid,
                     c.attr.attr.usbAttrs.pid, c.attr.attr.usbAttrs.busnum, c.attr.attr.usbAttrs.dev,
                     c.attr.attr.usbAttrs.ports);
    const int open = QV_SDK_OpenCamera(c.handle, nullptr);
    if (open != 0) {
        std::fprintf(Console::err(), "qv info: camera %d: %s\n", c.index, CameraCatalog::openFailure(open).c_str());
        return 1;
    }
    char text[128] = {};
    if (QV_SDK_GetSerialNumber(c.handle, text, 127) == 0) std::fprintf(out, "  serial number    %s\n", text);
    std::string firmware;
    if (QV_SDK_GetFwVersion(c.handle, firmware) == 0) std::fprintf(out, "  firmware         %s\n", firmware.c_str());
    char himax[128] = {};
    const bool solen = c.model == CAMERA_MODEL_GM80 || c.model == CAMERA_MODEL_G700 || c.model == CAMERA_MODEL_FL30 ||
                       c.model == CAMERA_MODEL_FL30V;
    if ((c.model == CAMERA_MODEL_FL30C && QV_FL30C_GetHimaxVersion(c.handle, himax, 127) == 0) ||
        (solen && QV_Solen_GetHimaxVersion(c.handle, himax, 127) == 0))
        std::fprintf(out, "  depth processor  %s\n", himax);

    printModes(out, "depth", c.handle, MEDIA_TYPE_DEPTH);
    printModes(out, "color", c.handle, MEDIA_TYPE_RGB);
    STREAM_PARAM_S current[STREAM_PARAM_COUNT] = {};
    const bool haveCurrent = QV_SDK_GetStreamParamArray(c.handle, current, STREAM_PARAM_COUNT) == STREAM_PARAM_COUNT;
    if (c.model == CAMERA_MODEL_FL30C && haveCurrent)
        // The Fl30c has one infrared mode: it sends depth and infrared in turn at twice the rate.
        std::fprintf(out, "  ir     modes      %ux%u @ %u fps (fixed; depth and infrared in turn)\n",
                     current[STREAM_PARAM_IR].width, current[STREAM_PARAM_IR].height, current[STREAM_PARAM_IR].fps);
    if (haveCurrent) {
        const char* names[STREAM_PARAM_COUNT] = {"color", "depth", "ir"};
        for (int i = 0; i < STREAM_PARAM_COUNT; ++i)
            std::fprintf(out, "  %-6s now        %ux%u @ %u fps\n", names[i], current[i].width, current[i].height,
                         current[i].fps);
    }
    CAM_Parameter p{};
    if (readCalibration(c.handle, c.model, p)) {
        std::fprintf(out, "  depth intrinsics fx %.3f  fy %.3f  cx %.3f  cy %.3f\n", p.depthFx, p.depthFy, p.depthCx,
                     p.depthCy);
        std::fprintf(out, "  color intrinsics fx %.3f  fy %.3f  cx %.3f  cy %.3f\n", p.rgbFx, p.rgbFy, p.rgbCx,
                     p.rgbCy);
        std::fprintf(out, "  rotation         [%.6f %.6f %.6f; %.6f %.6f %.6f; %.6f %.6f %.6f]\n", p.rotation[0],
                     p.rotation[1], p.rotation[2], p.rotation[3], p.rotation[4], p.rotation[5], p.rotation[6],
                     p.rotation[7], p.rotation[8]);
        std::fprintf(out, "  translation      %.3f %.3f %.3f mm (depth to color)\n", p.translation[0], p.translation[1],
                     p.translation[2]);
    } else {
        std::fprintf(out, "  calibration      (none: no frame arrived to carry it, or the camera has none)\n");
    }
    if (c.model == CAMERA_MODEL_FL30C) {
        const char* sensors[3] = {"depth processor", "projector", "image sensor"};
        for (int device = 0; device < 3; ++device) {
            float t = 0;
            if (QV_FL30C_GetTemperature(c.handle, device, t) == 0)
                std::fprintf(out, "  temperature      %-16s %.2f C\n", sensors[device], static_cast<double>(t));
        }
    }
    QV_SDK_CloseCamera(c.handle);
    std::fflush(out);
    return 0;
}

}  // namespace qv
