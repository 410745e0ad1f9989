#include "CameraList.h"

#include <cstring>

#include "CameraError.h"
#include "OutsidePython.h"
#include "SdkCall.h"
#include "qv_camera_sdk_api.h"

namespace py = pybind11;

namespace orrpy {

namespace {

constexpr int kNoSuchCamera = -2;

const char* attachmentName(QV_CAM_ATTR_TYPE type)
{
    switch (type) {
    case QV_CAM_ATTR_USB: return "usb";
    case QV_CAM_ATTR_SERIAL: return "serial";
    case QV_CAM_ATTR_NET: return "network";
    default: return "unknown";
    }
}

py::object textOrNone(const std::string& text) { return text.empty() ? py::object(py::none()) : py::str(text); }

}  // namespace

CameraList::CameraList()
{
    std::list<void*> handles;
    sdkCall("listing the cameras", [&] { return QV_SDK_GetCameraList(handles); });
    for (void* handle : handles) {
        Entry e;
        e.handle = handle;
        OutsidePython outside;
        QV_SDK_GetCameraAttrs(handle, e.attr);
        QV_SDK_GetCameraModel(handle, e.model);
        m_entries.push_back(std::move(e));
    }
}

CameraList::~CameraList()
{
    std::list<void*> rest;
    for (Entry& e : m_entries)
        if (e.handle != nullptr) rest.push_back(e.handle);
    if (rest.empty()) return;
    LogRelay::Scope quiet;  // freeing handles says nothing a caller needs
    OutsidePython outside;
    QV_SDK_FreeCameraList(rest);
}

void CameraList::identify(size_t i)
{
    Entry& e = m_entries.at(i);
    if (e.identified) return;
    e.identified = true;
    LogRelay::Scope lines;  // a camera that cannot be opened is reported by its open_error
    OutsidePython outside;
    e.openCode = QV_SDK_OpenCamera(e.handle, nullptr);
    if (e.openCode != 0) return;
    char serial[128] = {};
    if (QV_SDK_GetSerialNumber(e.handle, serial, sizeof serial - 1) == 0) e.serial = serial;
    QV_SDK_GetFwVersion(e.handle, e.firmware);
    QV_SDK_CloseCamera(e.handle);
}

size_t CameraList::select(const Selector& s)
{
    const size_t n = m_entries.size();
    if (n == 0) throw CameraError("no camera is attached", kNoSuchCamera);
    if (s.index) {
        if (*s.index < 0 || size_t(*s.index) >= n)
            throw CameraError("there is no camera " + std::to_string(*s.index) + " (" + std::to_string(n) +
                                  " attached)",
                              kNoSuchCamera);
        return size_t(*s.index);
    }
    for (size_t i = 0; i < n; ++i) {
        const QV_CAM_ATTR& a = m_entries[i].attr;
        if (s.serial) {
            identify(i);
            if (m_entries[i].serial == *s.serial) return i;
        } else if (s.bus) {
            if (a.type == QV_CAM_ATTR_USB && a.attr.usbAttrs.busnum == *s.bus &&
                s.portPath.value_or("") == a.attr.usbAttrs.ports)
                return i;
        } else {
            return i;
        }
    }
    if (s.serial) throw CameraError("no attached camera has the serial number " + *s.serial, kNoSuchCamera);
    throw CameraError("no camera on bus " + std::to_string(*s.bus) + " at port path " + s.portPath.value_or(""),
                      kNoSuchCamera);
}

void* CameraList::take(size_t i)
{
    void* handle = m_entries.at(i).handle;
    m_entries[i].handle = nullptr;
    return handle;
}

py::dict CameraList::describe(size_t i) const
{
    const Entry& e = m_entries.at(i);
    py::dict d;
    d["index"] = int(i);
    d["model_id"] = int(e.model);
    d["attachment"] = attachmentName(e.attr.type);
    for (const char* key : {"vid", "pid", "bus", "address", "port_path", "dev_node", "ip", "port"}) d[key] = py::none();
    if (e.attr.type == QV_CAM_ATTR_USB) {
        const QV_USB_DEV_ATTR& u = e.attr.attr.usbAttrs;
        d["vid"] = u.vid;
        d["pid"] = u.pid;
        d["bus"] = u.busnum;
        d["address"] = u.dev;
        d["port_path"] = std::string(u.ports, strnlen(u.ports, sizeof u.ports));
    } else if (e.attr.type == QV_CAM_ATTR_SERIAL) {
        const QV_SERIAL_DEV_ATTR& s = e.attr.attr.serialAttrs;
        d["vid"] = s.vid;
        d["pid"] = s.pid;
        d["dev_node"] = std::string(s.devNode, strnlen(s.devNode, sizeof s.devNode));
    } else if (e.attr.type == QV_CAM_ATTR_NET) {
        const QV_NETWORK_DEV_ATTR& net = e.attr.attr.netAttrs;
        d["ip"] = std::string(net.ip, strnlen(net.ip, sizeof net.ip));
        d["port"] = net.port;
    }
    d["serial"] = textOrNone(e.serial);
    d["firmware"] = textOrNone(e.firmware);
    d["open_error"] = e.identified && e.openCode != 0 ? py::object(py::int_(e.openCode)) : py::object(py::none());
    return d;
}

}  // namespace orrpy
