#include "StreamCommand.h"

#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>

#include "CameraCatalog.h"
#include "Console.h"
#include "FrameSaver.h"
#include "StreamStats.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"

namespace qv {

namespace {

constexpr int kImageStreams = QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_IR | QV_MEDIA_POINTCLOUD;

struct CameraStream {
    CameraEntry* camera = nullptr;
    int mask = 0;
    uint64_t limit = 0;  // frame groups to take; 0: no limit
    std::unique_ptr<StreamStats> stats;
    std::mutex saveMutex;
    std::set<uint64_t> saveAt;  // callback numbers (1-based) whose frames are kept
    // A kept group still waiting for a stream that arrives in another group (the Fl30c
    // sends depth and infrared in turn), and the groups seen since.
    std::unique_ptr<SavedGroup> pending;
    int pendingAge = 0;
    std::vector<SavedGroup> saved;
    bool depthAligned = false;
    bool started = false;
};

// The image streams of the mask that the group still lacks.
int missing(const SavedGroup& g, int mask)
{
    int lacks = 0;
    if ((mask & QV_MEDIA_DEPTH) && !g.depth.present()) lacks |= QV_MEDIA_DEPTH;
    if ((mask & QV_MEDIA_RGB) && !g.rgb.present()) lacks |= QV_MEDIA_RGB;
    if ((mask & QV_MEDIA_IR) && !g.ir.present()) lacks |= QV_MEDIA_IR;
    if ((mask & QV_MEDIA_POINTCLOUD) && !g.cloud.present()) lacks |= QV_MEDIA_POINTCLOUD;
    return lacks;
}

void onFrames(void*, const CAM_DATA* data, void* user)
{
    auto* stream = static_cast<CameraStream*>(user);
    // --frames N: the groups after the N-th are not counted (the main loop stops the
    // stream soon after, but not at once).
    if (stream->limit != 0 && stream->stats->callbacks() >= stream->limit) return;
    stream->stats->record(*data);
    const uint64_t n = stream->stats->callbacks();
    std::lock_guard<std::mutex> lock(stream->saveMutex);
    if (stream->pending) {
        SavedGroup& g = *stream->pending;
        const int lacks = missing(g, stream->mask);
        if ((lacks & QV_MEDIA_IR) && data->frame[CAM_DATA_SLOT_IR].size != 0)
            g.ir = FrameSaver::copy(data->frame[CAM_DATA_SLOT_IR]);
        if ((lacks & QV_MEDIA_RGB) && data->frame[CAM_DATA_SLOT_RGB].size != 0)
            g.rgb = FrameSaver::copy(data->frame[CAM_DATA_SLOT_RGB]);
        if (missing(g, stream->mask) == 0 || ++stream->pendingAge >= 8) {
            stream->saved.push_back(std::move(g));
            stream->pending.reset();
        }
        return;
    }
    if (stream->saveAt.empty() || n < *stream->saveAt.begin()) return;
    // A kept group starts with depth (the cloud and the colourised picture need it), or
    // with any image when depth was not asked for.
    const bool anchor = (stream->mask & QV_MEDIA_DEPTH) ? data->frame[CAM_DATA_SLOT_DEPTH].size != 0
                                                        : data->frame[CAM_DATA_SLOT_RGB].size != 0 ||
                                                              data->frame[CAM_DATA_SLOT_IR].size != 0;
    if (!anchor) return;
    stream->saveAt.erase(stream->saveAt.begin());
    SavedGroup g = FrameSaver::copy(*data);
    if (missing(g, stream->mask) == 0) {
        stream->saved.push_back(std::move(g));
    } else {
        stream->pending = std::make_unique<SavedGroup>(std::move(g));
        stream->pendingAge = 0;
    }
}

volatile std::sig_atomic_t g_interrupted = 0;

void onInterrupt(int) { g_interrupted = 1; }

size_t terminalColumns(FILE* terminal)
{
    winsize size{};
    if (ioctl(fileno(terminal), TIOCGWINSZ, &size) == 0 && size.ws_col > 20) return size.ws_col;
    return 80;
}

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

bool parseStreams(const std::string& list, int& mask, std::string& error)
{
    mask = 0;
    std::stringstream in(list);
    for (std::string item; std::getline(in, item, ',');) {
        if (item == "depth")
            mask |= QV_MEDIA_DEPTH;
        else if (item == "rgb" || item == "color")
            mask |= QV_MEDIA_RGB;
        else if (item == "ir")
            mask |= QV_MEDIA_IR;
        else if (item == "cloud")
            mask |= QV_MEDIA_POINTCLOUD;
        else if (item == "mjpeg")
            mask |= QV_MEDIA_RAW_MJPEG;
        else {
            error = "unknown stream \"" + item + "\" (depth, rgb, ir, cloud, mjpeg)";
            return false;
        }
    }
    return true;
}

bool makeDirectory(const std::string& dir, std::string& error)
{
    struct stat st{};
    if (stat(dir.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) return true;
        error = dir + " exists and is not a directory";
        return false;
    }
    std::string partial;
    std::stringstream in(dir);
    if (!dir.empty() && dir[0] == '/') partial = "/";
    for (std::string part; std::getline(in, part, '/');) {
        if (part.empty()) continue;
        partial += part + "/";
        if (mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) {
            error = "cannot create " + dir;
            return false;
        }
    }
    return true;
}

bool readableFile(const std::string& path)
{
    struct stat st{};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), R_OK) == 0;
}

