// What the V4L2 transport costs, against an emulated 640 x 480 16-bit depth stream:
//  - FrameDelivery: CPU of the capture thread per delivered frame (waiting, dequeuing,
//    copying out of the mapped buffer, requeuing, the callback), next to a memcpy of the
//    same 614,400 bytes measured in the same run (the floor), and their ratio; and the
//    CPU of one ioctl round trip to the emulated node, of which a frame takes two (DQBUF,
//    QBUF) where a kernel node costs a system call each;
//  - StreamAt30fps: CPU of the whole process (emulator and transport) while the stream
//    runs at 30 fps, as a share of one core, and the capture thread's part of it.
// Figures are reported, not judged.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

#include "EmulatedVideoFunction.h"
#include "Fl30cCalibration.h"
#include "PreloadEnvironment.h"
#include "UsbTestBed.h"
#include "V4L2Camera.h"
#include "VideoDepthScene.h"

using namespace orrindale::emulator;

namespace {

constexpr uint32_t kWidth = 640, kHeight = 480;
constexpr size_t kFrameBytes = size_t(kWidth) * kHeight * 2;

double processCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// The capture thread's CPU clock, read from inside its callback.
struct Meter {
    std::mutex mutex;
    int frames = 0;
    double firstCpu = 0, lastCpu = 0;

    static void onFrame(const frame_info* frame, void* user)
    {
        auto* m = static_cast<Meter*>(user);
        benchmark::DoNotOptimize(frame->data[frame->size - 1]);
        const double cpu = threadCpuSeconds();
        std::lock_guard<std::mutex> lock(m->mutex);
        if (m->frames++ == 0) m->firstCpu = cpu;
        m->lastCpu = cpu;
    }
};

struct Stream {
    std::unique_ptr<UsbTestBed> bed;
    std::unique_ptr<V4L2Camera> camera;
    Meter meter;

    bool start(int fps)
    {
        bed = UsbTestBed::create();
        if (!bed) return false;
        VideoFunctionConfig config = VideoFunctionConfig::sonix636b();
        config.formats = {{UvcPixelFormat::Yuy2, {{uint16_t(kWidth), uint16_t(kHeight), {fps}}}}};
        config.frames = VideoDepthScene::source(Fl30cCalibration::defaults().depth);
        if (bed->addVideoFunction(UsbLocation(1, {1}, 2), config) == nullptr) return false;
        camera = std::make_unique<V4L2Camera>(0x0C45, 0x636B, 1, 2);
        video_cfg cfg;
        cfg.width = kWidth;
        cfg.height = kHeight;
        cfg.fps = uint32_t(fps);
        cfg.callback = &Meter::onFrame;
        cfg.user = &meter;
        return camera->open() == 0 && camera->start(cfg) == 0;
    }
    void stop()
    {
        if (camera) camera->close();
        camera.reset();
        bed.reset();
    }
};

double memcpyMicroseconds()
{
    std::vector<unsigned char> from(kFrameBytes, 7), to(kFrameBytes);
    const int rounds = 200;
    const double start = threadCpuSeconds();
    for (int i = 0; i < rounds; ++i) {
        from[size_t(i)] = uint8_t(i);  // a fresh source each round
        std::memcpy(to.data(), from.data(), kFrameBytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    return (threadCpuSeconds() - start) / rounds * 1e6;
}

double ioctlMicroseconds(const std::string& node)
{
    const int fd = ::open(node.c_str(), O_RDWR);
    if (fd < 0) return 0;
    const int rounds = 200;
    uint32_t priority = 0;
    const double start = threadCpuSeconds();
    for (int i = 0; i < rounds; ++i) ioctl(fd, VIDIOC_G_PRIORITY, &priority);
    const double cpu = threadCpuSeconds() - start;
    ::close(fd);
    return cpu / rounds * 1e6;
}

void FrameDelivery(benchmark::State& state)
{
    for (auto _ : state) {
        Stream stream;
        if (!stream.start(60)) {
            state.SkipWithError("the stream did not start");
            return;
        }
        std::this_thread::sleep_for(std::chrono::seconds(4));
        stream.camera->stop();
        int frames = 0;
        double cpu = 0;
        {
            std::lock_guard<std::mutex> lock(stream.meter.mutex);
            frames = stream.meter.frames;
            cpu = stream.meter.lastCpu - stream.meter.firstCpu;
        }
        const double roundTrip = ioctlMicroseconds("/dev/video0");
        stream.stop();
        if (frames < 2) {
            state.SkipWithError("no frames");
            return;
        }
        const double perFrame = cpu / (frames - 1) * 1e6;
        const double floor = memcpyMicroseconds();
        state.counters["frames"] = frames;
        state.counters["transport_us_per_frame"] = perFrame;
        state.counters["memcpy_us_per_frame"] = floor;
        state.counters["ratio_to_memcpy"] = perFrame / floor;
        state.counters["emulated_ioctl_us"] = roundTrip;
    }
}
BENCHMARK(FrameDelivery)->Iterations(1)->Unit(benchmark::kSecond);

void StreamAt30fps(benchmark::State& state)
{
    for (auto _ : state) {
        Stream stream;
        if (!stream.start(30)) {
            state.SkipWithError("the stream did not start");
            return;
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));  // steady state first
        int startFrames = 0;
        double startThread = 0;
        {
            std::lock_guard<std::mutex> lock(stream.meter.mutex);
            startFrames = stream.meter.frames;
            startThread = stream.meter.lastCpu;
        }
        const double startCpu = processCpuSeconds();
        const auto startWall = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(5));
        const double cpu = processCpuSeconds() - startCpu;
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - startWall).count();
        int frames = 0;
        double thread = 0;
        {
            std::lock_guard<std::mutex> lock(stream.meter.mutex);
            frames = stream.meter.frames - startFrames;
            thread = stream.meter.lastCpu - startThread;
        }
        stream.stop();
        state.counters["fps"] = frames / wall;
        state.counters["process_cpu_percent_of_core"] = 100.0 * cpu / wall;
        state.counters["capture_thread_cpu_percent_of_core"] = 100.0 * thread / wall;
    }
}
BENCHMARK(StreamAt30fps)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

int main(int argc, char** argv)
{
    if (!PreloadEnvironment::ensure(argv)) return 1;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
