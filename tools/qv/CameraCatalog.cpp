#include "CameraCatalog.h"

#include <cstdio>
#include <string>

#include "Console.h"
#include "qv_camera_sdk_api.h"

namespace qv {

namespace {

struct ModelName {
    CAMERA_MODEL_E model;
    const char* name;
    const char* enumName;
};

constexpr ModelName kModels[] = {
    {CAMERA_MODEL_UNKNOWN, "unknown", "CAMERA_MODEL_UNKNOWN"},
    {CAMERA_MODEL_GM80, "Gm80", "CAMERA_MODEL_GM80"},
    {CAMERA_MODEL_G700, "G700", "CAMERA_MODEL_G700"},
    {CAMERA_MODEL_FL30, "Fl30", "CAMERA_MODEL_FL30"},
    {CAMERA_MODEL_FL30V, "Fl30v", "CAMERA_MODEL_FL30V"},
    {CAMERA_MODEL_SELVAR_A, "Selvar A ToF", "CAMERA_MODEL_SELVAR_A"},
    {CAMERA_MODEL_SELVAR_C, "Selvar C ToF", "CAMERA_MODEL_SELVAR_C"},
    {CAMERA_MODEL_PELLAM, "Pellam dToF", "CAMERA_MODEL_PELLAM"},
    {CAMERA_MODEL_PELLAM_NET, "Pellam dToF (network)", "CAMERA_MODEL_PELLAM_NET"},
    {CAMERA_MODEL_FL30C, "Fl30c RGB-D", "CAMERA_MODEL_FL30C"},
    {CAMERA_MODEL_FL30CN, "Fl30cn RGB-D (network)", "CAMERA_MODEL_FL30CN"},
    {CAMERA_MODEL_ZENTA, "Zenta RGB-D", "CAMERA_MODEL_ZENTA"},
    {CAMERA_MODEL_HALVO, "Halvo RGB-D", "CAMERA_MODEL_HALVO"},
    {CAMERA_MODEL_OSTREL_B, "Ostrel B RGB-D", "CAMERA_MODEL_OSTREL_B"},
    {CAMERA_MODEL_VIRENE, "Virene RGB-D", "CAMERA_MODEL_VIRENE"},
    {CAMERA_MODEL_VIRENE_A, "Virene A RGB-D", "CAMERA_MODEL_VIRENE_A"},
    {CAMERA_MODEL_MORVIK, "Morvik RGB-D (network)", "CAMERA_MODEL_MORVIK"},
    {CAMERA_MODEL_E7, "E7", "CAMERA_MODEL_E7"},
    {CAMERA_MODEL_VIRENE_B, "Virene B RGB-D", "CAMERA_MODEL_VIRENE_B"},
};

const ModelName& find(CAMERA_MODEL_E model)
{
    for (const ModelName& m : kModels)
        if (m.model == model) return m;
    return kModels[0];
}

}  // namespace

CameraCatalog::~CameraCatalog()
{
    if (!m_handles.empty()) QV_SDK_FreeCameraList(m_handles);
    if (m_initialised) QV_SDK_Deinit();
}

bool CameraCatalog::load(std::string& error)
{
    QV_SDK_Init();
    m_initialised = true;
    const int count = QV_SDK_GetCameraList(m_handles);
    if (count < 0) {
        error = "listing the cameras failed (code " + std::to_string(count) + ")";
        return false;
    }
    int index = 0;
    for (void* handle : m_handles) {
        CameraEntry entry;
        entry.index = index++;
        entry.handle = handle;
        QV_SDK_GetCameraAttrs(handle, entry.attr);
        QV_SDK_GetCameraModel(handle, entry.model);
        m_cameras.push_back(entry);
    }
    return true;
}

void CameraCatalog::identify(CameraEntry& camera)
{
    if (camera.identified) return;
    camera.identified = true;
    camera.openCode = QV_SDK_OpenCamera(camera.handle, nullptr);
    if (camera.openCode != 0) return;
    char buffer[128] = {};
    if (QV_SDK_GetSerialNumber(camera.handle, buffer, sizeof buffer - 1) == 0) camera.serial = buffer;
    std::string firmware;
    if (QV_SDK_GetFwVersion(camera.handle, firmware) == 0) camera.firmware = firmware;
    QV_SDK_CloseCamera(camera.handle);
}

bool CameraCatalog::checkSelector(const Options& options, std::string& error)
{
    long number = -1;
    if (options.has("index") + options.has("serial") + (options.has("bus") || options.has("port-path")) > 1) {
        error = "choose a camera one way only: --index, --serial or --bus with --port-path";
        return false;
    }
    if (options.has("index") && !Options::toInt(options.get("index"), 0, 1000, number)) {
        error = "--index needs a camera number (0, 1, ...), not \"" + options.get("index") + "\"";
        return false;
    }
    if ((options.has("bus") || options.has("port-path")) &&
        (!Options::toInt(options.get("bus"), 0, 255, number) || options.get("port-path").empty())) {
        error = "select a camera by position with both --bus B and --port-path P (for example --bus 1 --port-path 1.4)";
        return false;
    }
    if (options.has("serial") && options.get("serial").empty()) {
        error = "--serial needs the camera's serial number";
        return false;
    }
    return true;
}

int CameraCatalog::select(const Options& options, std::vector<CameraEntry*>& selected, std::string& error)
{
    selected.clear();
    if (!checkSelector(options, error)) return 2;
    long index = -1, bus = -1;
    if (options.has("index")) Options::toInt(options.get("index"), 0, 1000, index);
    if (options.has("bus")) Options::toInt(options.get("bus"), 0, 255, bus);
    if (m_cameras.empty()) {
        error = "no camera is attached";
        return 1;
    }
    if (index >= 0) {
        if (index >= static_cast<long>(m_cameras.size())) {
            error = "there is no camera " + std::to_string(index) + " (" + std::to_string(m_cameras.size()) +
                    (m_cameras.size() == 1 ? " camera is" : " cameras are") + " attached: 0" +
                    (m_cameras.size() > 1 ? " to " + std::to_string(m_cameras.size() - 1) : std::string()) + ")";
            return 1;
        }
        selected.push_back(&m_cameras[static_cast<size_t>(index)]);
        return 0;
    }
    if (options.has("serial")) {
        std::string unopened;
        int unopenedCode = 0;
        for (CameraEntry& c : m_cameras) {
            identify(c);
            if (c.openCode != 0) {
                unopened += (unopened.empty() ? "" : ", ") + std::to_string(c.index);
                if (unopenedCode == 0) unopenedCode = c.openCode;
            }
            if (c.openCode == 0 && c.serial == options.get("serial")) selected.push_back(&c);
        }
        if (selected.empty()) {
            error = "no attached camera has the serial number " + options.get("serial");
            if (!unopened.empty())
                error += " (camera " + unopened + " could not be opened to read its serial number: " +
                         openFailure(unopenedCode) + ")";
        }
        return selected.empty() ? 1 : 0;
    }
    if (bus >= 0) {
        for (CameraEntry& c : m_cameras)
            if (c.attr.type == QV_CAM_ATTR_USB && c.attr.attr.usbAttrs.busnum == bus &&
                options.get("port-path") == c.attr.attr.usbAttrs.ports)
                selected.push_back(&c);
        if (selected.empty())
            error = "no camera on bus " + std::to_string(bus) + " at port path " + options.get("port-path");
        return selected.empty() ? 1 : 0;
    }
    for (CameraEntry& c : m_cameras) selected.push_back(&c);
    return 0;
}

int CameraCatalog::selectOne(const Options& options, const char* command, CameraEntry*& camera)
{
    std::string error;
    std::vector<CameraEntry*> selected;
    if (!checkSelector(options, error)) {
        std::fprintf(Console::err(), "qv %s: %s\n", command, error.c_str());
        return 2;
    }
    if (!load(error)) {
        std::fprintf(Console::err(), "qv %s: %s\n", command, error.c_str());
        return 1;
    }
    const int status = select(options, selected, error);
    if (status != 0) {
        std::fprintf(Console::err(), "qv %s: %s\n", command, error.c_str());
        return status;
    }
    if (selected.size() > 1) {
        std::fprintf(Console::err(),
                     "qv %s: %zu cameras are attached: choose one with --index N, --serial S or --bus B --port-path P "
                     "(see qv list)\n",
                     command, selected.size());
        return 2;
    }
    camera = selected[0];
    return 0;
}

const char* CameraCatalog::modelName(CAMERA_MODEL_E model) { return find(model).name; }
const char* CameraCatalog::modelEnumName(CAMERA_MODEL_E model) { return find(model).enumName; }

const char* CameraCatalog::attachmentName(QV_CAM_ATTR_TYPE type)
{
    switch (type) {
    case QV_CAM_ATTR_USB: return "USB";
    case QV_CAM_ATTR_SERIAL: return "serial";
    case QV_CAM_ATTR_NET: return "network";
    default: return "unknown";
    }
}

std::string CameraCatalog::openFailure(int code)
{
    switch (code) {
    case -2: return "this camera model is not supported by this release";
    case -82: return "the camera is in use by another program, or its video stream cannot be opened";
    case -1: return "the camera could not be opened (it did not answer, or it was unplugged)";
    default: return "the camera could not be opened (code " + std::to_string(code) + ")";
    }
}

}  // namespace qv