struct Settings {
    long frames = 0;
    double seconds = 0;
    int mask = 0;
    bool haveDepth = false, haveRgb = false;
    STREAM_PARAM_S depth{}, rgb{};
    TIME_STAMP_TYPE clock = TIME_STAMP_STEADY;
    int processorOutput = -1;  // Fl30c stream command: 0 depth, 1 infrared, 2 both in turn
    std::string config, saveDir;
    std::set<uint64_t> saveAt;
    CloudUnits units = CloudUnits::Metres;
};

bool parseSettings(const Options& o, Settings& s, std::string& error)
{
    if (o.has("frames") && !Options::toInt(o.get("frames"), 1, 100000000, s.frames)) {
        error = "--frames needs a positive number";
        return false;
    }
    if (o.has("seconds") && (!Options::toDouble(o.get("seconds"), s.seconds) || s.seconds <= 0)) {
        error = "--seconds needs a positive number";
        return false;
    }
    if (o.has("frames") && o.has("seconds")) {
        error = "choose --frames or --seconds, not both";
        return false;
    }
    if (!o.has("frames") && !o.has("seconds")) s.seconds = 5;
    if (o.has("streams") && o.has("mask")) {
        error = "choose --streams or --mask, not both";
        return false;
    }
    s.mask = 0;  // each camera's own default set
    if (o.has("streams") && (!parseStreams(o.get("streams"), s.mask, error) || s.mask == 0)) {
        if (s.mask == 0) error = "--streams needs at least one of depth, rgb, ir, cloud, mjpeg";
        return false;
    }
    if (o.has("mask")) {
        long mask = 0;
        if (!Options::toInt(o.get("mask"), 1, 0xFF, mask) || (mask & ~(kImageStreams | QV_MEDIA_RAW_MJPEG))) {
            error = "--mask needs the stream bits 0x1 depth, 0x2 colour, 0x4 infrared, 0x8 point cloud, 0x80 MJPEG "
                    "(for example 0x0b)";
            return false;
        }
        s.mask = static_cast<int>(mask);
    }
    if (o.has("processor-output")) {
        const std::string mode = o.get("processor-output");
        s.processorOutput = mode == "depth" ? 0 : mode == "ir" ? 1 : mode == "alternate" ? 2 : -1;
        if (s.processorOutput < 0) {
            error = "--processor-output is depth, ir or alternate";
            return false;
        }
    }
    for (const char* name : {"depth", "rgb"}) {
        if (!o.has(name)) continue;
        STREAM_PARAM_S& p = std::string(name) == "depth" ? s.depth : s.rgb;
        p.fps = 15;
        if (!Options::toMode(o.get(name), p.width, p.height, p.fps)) {
            error = std::string("--") + name + " needs WIDTHxHEIGHT[@FPS], for example 640x480@30";
            return false;
        }
        (std::string(name) == "depth" ? s.haveDepth : s.haveRgb) = true;
    }
    const std::string clock = o.get("clock", "steady");
    if (clock != "steady" && clock != "system") {
        error = "--clock is steady or system";
        return false;
    }
    s.clock = clock == "system" ? TIME_STAMP_SYSTEM : TIME_STAMP_STEADY;
    s.config = o.get("config");
    if (o.has("config") && s.config.empty()) {
        error = "--config needs a file";
        return false;
    }
    s.saveDir = o.get("save");
    if (o.has("save") && s.saveDir.empty()) {
        error = "--save needs a directory";
        return false;
    }
    if (o.has("save-at") && !o.has("save")) {
        error = "--save-at goes with --save DIR";
        return false;
    }
    if (o.has("save-at")) {
        std::stringstream in(o.get("save-at"));
        for (std::string item; std::getline(in, item, ',');) {
            long n = 0;
            if (!Options::toInt(item, 1, 100000000, n)) {
                error = "--save-at needs frame numbers such as 10 or 5,30";
                return false;
            }
            s.saveAt.insert(static_cast<uint64_t>(n));
        }
    }
    if (!s.saveDir.empty() && s.saveAt.empty()) s.saveAt.insert(10);
    const std::string units = o.get("units", "m");
    if (units != "m" && units != "mm") {
        error = "--units is m or mm";
        return false;
    }
    s.units = units == "mm" ? CloudUnits::Millimetres : CloudUnits::Metres;
    return true;
}

