#include "CameraProperties.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <string>
#include <vector>

#include "SdkCall.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"

namespace py = pybind11;

namespace orrpy {

namespace {

constexpr double kMetresPerMillimetre = 0.001;

struct IntSetting {
    const char* name;
    int (*set)(void*, int);
    int (*get)(void*, int&);
    const char* doc;
};

const IntSetting kIntSettings[] = {
    {"gain", QV_FL30C_SetGain, QV_FL30C_GetGain, "sensor gain, 1..28"},
    {"ae_mode", QV_FL30C_SetAeMode, QV_FL30C_GetAeMode, "auto-exposure mode"},
    {"lighting_time", QV_FL30C_SetLightingTime, QV_FL30C_GetLightingTime, "lighting time"},
    {"current_intensity", QV_FL30C_SetCurrentIntensity, QV_FL30C_GetCurrentIntensity, "projector current"},
    {"confidence_level", QV_FL30C_SetConfidenceLevel, QV_FL30C_GetConfidenceLevel, "depth confidence level"},
    {"sd_level", QV_FL30C_SetSdLevel, QV_FL30C_GetSdLevel, "spatial denoise level"},
    {"td", QV_FL30C_SetTd, QV_FL30C_GetTd, "temporal denoise"},
};

MEDIA_TYPE_E mediaType(const std::string& kind)
{
    if (kind == "depth") return MEDIA_TYPE_DEPTH;
    if (kind == "color") return MEDIA_TYPE_RGB;
    throw py::value_error("modes are those of \"depth\" or \"color\", not \"" + kind + "\"");
}

std::string textCall(const char* what, int (*call)(void*, char*, int), void* handle)
{
    char text[128] = {};
    sdkCall(what, [&] { return call(handle, text, sizeof text - 1); });
    return text;
}

py::object namedTuple(const char* name, const char* fields)
{
    return py::module_::import("collections").attr("namedtuple")(name, fields);
}

py::tuple mode(const STREAM_PARAM_S& p) { return py::make_tuple(p.width, p.height, p.fps); }

void bindCalibration(py::module_& module, CameraProperties::PyCamera& camera)
{
    module.attr("Intrinsics") = namedTuple("Intrinsics", "width height fx fy cx cy");
    module.attr("Extrinsics") = namedTuple("Extrinsics", "rotation translation");
    // The calibration travels with the frames: it is there from the first group on.
    auto calibration = [](Camera& c, CAM_Parameter& p, STREAM_PARAM_S (&modes)[3]) {
        void* h = c.handle();
        sdkCall("reading the calibration", [&] { return QV_SDK_GetCamParameter(h, &p); });
        sdkCall("reading the stream modes", [&] { return QV_SDK_GetStreamParam(h, modes); });
    };
    camera.def_property_readonly(
        "intrinsics",
        [calibration, module](Camera& c) {
            CAM_Parameter p{};
            STREAM_PARAM_S modes[3] = {};  // colour, depth, infrared
            calibration(c, p, modes);
            py::object type = module.attr("Intrinsics");
            py::dict d;
            d["depth"] = type(modes[1].width, modes[1].height, p.depthFx, p.depthFy, p.depthCx, p.depthCy);
            d["color"] = type(modes[0].width, modes[0].height, p.rgbFx, p.rgbFy, p.rgbCx, p.rgbCy);
            return d;
        },
        "{\"depth\": Intrinsics, \"color\": Intrinsics} of the images as delivered (pixels)");
    camera.def_property_readonly(
        "extrinsics",
        [calibration, module](Camera& c) {
            CAM_Parameter p{};
            STREAM_PARAM_S modes[3] = {};
            calibration(c, p, modes);
            py::array_t<double> rotation({3, 3}), translation(3);
            for (int i = 0; i < 9; ++i) rotation.mutable_data()[i] = p.rotation[i];
            for (int i = 0; i < 3; ++i) translation.mutable_data()[i] = p.translation[i] * kMetresPerMillimetre;
            return module.attr("Extrinsics")(rotation, translation);
        },
        "depth camera to color camera: rotation (3 x 3), translation (metres)");
}

}  // namespace

void CameraProperties::bind(py::module_& module, PyCamera& camera)
{
    for (const IntSetting& s : kIntSettings) {
        camera.def_property(
            s.name,
            [s](Camera& c) {
                void* h = c.handle();
                int value = 0;
                sdkCall(std::string("reading ") + s.name, [&] { return s.get(h, value); });
                return value;
            },
            [s](Camera& c, int value) {
                void* h = c.handle();
                sdkCall(std::string("setting ") + s.name, [&] { return s.set(h, value); });
            },
            s.doc);
    }
    camera.def(
        "set_frame_rate",
        [](Camera& c, int fps) {
            void* h = c.handle();
            sdkCall("setting the frame rate", [&] { return QV_FL30C_SetFrameRate(h, fps); });
        },
        py::arg("fps"), "the camera's frame rate: 10, 15, 25 or 30");
    camera.def(
        "set_temperature_drift_compensation",
        [](Camera& c, bool on) {
            void* h = c.handle();
            sdkCall("setting the temperature drift compensation",
                    [&] { return QV_FL30C_SetTemperatureDriftCompensation(h, on); });
        },
        py::arg("enable"));
    camera.def_property_readonly("temperatures", [](Camera& c) {
        void* h = c.handle();
        py::dict d;
        const char* names[] = {"depth_processor", "projector", "image_sensor"};
        for (int device = 0; device < 3; ++device) {
            float celsius = 0;
            sdkCall(std::string("reading the temperature of the ") + names[device],
                    [&] { return QV_FL30C_GetTemperature(h, device, celsius); });
            d[names[device]] = celsius;
        }
        return d;
    }, "degrees Celsius");
    camera.def_property(
        "serial", [](Camera& c) { return textCall("reading the serial number", QV_SDK_GetSerialNumber, c.handle()); },
        [](Camera& c, const std::string& serial) {
            void* h = c.handle();
            sdkCall("setting the serial number",
                    [&] { return QV_SDK_SetSerialNumber(h, serial.c_str(), int(serial.size())); });
        });
    camera.def_property_readonly("firmware", [](Camera& c) {
        void* h = c.handle();
        std::string version;
        sdkCall("reading the firmware version", [&] { return QV_SDK_GetFwVersion(h, version); });
        return version;
    });
    camera.def_property_readonly("depth_processor_version", [](Camera& c) {
        return textCall("reading the depth processor's version", QV_FL30C_GetHimaxVersion, c.handle());
    });
    camera.def(
        "modes",
        [](Camera& c, const std::string& kind) {
            const MEDIA_TYPE_E type = mediaType(kind);
            void* h = c.handle();
            std::vector<STREAM_PARAM_S> modes;
            sdkCall("reading the " + kind + " modes", [&] { return QV_SDK_GetCapability(h, type, modes); });
            py::list list;
            for (const STREAM_PARAM_S& m : modes) list.append(mode(m));
            return list;
        },
        py::arg("kind"), "(width, height, fps) of every mode the camera offers for \"depth\" or \"color\"");
    camera.def_property_readonly("stream_modes", [](Camera& c) {
        void* h = c.handle();
        STREAM_PARAM_S modes[3] = {};
        sdkCall("reading the stream modes", [&] { return QV_SDK_GetStreamParam(h, modes); });
        py::dict d;
        d["color"] = mode(modes[0]);
        d["depth"] = mode(modes[1]);
        d["ir"] = mode(modes[2]);
        return d;
    }, "the modes the next start() uses, (width, height, fps) per stream");
    camera.def_property_readonly("config", [](Camera& c) {
        void* h = c.handle();
        QV_CONFIG_INFO info{};
        sdkCall("reading the configuration", [&] { return QV_SDK_GetConfigInfo(h, info); });
        py::dict d;
        d["path"] = std::string(info.path);
        d["module"] = std::string(info.moduleName);
        d["protocol_version"] = std::string(info.protocolVersion);
        d["config_version"] = std::string(info.configVersion);
        d["applied"] = info.applied != 0;
        d["depth_aligned"] = info.depthAligned != 0;
        return d;
    }, "the configuration file in force");
    bindCalibration(module, camera);
}

}  // namespace orrpy
