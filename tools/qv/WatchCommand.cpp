#include "WatchCommand.h"

#include <csignal>
#include <chrono>
#include <ctime>
#include <mutex>
#include <thread>

#include "CameraCatalog.h"
#include "Console.h"
#include "Options.h"
#include "qv_camera_sdk_api.h"

namespace qv {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void onSignal(int) { g_interrupted = 1; }

// Listener callbacks come from the listeners' threads: one line at a time.
std::mutex g_printLock;

void print(const char* what, const QV_CAM_ATTR* attr)
{
    char when[16] = "";
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::strftime(when, sizeof when, "%H:%M:%S", &local);
    std::lock_guard<std::mutex> lock(g_printLock);
    FILE* out = Console::out();
    if (attr->type == QV_CAM_ATTR_NET) {
        const QV_NETWORK_DEV_ATTR& net = attr->attr.netAttrs;
        std::fprintf(out, "%s %-7s network  %s port %d  %s\n", when, what, net.ip, net.port,
                     CameraCatalog::modelName(static_cast<CAMERA_MODEL_E>(net.model)));
    } else {
        const QV_USB_DEV_ATTR& usb = attr->attr.usbAttrs;
        std::fprintf(out, "%s %-7s USB      %04x:%04x bus %d address %d port path %s\n", when, what, usb.vid, usb.pid,
                     usb.busnum, usb.dev, usb.ports[0] ? usb.ports : "(unknown)");
    }
    std::fflush(out);
}

void arrived(const QV_CAM_ATTR* attr, void*) { print("arrived", attr); }
void left(const QV_CAM_ATTR* attr, void*) { print("left", attr); }

}  // namespace

const char* WatchCommand::usage()
{
    return "usage: qv watch [--seconds N]\n"
           "  prints a line for every camera that arrives or leaves (USB and network), starting with\n"
           "  those already there, until Ctrl-C or N seconds have passed\n";
}

int WatchCommand::run(const std::vector<std::string>& args)
{
    Options options;
    std::string error;
    long seconds = 0;
    if (!options.parse(args, {"seconds"}, {}, error) || !options.positionals().empty() ||
        (options.has("seconds") && !Options::toInt(options.get("seconds"), 1, 86400 * 365, seconds))) {
        std::fprintf(Console::err(), "qv watch: %s\n%s",
                     error.empty() ? "--seconds takes a whole number of seconds from 1 on" : error.c_str(), usage());
        return 2;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    QV_SDK_Init();
    QV_LISTENER_CALLBACK callback{&arrived, &left, nullptr};
    const int usb = QV_SDK_StartListener(callback, QV_LISTENER_HOTPLUG, true);
    if (usb != 0) std::fprintf(Console::err(), "qv watch: USB cameras cannot be watched (code %d)\n", usb);
    const int network = QV_SDK_StartListener(callback, QV_LISTENER_NETWORK, true);
    if (network != 0) std::fprintf(Console::err(), "qv watch: network cameras cannot be watched (code %d)\n", network);
    int status = 1;
    if (usb == 0 || network == 0) {
        std::fprintf(Console::err(), "qv watch: watching %s cameras; Ctrl-C ends\n",
                     usb != 0 ? "network" : network != 0 ? "USB" : "USB and network");
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (!g_interrupted && (seconds == 0 || std::chrono::steady_clock::now() < end))
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        status = 0;
    }
    QV_SDK_StopListener();
    QV_SDK_Deinit();
    return status;
}

}  // namespace qv