// The Fl30c's extension-unit command that chooses what its depth processor sends.
constexpr unsigned char kStreamCommand = 0x20;

// A sentence for an open that failed while a configuration file was given.
std::string configFailure(int code, const std::string& path, void* handle)
{
    const char* why = nullptr;
    switch (code) {
    case -1:
        // A container whose checksum fails and a camera that does not answer both give -1:
        // the camera opening without the file tells them apart.
        if (QV_SDK_OpenCamera(handle, nullptr) != 0) return CameraCatalog::openFailure(code);
        QV_SDK_CloseCamera(handle);
        why = "its checksum does not match its contents (damaged, or changed after it was encrypted)";
        break;
    case -3: why = "it cannot be read"; break;
    case -4: why = "its container header does not fit the file"; break;
    case -5: why = "it cannot be decrypted"; break;
    case -6: why = "it is not JSON"; break;
    case -7: why = "its \"version\" is missing or not one this library reads"; break;
    case -8: why = "it has no section for this camera model"; break;
    case -9: why = "a value has the wrong type or is out of range (the log line names it)"; break;
    default: return CameraCatalog::openFailure(code);
    }
    return "the configuration file " + path + " was refused: " + why;
}

// Opens and configures one camera; false with a message.
bool startCamera(CameraStream& stream, const Settings& s, std::string& error)
{
    CameraEntry& c = *stream.camera;
    const std::string name = "camera " + std::to_string(c.index);
    int ret = QV_SDK_OpenCamera(c.handle, s.config.empty() ? nullptr : s.config.c_str());
    if (ret != 0) {
        error = name + ": " + (s.config.empty() ? CameraCatalog::openFailure(ret) : configFailure(ret, s.config, c.handle));
        return false;
    }
    if (s.processorOutput >= 0) {
        if (c.model != CAMERA_MODEL_FL30C) {
            error = name + ": --processor-output is a setting of the Fl30c";
            return false;
        }
        unsigned char payload[64] = {};
        std::snprintf(reinterpret_cast<char*>(payload), sizeof payload, "%d", s.processorOutput);
        if ((ret = QV_FL30C_CustomWrite(c.handle, kStreamCommand, payload, sizeof payload)) != 0) {
            error = name + ": the depth processor's output could not be set (code " + std::to_string(ret) + ")";
            return false;
        }
    }
    if (s.haveDepth && (ret = QV_SDK_SetStreamParam(c.handle, MEDIA_TYPE_DEPTH, &s.depth)) != 0) {
        error = name + ": depth mode not offered (see qv info for the modes)";
        return false;
    }
    if (s.haveRgb && (ret = QV_SDK_SetStreamParam(c.handle, MEDIA_TYPE_RGB, &s.rgb)) != 0) {
        error = name + ": colour mode not offered (see qv info for the modes)";
        return false;
    }
    QV_SDK_SetTimeStampType(c.handle, s.clock);
    QV_CONFIG_INFO info{};
    if (QV_SDK_GetConfigInfo(c.handle, info) == 0) stream.depthAligned = info.depthAligned != 0;
    STREAM_CALLBACK_S callback{&onFrames, &stream};
    QV_SDK_RegisterStreamCallback(c.handle, &callback);
    // Without --streams or --mask: depth, colour and point cloud, or depth and point cloud
    // from a camera without colour.
    const bool colour = c.model == CAMERA_MODEL_FL30C;
    stream.mask = s.mask != 0 ? s.mask : int(QV_MEDIA_DEPTH | QV_MEDIA_POINTCLOUD) | (colour ? int(QV_MEDIA_RGB) : 0);
    ret = QV_SDK_StartStream(c.handle, stream.mask);
    if (ret != 0) {
        error = name + ": stream not started (code " + std::to_string(ret) +
                (ret == -85 ? ": this stream combination is not offered" : ret == -91 ? ": frame rates do not combine" : "") +
                ")";
        return false;
    }
    stream.started = true;
    return true;
}

}  // namespace

