#include "CaptureCommand.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>

#include "CameraCatalog.h"
#include "CaptureFactory.h"
#include "Console.h"
#include "LiteUsb.h"
#include "UsbControlRequest.h"
#include "UvcCamera.h"
#include "V4L2Camera.h"

namespace qv {

namespace {

struct Settings {
    long frames = 10;
    long seconds = 10;  // at most this long for the frames to arrive
    std::string out = "capture";
    long streamType = -1;
    bool haveMode = false;
    unsigned width = 0, height = 0, fps = 0;
    uint32_t format = 0;
    uint32_t clock = 0;
};

bool parseSettings(const Options& options, Settings& s, std::string& error)
{
    if (options.has("frames") && !Options::toInt(options.get("frames"), 1, 100000, s.frames)) {
        error = "--frames needs a number of frames from 1 to 100000";
        return false;
    }
    if (options.has("seconds") && !Options::toInt(options.get("seconds"), 1, 86400, s.seconds)) {
        error = "--seconds needs a whole number of seconds from 1 to 86400";
        return false;
    }
    if (options.has("stream-type") && !Options::toInt(options.get("stream-type"), 0, 255, s.streamType)) {
        error = "--stream-type needs the camera's stream type, a number from 0 to 255 (0x.. for hexadecimal)";
        return false;
    }
    if (options.has("mode")) {
        s.haveMode = Options::toMode(options.get("mode"), s.width, s.height, s.fps) && s.fps != 0;
        if (!s.haveMode) {
            error = "--mode needs width, height and rate as WxH@FPS, for example 640x480@30";
            return false;
        }
    }
    const std::string format = options.get("format", "yuyv");
    long number = 0;
    if (format == "yuyv" || format == "mjpeg")
        s.format = format == "yuyv" ? 0 : 1;
    else if (Options::toInt(format, 0, 255, number))
        s.format = uint32_t(number);
    else {
        error = "--format takes yuyv, mjpeg or the transport's format number, not \"" + format + "\"";
        return false;
    }
    const std::string clock = options.get("clock", "steady");
    if (clock != "steady" && clock != "system") {
        error = "--clock takes steady or system, not \"" + clock + "\"";
        return false;
    }
    s.clock = clock == "system" ? 1 : 0;
    s.out = options.get("out", s.out);
    return true;
}

// Writes each frame to its file on the transport's thread, until enough are written.
struct Recorder {
    std::string dir;
    long wanted = 0;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<frame_info> written;  // their data pointers are stale
    std::string failure;

