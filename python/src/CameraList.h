// The cameras the library lists, with their handles until one is taken; what
// orrindale.cameras() reports and how orrindale.open() chooses.
#pragma once

#include <pybind11/pybind11.h>

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "qv_camera_sdk_types.h"

namespace orrpy {

struct Selector {
    std::optional<int> index;
    std::optional<std::string> serial;
    std::optional<int> bus;
    std::optional<std::string> portPath;
};

class CameraList {
public:
    CameraList();   // lists the attached cameras
    ~CameraList();  // frees every handle not taken

    size_t size() const { return m_entries.size(); }
    // Opens camera i for a moment to read its serial number and firmware (once).
    void identify(size_t i);
    // The camera chosen by the selector (every camera is identified for a serial number).
    size_t select(const Selector& selector);
    // The handle of camera i now belongs to the caller.
    void* take(size_t i);

    // index, model, model_id, attachment, vid, pid, bus, address, port_path, dev_node, ip,
    // port, serial, firmware, open_error.
    pybind11::dict describe(size_t i) const;
    const QV_CAM_ATTR& attr(size_t i) const { return m_entries[i].attr; }
    CAMERA_MODEL_E model(size_t i) const { return m_entries[i].model; }

private:
    struct Entry {
        void* handle = nullptr;
        QV_CAM_ATTR attr{};
        CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
        bool identified = false;
        int openCode = 0;
        std::string serial, firmware;
    };
    std::vector<Entry> m_entries;
};

}  // namespace orrpy