const char* StreamCommand::usage()
{
    return "usage: qv stream [--index N | --serial S | --bus B --port-path P] [--frames N | --seconds T]\n"
           "                 [--streams depth,rgb,ir,cloud,mjpeg | --mask HEX] [--depth WxH@FPS] [--rgb WxH@FPS]\n"
           "                 [--clock steady|system] [--config FILE] [--processor-output depth|ir|alternate]\n"
           "                 [--save DIR [--save-at N[,M...]] [--units m|mm]]\n"
           "Streams every attached camera unless one is chosen; depth, rgb and cloud for 5 s by default.\n"
           "--save DIR writes the frame group at callback N (10 by default) of each camera: depth as a\n"
           "colourised PNG with its range in mm and as 16-bit PNG (mm), colour and infrared as PNG, the\n"
           "point cloud as PCD and binary PLY in metres (--units mm: millimetres). Infrared needs\n"
           "--processor-output alternate (depth and infrared in turn) or ir. Ctrl-C ends the stream\n"
           "early and still prints the summary.\n";
}

int StreamCommand::run(const std::vector<std::string>& args)
{
    Options options;
    std::string error;
    if (!options.parse(args,
                       {"index", "serial", "bus", "port-path", "frames", "seconds", "streams", "mask", "depth", "rgb",
                        "clock", "config", "processor-output", "save", "save-at", "units"},
                       {}, error) ||
        !options.positionals().empty()) {
        std::fprintf(Console::err(), "qv stream: %s\n%s",
                     error.empty() ? ("unexpected argument \"" + options.positionals()[0] + "\"").c_str() : error.c_str(),
                     usage());
        return 2;
    }
    Settings settings;
    if (!CameraCatalog::checkSelector(options, error) || !parseSettings(options, settings, error)) {
        std::fprintf(Console::err(), "qv stream: %s\n%s", error.c_str(), usage());
        return 2;
    }
    if (!settings.config.empty() && !readableFile(settings.config)) {
        std::fprintf(Console::err(), "qv stream: cannot read the configuration file %s\n", settings.config.c_str());
        return 1;
    }
    if (!settings.saveDir.empty() && !makeDirectory(settings.saveDir, error)) {
        std::fprintf(Console::err(), "qv stream: %s\n", error.c_str());
        return 1;
    }

    CameraCatalog catalog;
    std::vector<CameraEntry*> selected;
    if (!catalog.load(error)) {
        std::fprintf(Console::err(), "qv stream: %s\n", error.c_str());
        return 1;
    }
    if (const int status = catalog.select(options, selected, error)) {
        std::fprintf(Console::err(), "qv stream: %s\n", error.c_str());
        return status;
    }
    std::vector<std::unique_ptr<CameraStream>> streams;
    int status = 0;
    size_t running = 0;
    for (CameraEntry* camera : selected) {
        auto stream = std::make_unique<CameraStream>();
        stream->camera = camera;
        stream->stats = std::make_unique<StreamStats>(
            settings.clock,  // an Fl30c streams colour by default (no mask given) or when asked
            camera->model == CAMERA_MODEL_FL30C && (settings.mask == 0 || (settings.mask & QV_MEDIA_RGB)));
        stream->saveAt = settings.saveAt;
        stream->limit = static_cast<uint64_t>(settings.frames);
        if (startCamera(*stream, settings, error)) {
            ++running;
        } else {
            std::fprintf(Console::err(), "qv stream: %s\n", error.c_str());
            status = 1;
        }
        streams.push_back(std::move(stream));
    }
    if (running == 0) {
        for (auto& s : streams) QV_SDK_CloseCamera(s->camera->handle);
        return 1;
    }

    g_interrupted = 0;
    struct sigaction interrupt{}, previousInt{}, previousTerm{};
    interrupt.sa_handler = &onInterrupt;
    sigemptyset(&interrupt.sa_mask);
    sigaction(SIGINT, &interrupt, &previousInt);
    sigaction(SIGTERM, &interrupt, &previousTerm);

    const double cpuStart = cpuSeconds();
    const auto t0 = std::chrono::steady_clock::now();
    FILE* progress = Console::err();
    const bool tty = isatty(fileno(progress));
    auto lastPrint = t0;
    size_t shownLines = 0;
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const auto now = std::chrono::steady_clock::now();
        const double elapsed = std::chrono::duration<double>(now - t0).count();
        bool done = g_interrupted != 0 || (settings.seconds > 0 && elapsed >= settings.seconds);
        if (settings.frames > 0) {
            bool all = true;
            for (auto& s : streams)
                if (s->started && s->stats->callbacks() < static_cast<uint64_t>(settings.frames)) all = false;
            // A camera that stops delivering must not hold the command forever.
            done = done || all || elapsed > 10.0 + settings.frames / 5.0;
        }
        if (now - lastPrint >= std::chrono::milliseconds(500) || done) {
            lastPrint = now;
            std::vector<std::string> parts;
            for (auto& s : streams) {
                if (!s->started) continue;
                char part[256];
                std::snprintf(part, sizeof part, "cam%d %llu frames | %s | drops %llu", s->camera->index,
                              static_cast<unsigned long long>(s->stats->callbacks()), s->stats->rates().c_str(),
                              static_cast<unsigned long long>(s->stats->droppedTransfers()));
                parts.push_back(part);
            }
            if (tty) {
                // One line per camera, rewritten in place.
                if (shownLines > 0) std::fprintf(progress, "\x1b[%zuA", shownLines);
                for (const std::string& part : parts)
                    std::fprintf(progress, "\r\x1b[K%s\n", part.substr(0, terminalColumns(progress) - 1).c_str());
                shownLines = parts.size();
            } else {
                std::string line;
                for (const std::string& part : parts) line += (line.empty() ? "" : "  ||  ") + part;
                std::fprintf(progress, "%s\n", line.c_str());
            }
            std::fflush(progress);
        }
        if (done) break;
    }
    // Time and CPU of the streaming itself, before the cameras are stopped and closed.
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    const double cpu = cpuSeconds() - cpuStart;
    for (auto& s : streams) {
        if (s->started) QV_SDK_StopStream(s->camera->handle, 0);
        QV_SDK_CloseCamera(s->camera->handle);
    }
    sigaction(SIGINT, &previousInt, nullptr);
    sigaction(SIGTERM, &previousTerm, nullptr);

    FILE* out = Console::out();
    for (auto& s : streams) {
        if (!s->started) continue;
        const StreamStats& st = *s->stats;
        std::fprintf(out, "Camera %d (%s): %llu frame groups in %.1f s\n", s->camera->index,
                     CameraCatalog::modelName(s->camera->model), static_cast<unsigned long long>(st.callbacks()), seconds);
        std::string absent;
        for (int k = 0; k < StreamStats::kStreams; ++k) {
            if (st.frames(k) > 0)
                std::fprintf(out, "  %-6s %8llu frames  %6.2f fps\n", StreamStats::streamName(k),
                             static_cast<unsigned long long>(st.frames(k)), st.fps(k));
            else if (s->mask & StreamStats::maskBit(k))
                absent += std::string(absent.empty() ? "" : ", ") + StreamStats::streamName(k);
        }
        std::fprintf(out, "  dropped transfers   %llu\n", static_cast<unsigned long long>(st.droppedTransfers()));
        if (s->camera->model == CAMERA_MODEL_FL30C && (s->mask & QV_MEDIA_RGB))
            std::fprintf(out, "  damaged color       %llu (not decodable, dropped by the library)\n",
                         static_cast<unsigned long long>(st.damagedColour()));
        std::fprintf(out, "  callback latency    %.1f ms mean, %.1f ms max (from the transport's time stamp)\n",
                     st.meanLatencyMs(), st.maxLatencyMs());
        if (!absent.empty()) {
            std::fprintf(Console::err(), "qv stream: camera %d sent no %s frames%s\n", s->camera->index, absent.c_str(),
                         (s->mask & QV_MEDIA_IR) && st.frames(2) == 0 && s->camera->model == CAMERA_MODEL_FL30C
                             ? " (the Fl30c sends infrared only when its depth processor is told to: "
                               "--processor-output alternate or ir)"
                             : "");
            status = 1;
        }

        std::lock_guard<std::mutex> lock(s->saveMutex);
        if (s->pending) {
            s->saved.push_back(std::move(*s->pending));
            s->pending.reset();
        }
        for (const SavedGroup& g : s->saved) {
            const std::string prefix = "cam" + std::to_string(s->camera->index) + "_frame" + std::to_string(g.frameId) + "_";
            std::string saveError;
            for (const std::string& path :
                 FrameSaver::write(g, settings.saveDir, prefix, s->depthAligned, settings.units, saveError))
                std::fprintf(out, "  saved %s\n", path.c_str());
            if (!saveError.empty()) {
                std::fprintf(Console::err(), "qv stream: %s\n", saveError.c_str());
                status = 1;
            }
        }
        if (!s->saveAt.empty()) {
            std::string never;
            for (uint64_t n : s->saveAt) never += (never.empty() ? "" : ", ") + std::to_string(n);
            std::fprintf(Console::err(), "qv stream: camera %d: frame group %s not saved: the stream ended after %llu\n",
                         s->camera->index, never.c_str(), static_cast<unsigned long long>(st.callbacks()));
            status = 1;
        }
    }
    std::fprintf(out, "CPU time %.2f s (%.0f%% of one core, the process including any emulated cameras)\n", cpu,
                 seconds > 0 ? 100.0 * cpu / seconds : 0.0);
    std::fflush(out);
    return status;
}

}  // namespace qv
