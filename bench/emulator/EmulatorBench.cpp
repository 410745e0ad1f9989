// What the emulated devices cost the tests that use them:
//  - TestBedSetUp: a fresh test bed with one Fl30c, as every test gets it, and the
//    same with a libusb context opening the camera (the least a test does);
//  - Fl30cStream: CPU of this whole process (emulator, libusb and a plain libuvc client)
//    while a 640 x 642 transfer streams at 30 fps, as a share of one core; the argument
//    is 1 when the client's memory is served in place (a client in this process, as in
//    the tests), 0 when it is reached through copies (a client in another process).
//  - Fl30cCommandedRate: the rate a plain libuvc client receives, 15 fps by default and
//    after the frame-rate command "30" (the tests check the command, not the clock);
//  - AnotherProcessStream: a plain libuvc client in a process that orr-emulate starts,
//    streaming 320 x 564 at 30 fps: the rate it reports.
#include <benchmark/benchmark.h>
#include <libusb.h>
#include <libuvc/libuvc.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "EmulatedFl30c.h"
#include "PreloadEnvironment.h"
#include "UsbTestBed.h"

using namespace orrindale::emulator;

namespace {

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void TestBedSetUp(benchmark::State& state)
{
    const bool openCamera = state.range(0) != 0;
    for (auto _ : state) {
        auto bed = UsbTestBed::create();
        if (!bed || bed->addFl30c(UsbLocation(1, {4}, 5)) == nullptr) {
            state.SkipWithError("no test bed");
            return;
        }
        if (openCamera) {
            libusb_context* context = nullptr;
            libusb_init(&context);
            libusb_device_handle* handle = libusb_open_device_with_vid_pid(context, 0x3482, 0x6723);
            if (handle != nullptr) libusb_close(handle);
            libusb_exit(context);
        }
    }
}
BENCHMARK(TestBedSetUp)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void onFrame(uvc_frame_t*, void* user) { ++*static_cast<std::atomic<int>*>(user); }

// A plain libuvc client streaming 640 x 642 transfers of the first emulated Fl30c.
class UvcStream {
public:
    explicit UvcStream(int fps)
    {
        uvc_stream_ctrl_t control;
        m_ok = uvc_init(&m_context, nullptr) == UVC_SUCCESS &&
               uvc_find_device(m_context, &m_device, 0x3482, 0x6723, nullptr) == UVC_SUCCESS &&
               uvc_open(m_device, &m_handle) == UVC_SUCCESS &&
               uvc_get_stream_ctrl_format_size(m_handle, &control, UVC_FRAME_FORMAT_YUYV, 640, 642, fps) == UVC_SUCCESS &&
               uvc_start_streaming(m_handle, &control, onFrame, &frames, 0) == UVC_SUCCESS;
    }
    ~UvcStream()
    {
        if (m_handle != nullptr) {
            uvc_stop_streaming(m_handle);
            uvc_close(m_handle);
        }
        if (m_device != nullptr) uvc_unref_device(m_device);
        if (m_context != nullptr) uvc_exit(m_context);
    }
    bool ok() const { return m_ok; }
    libusb_device_handle* usb() const { return uvc_get_libusb_handle(m_handle); }
    std::atomic<int> frames{0};

private:
    uvc_context_t* m_context = nullptr;
    uvc_device_t* m_device = nullptr;
    uvc_device_handle_t* m_handle = nullptr;
    bool m_ok = false;
};

// Frames per second over `seconds`.
double measuredRate(UvcStream& stream, int seconds)
{
    const int startFrames = stream.frames;
    const auto startWall = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - startWall).count();
    return (stream.frames - startFrames) / wall;
}

void Fl30cStream(benchmark::State& state)
{
    TestBedOptions options;
    options.shareHostMemory = state.range(0) != 0;
    for (auto _ : state) {
        auto bed = UsbTestBed::create(options);
        Fl30cConfig config;
        config.settings.frameRate = 30;
        EmulatedFl30c* camera = bed ? bed->addFl30c(UsbLocation(1, {4}, 5), config) : nullptr;
        UvcStream stream(30);
        if (camera == nullptr || !stream.ok()) {
            state.SkipWithError("streaming did not start");
            return;
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));  // every transfer buffer in use once
        const double startCpu = cpuSeconds();
        const auto startWall = std::chrono::steady_clock::now();
        state.counters["fps"] = measuredRate(stream, 4);
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - startWall).count();
        state.counters["cpu_percent_of_core"] = 100.0 * (cpuSeconds() - startCpu) / wall;
        state.counters["ioctls_per_transfer"] =
            double(camera->device()->statistics().ioctls) / double(std::max<uint64_t>(1, camera->framesSent()));
    }
}
BENCHMARK(Fl30cStream)->Arg(1)->Arg(0)->Iterations(1)->Unit(benchmark::kSecond);

void Fl30cCommandedRate(benchmark::State& state)
{
    const int fps = static_cast<int>(state.range(0));
    for (auto _ : state) {
        auto bed = UsbTestBed::create();
        EmulatedFl30c* camera = bed ? bed->addFl30c(UsbLocation(1, {4}, 5)) : nullptr;
        UvcStream stream(15);
        if (camera == nullptr || !stream.ok()) {
            state.SkipWithError("streaming did not start");
            return;
        }
        if (fps != 15) {
            uint8_t payload[64] = {};
            const std::string text = std::to_string(fps);
            std::memcpy(payload, text.data(), text.size());
            libusb_control_transfer(stream.usb(), 0x21, 0x54, 0x0100, 0x0A00, payload, 64, 3000);
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));
        state.counters["fps"] = measuredRate(stream, 3);
    }
}
BENCHMARK(Fl30cCommandedRate)->Arg(15)->Arg(30)->Iterations(1)->Unit(benchmark::kSecond);

#if defined(ORR_EMULATE) && defined(ORR_STREAM_CLIENT)
void AnotherProcessStream(benchmark::State& state)
{
    for (auto _ : state) {
        const std::string command =
            std::string(ORR_EMULATE) + " --fps 30 -- " + ORR_STREAM_CLIENT + " 320 564 30 90 2>/dev/null";
        FILE* pipe = popen(command.c_str(), "r");
        char line[256] = {};
        const bool read = pipe != nullptr && std::fgets(line, sizeof line, pipe) != nullptr;
        const int status = pipe != nullptr ? pclose(pipe) : -1;
        int transfers = 0;
        double rate = 0;
        if (!read || status != 0 || std::sscanf(line, "transfers %d rate %lf", &transfers, &rate) != 2) {
            state.SkipWithError("the client did not stream");
            return;
        }
        state.counters["fps"] = rate;
    }
}
BENCHMARK(AnotherProcessStream)->Iterations(1)->Unit(benchmark::kSecond);
#endif

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
