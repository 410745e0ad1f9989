#include "ListCommand.h"

#include <cstdio>

#include "CameraCatalog.h"
#include "Console.h"
#include "JsonText.h"

namespace qv {

int ListCommand::run(const std::vector<std::string>& args)
{
    Options options;
    std::string error;
    if (!options.parse(args, {}, {"json"}, error) || !options.positionals().empty()) {
        std::fprintf(Console::err(), "qv list: %s\nusage: qv list [--json]\n",
                     error.empty() ? "unexpected argument" : error.c_str());
        return 2;
    }
    CameraCatalog catalog;
    if (!catalog.load(error)) {
        std::fprintf(Console::err(), "qv list: %s\n", error.c_str());
        return 1;
    }
    FILE* out = Console::out();
    const bool json = options.has("json");
    if (json) std::fprintf(out, "[");
    for (CameraEntry& c : catalog.cameras()) {
        catalog.identify(c);
        const QV_USB_DEV_ATTR& usb = c.attr.attr.usbAttrs;
        if (json) {
            JsonText j;
            j.add("index", c.index);
            j.add("model", CameraCatalog::modelName(c.model));
            j.add("model_enum", CameraCatalog::modelEnumName(c.model));
            j.add("model_value", static_cast<int>(c.model));
            j.add("attachment", CameraCatalog::attachmentName(c.attr.type));
            if (c.attr.type == QV_CAM_ATTR_USB) {
                j.add("vid", JsonText::hex4(usb.vid));
                j.add("pid", JsonText::hex4(usb.pid));
                j.add("bus", usb.busnum);
                j.add("address", usb.dev);
                j.add("port", usb.port);
                j.add("port_path", usb.ports);
            } else if (c.attr.type == QV_CAM_ATTR_NET) {
                j.add("ip", c.attr.attr.netAttrs.ip);
                j.add("net_port", c.attr.attr.netAttrs.port);
            }
            if (c.openCode == 0) {
                j.add("serial", c.serial);
                j.add("firmware", c.firmware);
            } else {
                j.add("open_error", CameraCatalog::openFailure(c.openCode));
            }
            std::fprintf(out, "%s\n  %s", c.index ? "," : "", j.text().c_str());
            continue;
        }
        std::fprintf(out, "Camera %d\n", c.index);
        std::fprintf(out, "  model            %s (%s = %d)\n", CameraCatalog::modelName(c.model),
                     CameraCatalog::modelEnumName(c.model), static_cast<int>(c.model));
        std::fprintf(out, "  attachment       %s\n", CameraCatalog::attachmentName(c.attr.type));
        if (c.attr.type == QV_CAM_ATTR_USB) {
            std::fprintf(out, "  USB id           %04x:%04x\n", usb.vid, usb.pid);
            std::fprintf(out, "  bus / address    %d / %d\n", usb.busnum, usb.dev);
            std::fprintf(out, "  port / path      %d / %s\n", usb.port, usb.ports[0] ? usb.ports : "(unknown)");
        } else if (c.attr.type == QV_CAM_ATTR_NET) {
            std::fprintf(out, "  address          %s port %d\n", c.attr.attr.netAttrs.ip, c.attr.attr.netAttrs.port);
        }
        if (c.openCode == 0) {
            std::fprintf(out, "  serial number    %s\n", c.serial.empty() ? "(none)" : c.serial.c_str());
            std::fprintf(out, "  firmware         %s\n", c.firmware.empty() ? "(unknown)" : c.firmware.c_str());
        } else {
            std::fprintf(out, "  not opened       %s\n", CameraCatalog::openFailure(c.openCode).c_str());
        }
    }
    if (json) std::fprintf(out, "%s]\n", catalog.cameras().empty() ? "" : "\n");
    if (!json && catalog.cameras().empty()) std::fprintf(out, "No camera is attached.\n");
    std::fflush(out);
    return 0;
}

}  // namespace qv
