#include "StreamCommand.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

namespace qv {

namespace {

struct CameraStream {
    CameraEntry* camera = nullptr;
    std::unique_ptr<StreamStats> stats;
    std::mutex saveMutex;
    std::set<uint64_t> saveAt;  // callback numbers (1-based) whose frames are kept
    std::vector<SavedGroup> saved;
    bool depthAligned = false;
    bool started = false;
};

void onFrames(void*, const CAM_DATA* data, void* user)
{
    auto* stream = static_cast<CameraStream*>(user);
    stream->stats->record(*data);
    const uint64_t n = stream->stats->callbacks();
    std::lock_guard<std::mutex> lock(stream->saveMutex);
    // A kept group needs its depth; the first callback at or after the chosen number that has one.
    if (!stream->saveAt.empty() && n >= *stream->saveAt.begin() && data->frame[CAM_DATA_SLOT_DEPTH].size != 0) {
        stream->saved.push_back(FrameSaver::copy(*data));
        stream->saveAt.erase(stream->saveAt.begin());
    }
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

struct Settings {
    long frames = 0;
    double seconds = 0;
    int mask = 0;
    bool haveDepth = false, haveRgb = false;
    STREAM_PARAM_S depth{}, rgb{};
    TIME_STAMP_TYPE clock = TIME_STAMP_STEADY;
    std::string config, saveDir;
    std::set<uint64_t> saveAt;
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
    if (!o.has("frames") && !o.has("seconds")) s.seconds = 5;
    if (o.has("streams") && !parseStreams(o.get("streams"), s.mask, error)) return false;
    if (o.has("mask")) {
        long mask = 0;
        if (!Options::toInt(o.get("mask"), 0, 0xFF, mask)) {
            error = "--mask needs a number such as 0x0b";
            return false;
        }
        s.mask = static_cast<int>(mask);
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
    s.saveDir = o.get("save");
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
    return true;
}

// Opens and configures one camera; false with a message.
bool startCamera(CameraStream& stream, const Settings& s, std::string& error)
{
    CameraEntry& c = *stream.camera;
    const std::string name = "camera " + std::to_string(c.index);
    int ret = QV_SDK_OpenCamera(c.handle, s.config.empty() ? nullptr : s.config.c_str());
    if (ret != 0) {
        error = name + ": " + CameraCatalog::openFailure(ret);
        return false;
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
    ret = QV_SDK_StartStream(c.handle, s.mask);
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
           "                 [--clock steady|system] [--config FILE] [--save DIR [--save-at N[,M...]]]\n";
}

int StreamCommand::run(const std::vector<std::string>& args)
{
    Options options;
    std::string error;
    if (!options.parse(args,
                       {"index", "serial", "bus", "port-path", "frames", "seconds", "streams", "mask", "depth", "rgb",
                        "clock", "config", "save", "save-at"},
                       {}, error) ||
        !options.positionals().empty()) {
        std::fprintf(Console::err(), "qv stream: %s\n%s", error.empty() ? "unexpected argument" : error.c_str(), usage());
        return 2;
    }
    Settings settings;
    if (!parseSettings(options, settings, error)) {
        std::fprintf(Console::err(), "qv stream: %s\n%s", error.c_str(), usage());
        return 2;
    }
    if (!settings.saveDir.empty() && !makeDirectory(settings.saveDir, error)) {
        std::fprintf(Console::err(), "qv stream: %s\n", error.c_str());
        return 1;
    }

    CameraCatalog catalog;
    std::vector<CameraEntry*> selected;
    if (!catalog.load(error) || !catalog.select(options, selected, error)) {
        std::fprintf(Console::err(), "qv stream: %s\n", error.c_str());
        return 1;
    }
    std::vector<std::unique_ptr<CameraStream>> streams;
    int status = 0;
    for (CameraEntry* camera : selected) {
        auto stream = std::make_unique<CameraStream>();
        stream->camera = camera;
        stream->stats = std::make_unique<StreamStats>(settings.clock);
        stream->saveAt = settings.saveAt;
        if (!startCamera(*stream, settings, error)) {
            std::fprintf(Console::err(), "qv stream: %s\n", error.c_str());
            status = 1;
        }
        streams.push_back(std::move(stream));
    }

    const double cpuStart = cpuSeconds();
    const auto t0 = std::chrono::steady_clock::now();
    const bool tty = isatty(STDERR_FILENO);
    auto lastPrint = t0;
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const auto now = std::chrono::steady_clock::now();
        const double elapsed = std::chrono::duration<double>(now - t0).count();
        bool done = settings.seconds > 0 && elapsed >= settings.seconds;
        if (settings.frames > 0) {
            bool all = true;
            for (auto& s : streams)
                if (s->started && s->stats->callbacks() < static_cast<uint64_t>(settings.frames)) all = false;
            // A camera that stops delivering must not hold the command forever.
            done = done || all || elapsed > 10.0 + settings.frames / 5.0;
        }
        if (now - lastPrint >= std::chrono::milliseconds(500) || done) {
            lastPrint = now;
            std::string line;
            for (auto& s : streams) {
                if (!s->started) continue;
                char part[256];
                std::snprintf(part, sizeof part, "%scam%d %llu frames | %s | drops %llu", line.empty() ? "" : "  ||  ",
                              s->camera->index, static_cast<unsigned long long>(s->stats->callbacks()),
                              s->stats->rates().c_str(), static_cast<unsigned long long>(s->stats->droppedTransfers()));
                line += part;
            }
            std::fprintf(Console::err(), tty ? "\r%-120s" : "%s\n", line.c_str());
            std::fflush(Console::err());
        }
        if (done) break;
    }
    if (tty) std::fprintf(Console::err(), "\n");
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    for (auto& s : streams) {
        if (s->started) QV_SDK_StopStream(s->camera->handle, 0);
        QV_SDK_CloseCamera(s->camera->handle);
    }
    const double cpu = cpuSeconds() - cpuStart;

    FILE* out = Console::out();
    for (auto& s : streams) {
        if (!s->started) continue;
        const StreamStats& st = *s->stats;
        std::fprintf(out, "Camera %d (%s): %llu frame groups in %.1f s\n", s->camera->index,
                     CameraCatalog::modelName(s->camera->model), static_cast<unsigned long long>(st.callbacks()), seconds);
        for (int k = 0; k < StreamStats::kStreams; ++k)
            if (st.frames(k) > 0)
                std::fprintf(out, "  %-6s %8llu frames  %6.2f fps\n", StreamStats::streamName(k),
                             static_cast<unsigned long long>(st.frames(k)), st.fps(k));
        std::fprintf(out, "  dropped transfers   %llu\n", static_cast<unsigned long long>(st.droppedTransfers()));
        std::fprintf(out, "  callback latency    %.1f ms mean, %.1f ms max (from the transport's time stamp)\n",
                     st.meanLatencyMs(), st.maxLatencyMs());
        if (st.callbacks() == 0) status = 1;

        std::lock_guard<std::mutex> lock(s->saveMutex);
        for (const SavedGroup& g : s->saved) {
            const std::string prefix = "cam" + std::to_string(s->camera->index) + "_frame" + std::to_string(g.frameId) + "_";
            std::string saveError;
            for (const std::string& path : FrameSaver::write(g, settings.saveDir, prefix, s->depthAligned, saveError))
                std::fprintf(out, "  saved %s\n", path.c_str());
            if (!saveError.empty()) {
                std::fprintf(Console::err(), "qv stream: %s\n", saveError.c_str());
                status = 1;
            }
        }
    }
    std::fprintf(out, "CPU time %.2f s (%.0f%% of one core, the process including any emulated cameras)\n", cpu,
                 seconds > 0 ? 100.0 * cpu / seconds : 0.0);
    std::fflush(out);
    return status;
}

}  // namespace qv
