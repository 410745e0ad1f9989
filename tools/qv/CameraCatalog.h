// The attached cameras as qv shows and selects them.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "Options.h"
#include "qv_camera_sdk_types.h"

namespace qv {

struct CameraEntry {
    int index = 0;
    void* handle = nullptr;
    QV_CAM_ATTR attr{};
    CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
    // Filled by identify(): what an opened camera tells about itself.
    bool identified = false;
    int openCode = 0;
    std::string serial;
    std::string firmware;
};

class CameraCatalog {
public:
    CameraCatalog() = default;
    CameraCatalog(const CameraCatalog&) = delete;
    CameraCatalog& operator=(const CameraCatalog&) = delete;
    ~CameraCatalog();

    // Initialises the library and lists the attached cameras; false with a message.
    bool load(std::string& error);
    std::vector<CameraEntry>& cameras() { return m_cameras; }

    // Opens the camera briefly for its serial number and firmware version.
    void identify(CameraEntry& camera);
    // false, with a message, when the selector options are not well formed.
    static bool checkSelector(const Options& options, std::string& error);
    // --index N, --serial TEXT, --bus B with --port-path P; no selector: every camera.
    // Returns 0, 1 (no such camera) or 2 (a selector that is not well formed), with a
    // message in error.
    int select(const Options& options, std::vector<CameraEntry*>& selected, std::string& error);
    // Loads the list and selects exactly one camera; 0, or the exit status with the
    // message printed as "qv <command>: ...".
    int selectOne(const Options& options, const char* command, CameraEntry*& camera);

    static const char* modelName(CAMERA_MODEL_E model);
    static const char* modelEnumName(CAMERA_MODEL_E model);
    static const char* attachmentName(QV_CAM_ATTR_TYPE type);
    // A sentence for a failed open.
    static std::string openFailure(int code);

private:
    bool m_initialised = false;
    std::list<void*> m_handles;
    std::vector<CameraEntry> m_cameras;
};

}  // namespace qv