    static std::string fileName(size_t index)
    {
        char name[32];
        std::snprintf(name, sizeof name, "frame-%04zu.raw", index);
        return name;
    }
    static void onFrame(const frame_info* f, void* user)
    {
        auto* r = static_cast<Recorder*>(user);
        size_t index = 0;
        {
            std::lock_guard<std::mutex> lock(r->mutex);
            if (long(r->written.size()) >= r->wanted || !r->failure.empty()) return;
            index = r->written.size();
        }
        const std::string path = r->dir + "/" + fileName(index);
        FILE* file = std::fopen(path.c_str(), "wb");
        bool ok = file != nullptr && std::fwrite(f->data, 1, f->size, file) == f->size;
        if (file != nullptr) ok = std::fclose(file) == 0 && ok;
        {
            std::lock_guard<std::mutex> lock(r->mutex);
            if (ok)
                r->written.push_back(*f);
            else
                r->failure = "cannot write " + path;
        }
        r->changed.notify_all();
    }
};

const char* transportName(ICapture* transport)
{
    if (dynamic_cast<LiteUsb*>(transport) != nullptr) return "bulk USB";
    if (dynamic_cast<UvcCamera*>(transport) != nullptr) return "UVC";
    if (dynamic_cast<V4L2Camera*>(transport) != nullptr) return "V4L2";
    return nullptr;
}

// The transport-specific settings; exit status 2 with a message when one is missing.
int configure(ICapture& transport, const Settings& s, const std::string& which, std::string& error)
{
    const bool bulk = dynamic_cast<LiteUsb*>(&transport) != nullptr;
    if (bulk && s.streamType < 0) {
        error = which + " streams over bulk USB: give its stream type with --stream-type N (0 to 255)";
        return 2;
    }
    if (!bulk && s.streamType >= 0) {
        error = "--stream-type is for bulk USB cameras; " + which + " is not one";
        return 2;
    }
    if (dynamic_cast<UvcCamera*>(&transport) != nullptr && !s.haveMode) {
        error = which + " streams over UVC: give the stream as --mode WxH@FPS (and --format yuyv|mjpeg)";
        return 2;
    }
    return 0;
}

void writeIndex(const Recorder& r)
{
    FILE* index = std::fopen((r.dir + "/frames.txt").c_str(), "w");
    if (index == nullptr) return;
    std::fprintf(index, "file\tsequence\ttimestamp_ms\twidth\theight\tformat\tsize\n");
    for (size_t i = 0; i < r.written.size(); ++i) {
        const frame_info& f = r.written[i];
        std::fprintf(index, "%s\t%u\t%llu\t%u\t%u\t%u\t%u\n", Recorder::fileName(i).c_str(), f.sequence,
                     static_cast<unsigned long long>(f.timestamp), f.width, f.height, f.format, f.size);
    }
    std::fclose(index);
}

void printSummary(const Recorder& r, double seconds)
{
    const std::vector<frame_info>& f = r.written;
    if (f.empty()) return;
    uint32_t smallest = f[0].size, largest = f[0].size;
    uint64_t gaps = 0;
    for (size_t i = 0; i < f.size(); ++i) {
        smallest = std::min(smallest, f[i].size);
        largest = std::max(largest, f[i].size);
        if (i > 0 && f[i].sequence > f[i - 1].sequence + 1) gaps += f[i].sequence - f[i - 1].sequence - 1;
    }
    const uint64_t span = f.back().timestamp - f.front().timestamp;
    char rate[32] = "one frame";
    if (f.size() > 1 && span > 0) std::snprintf(rate, sizeof rate, "%.1f fps", double(f.size() - 1) * 1000.0 / double(span));
    std::fprintf(Console::out(), "%zu frames in %.2f s (%s), ", f.size(), seconds, rate);
    if (smallest == largest)
        std::fprintf(Console::out(), "%u bytes each", smallest);
    else
        std::fprintf(Console::out(), "%u to %u bytes", smallest, largest);
    std::fprintf(Console::out(), ", sequence %u to %u, %llu missing\n", f.front().sequence, f.back().sequence,
                 static_cast<unsigned long long>(gaps));
    std::fprintf(Console::out(), "written to %s/: frame-0000.raw to %s and frames.txt (their frame_info)\n",
                 r.dir.c_str(), Recorder::fileName(f.size() - 1).c_str());
}

}  // namespace

const char* CaptureCommand::usage()
{
    return "usage: qv capture [--index N | --serial S | --bus B --port-path P] [--frames N] [--out DIR]\n"
           "                  [--stream-type N] [--mode WxH@FPS] [--format yuyv|mjpeg|N] [--clock steady|system]\n"
           "                  [--seconds T]\n"
           "Opens the camera's frame transport directly, without its driver, and writes N raw frames (10 by\n"
           "default) to DIR (./capture) as frame-0000.raw, ... with their frame_info in frames.txt. For a\n"
           "camera whose driver this release lacks: it shows that the device streams, and the files are\n"
           "what to send us. Bulk USB cameras need their stream type (--stream-type); UVC cameras the\n"
           "stream (--mode, --format); V4L2 cameras take their first mode unless --mode says otherwise.\n"
           "Waits at most T seconds (10) for the frames.\n";
}

int CaptureCommand::run(const std::vector<std::string>& args)
{
    Options options;
    Settings settings;
    std::string error;
    if (!options.parse(args,
                       {"index", "serial", "bus", "port-path", "frames", "out", "stream-type", "mode", "format",
                        "clock", "seconds"},
                       {}, error) ||
        !options.positionals().empty() || !CameraCatalog::checkSelector(options, error) ||
        !parseSettings(options, settings, error)) {
        if (error.empty()) error = "unexpected argument \"" + options.positionals()[0] + "\"";
        std::fprintf(Console::err(), "qv capture: %s\n%s", error.c_str(), usage());
        return 2;
    }
    CameraCatalog catalog;
    CameraEntry* camera = nullptr;
    if (const int status = catalog.selectOne(options, "capture", camera); status != 0) return status;
    const std::string which = "camera " + std::to_string(camera->index) + " (" +
                              CameraCatalog::modelName(camera->model) + ")";
    std::unique_ptr<ICapture> transport(createCaptureInstance(camera->attr, 0));
    const char* kind = transportName(transport.get());
    if (kind == nullptr) {
        std::fprintf(Console::err(), "qv capture: %s has no transport this tool opens (UVC, V4L2 or bulk USB)\n",
                     which.c_str());
        return 1;
    }
    if (const int status = configure(*transport, settings, which, error); status != 0) {
        std::fprintf(Console::err(), "qv capture: %s\n", error.c_str());
        return status;
    }
    std::error_code made;
    std::filesystem::create_directories(settings.out, made);
    if (made || !std::filesystem::is_directory(settings.out)) {
        std::fprintf(Console::err(), "qv capture: cannot create the directory %s\n", settings.out.c_str());
        return 1;
    }
    if (transport->open() != 0) {
        std::fprintf(Console::err(), "qv capture: the %s transport of %s did not open (the library's log says why)\n",
                     kind, which.c_str());
        return 1;
    }
    if (settings.streamType >= 0) {
        unsigned char type = static_cast<unsigned char>(settings.streamType);
        usb_ctrl_request_s request{0xBB, 0xBB, 0, 0, &type, 1, 0};
        transport->cmdMsg(&request);
    }
    std::vector<video_attr_s> modes;
    if (!settings.haveMode && transport->getCapability(modes) == 0 && !modes.empty()) {
        settings.width = modes[0].width;
        settings.height = modes[0].height;
        settings.fps = modes[0].fps;
        settings.format = modes[0].format;
    }
    Recorder recorder;
    recorder.dir = settings.out;
    recorder.wanted = settings.frames;
    video_cfg cfg;
    cfg.format = settings.format;
    cfg.width = settings.width;
    cfg.height = settings.height;
    cfg.fps = settings.fps;
    cfg.callback = &Recorder::onFrame;
    cfg.user = &recorder;
    cfg.timestampType = settings.clock;

    const auto usb = camera->attr.attr.usbAttrs;
    std::fprintf(Console::out(), "%s %04x:%04x on bus %d, address %d: %s transport", which.c_str(), usb.vid, usb.pid,
                 usb.busnum, usb.dev, kind);
    if (settings.streamType >= 0) std::fprintf(Console::out(), ", stream type %ld", settings.streamType);
    if (settings.fps != 0) std::fprintf(Console::out(), ", %ux%u@%u", settings.width, settings.height, settings.fps);
    std::fprintf(Console::out(), "\n");
    const auto began = std::chrono::steady_clock::now();
    if (transport->start(cfg) != 0) {
        transport->close();
        std::fprintf(Console::err(), "qv capture: the stream of %s did not start (the library's log says why)\n",
                     which.c_str());
        return 1;
    }
    {
        std::unique_lock<std::mutex> lock(recorder.mutex);
        recorder.changed.wait_for(lock, std::chrono::seconds(settings.seconds), [&] {
            return long(recorder.written.size()) >= settings.frames || !recorder.failure.empty();
        });
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    transport->stop();
    transport->close();
    writeIndex(recorder);
    printSummary(recorder, seconds);
    if (!recorder.failure.empty()) {
        std::fprintf(Console::err(), "qv capture: %s\n", recorder.failure.c_str());
        return 1;
    }
    if (long(recorder.written.size()) < settings.frames) {
        std::fprintf(Console::err(), "qv capture: %zu of %ld frames arrived within %ld s\n", recorder.written.size(),
                     settings.frames, settings.seconds);
        return 1;
    }
    return 0;
}

}  // namespace qv
