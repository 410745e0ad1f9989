#include "SerialCameraList.h"

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>

namespace {

// Only ttys of USB devices are looked at: the others would each log an invalid modalias.
bool usbTty(const std::string& name)
{
    std::ifstream file("/sys/class/tty/" + name + "/device/modalias");
    std::string modalias;
    return std::getline(file, modalias) && modalias.compare(0, 5, "usb:v") == 0;
}

}  // namespace

const std::vector<usb_id>& serialOnlyIds()
{
    static const std::vector<usb_id> ids = {{0x2207, 0x0016}};
    return ids;
}

int getSerialCameraAttrsList(std::vector<QV_CAM_ATTR>& out)
{
    DIR* ttys = opendir("/sys/class/tty");
    if (ttys == nullptr) return 0;
    std::vector<std::string> names;
    while (const dirent* entry = readdir(ttys))
        if (entry->d_name[0] != '.') names.push_back(entry->d_name);
    closedir(ttys);
    std::sort(names.begin(), names.end());
    int appended = 0;
    for (const std::string& name : names) {
        const std::string node = "/dev/" + name;
        int vid = 0, pid = 0;
        if (node.size() >= QV_DEV_NODE_SIZE || !usbTty(name) || getDevTtyVidPidByDeviceNode(node, &vid, &pid) != 0)
            continue;
        const auto& ids = serialOnlyIds();
        if (std::none_of(ids.begin(), ids.end(), [&](const usb_id& id) { return id.vid == vid && id.pid == pid; }))
            continue;
        QV_CAM_ATTR attr;
        std::memset(&attr, 0, sizeof attr);
        attr.type = QV_CAM_ATTR_SERIAL;
        attr.attr.serialAttrs.vid = static_cast<uint32_t>(vid);
        attr.attr.serialAttrs.pid = static_cast<uint32_t>(pid);
        std::memcpy(attr.attr.serialAttrs.devNode, node.c_str(), node.size());
        out.push_back(attr);
        ++appended;
    }
    return appended;
}
