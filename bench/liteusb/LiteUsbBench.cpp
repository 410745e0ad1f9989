// The bulk USB transport, in one run:
//  - BulkFrames: frames of 2,181,632 bytes (the largest any model sends) from the emulated
//    camera, which sends the next frame as soon as the host has read the last, through
//    LiteUsb: frames per second, the CPU of the transport's two threads per frame, and the
//    CPU of the whole process per frame (the emulated camera and libusb included);
//  - BareLibusb: the same frames read by one thread with plain synchronous libusb
//    transfers (header, 17 data packets, end) and nothing else: what the USB reads alone
//    cost, most of it here the emulated device's round trips;
//  - Memcpy: one memcpy of the same 2,181,632 bytes, the floor of handling a frame's bytes;
//  - Handoff: a finished frame handed from the capture thread to the callback thread,
//    through LiteUsbFrameQueue (a condition variable; argument 1) and through a loop that
//    looks at the queue every 3 ms (argument 0), at 30 and 200 frames per second: the
//    time from queueing to pick-up, and the callback thread's CPU as a share of a core.
// At the end: the transport's CPU per frame next to bare libusb's and memcpy's, with ratios.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <libusb.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CaptureFactory.h"
#include "EmulatedBulkCamera.h"
#include "EmulatedUsbDevice.h"
#include "LiteUsbFrameQueue.h"
#include "PreloadEnvironment.h"
#include "UsbControlRequest.h"
#include "UsbTestBed.h"

using namespace orrindale::emulator;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint32_t kFrameBytes = 2181632;

double processCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double threadCpuNow()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// CPU seconds so far of this process's threads whose name starts with `prefix`.
double threadCpuSeconds(const std::string& prefix)
{
    double total = 0;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) return 0;
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        const std::string task = std::string("/proc/self/task/") + entry->d_name;
        std::string name;
        std::getline(std::ifstream(task + "/comm"), name);
        if (name.rfind(prefix, 0) != 0) continue;
        unsigned long long onCpuNs = 0;
        std::ifstream(task + "/schedstat") >> onCpuNs;
        total += double(onCpuNs) / 1e9;
    }
    closedir(dir);
    return total;
}

struct FrameCounter {
    std::mutex mutex;
    std::condition_variable arrived;
    uint64_t frames = 0;

    static void onFrame(const frame_info*, void* user)
    {
        auto* counter = static_cast<FrameCounter*>(user);
        {
            std::lock_guard<std::mutex> lock(counter->mutex);
            ++counter->frames;
        }
        counter->arrived.notify_one();
    }
    uint64_t waitBeyond(uint64_t seen)
    {
        std::unique_lock<std::mutex> lock(mutex);
        arrived.wait_for(lock, std::chrono::seconds(10), [&] { return frames > seen; });
        return frames;
    }
};

void BulkFrames(benchmark::State& state)
{
    auto bed = UsbTestBed::create();
    BulkCameraConfig config = BulkCameraConfig::ostrelB();
    config.fps = 0;
    EmulatedBulkCamera* camera = bed ? bed->addBulkCamera(UsbLocation(1, {1}, 2), config) : nullptr;
    if (camera == nullptr) {
        state.SkipWithError("no emulated camera");
        return;
    }
    QV_CAM_ATTR attr{};
    attr.type = QV_CAM_ATTR_USB;
    attr.attr.usbAttrs.vid = 0x3482;
    attr.attr.usbAttrs.pid = 0x278A;
    attr.attr.usbAttrs.busnum = 1;
    attr.attr.usbAttrs.dev = 2;
    std::unique_ptr<ICapture> capture(createCaptureInstance(attr, 0));
    unsigned char type = 1;
    usb_ctrl_request_s streamType{0xBB, 0xBB, 0, 0, &type, 1, 0};
    FrameCounter counter;
    video_cfg cfg;
    cfg.callback = &FrameCounter::onFrame;
    cfg.user = &counter;
    if (!capture || capture->open() != 0 || capture->cmdMsg(&streamType) != 0 || capture->start(cfg) != 0) {
        state.SkipWithError("the stream did not start");
        return;
    }
    uint64_t seen = 0;
    for (int i = 0; i < 5; ++i) seen = counter.waitBeyond(seen);  // buffers touched, stream steady

    const uint64_t firstFrame = seen;
    const double process = processCpuSeconds();
    const double captureThread = threadCpuSeconds("bulk-capture");
    const double callbackThread = threadCpuSeconds("bulk-callback");
    const uint64_t ioctls = camera->device()->statistics().ioctls;
    const auto wall = Clock::now();
    for (auto _ : state) seen = counter.waitBeyond(seen);
    const double seconds = std::chrono::duration<double>(Clock::now() - wall).count();
    const double frames = double(seen - firstFrame);
    const double captureMs = (threadCpuSeconds("bulk-capture") - captureThread) * 1e3 / frames;
    const double callbackMs = (threadCpuSeconds("bulk-callback") - callbackThread) * 1e3 / frames;
    const double processMs = (processCpuSeconds() - process) * 1e3 / frames;
    state.counters["ioctls_per_frame"] = double(camera->device()->statistics().ioctls - ioctls) / frames;
    capture->stop();
    capture->close();
    state.counters["fps"] = frames / seconds;
    state.counters["transport_cpu_ms_per_frame"] = captureMs + callbackMs;
    state.counters["callback_thread_cpu_ms_per_frame"] = callbackMs;
    state.counters["process_cpu_ms_per_frame"] = processMs;
    state.SetBytesProcessed(int64_t(frames) * kFrameBytes);
}
BENCHMARK(BulkFrames)->Iterations(400)->UseRealTime()->Unit(benchmark::kMillisecond);

void BareLibusb(benchmark::State& state)
{
    auto bed = UsbTestBed::create();
    BulkCameraConfig config = BulkCameraConfig::ostrelB();
    config.fps = 0;
    EmulatedBulkCamera* camera = bed ? bed->addBulkCamera(UsbLocation(1, {1}, 2), config) : nullptr;
    libusb_context* context = nullptr;
    libusb_device_handle* handle = nullptr;
    unsigned char type = 1;
    if (camera == nullptr || libusb_init(&context) != 0 ||
        (handle = libusb_open_device_with_vid_pid(context, 0x3482, 0x278A)) == nullptr ||
        libusb_claim_interface(handle, 0) != 0 || libusb_control_transfer(handle, 0x21, 0xAB, 0, 0, &type, 1, 3000) != 1) {
        state.SkipWithError("the stream did not start");
        return;
    }
    std::vector<unsigned char> buffer(131072);
    const int packets = int((kFrameBytes + 131070) / 131071);
    auto readFrame = [&] {
        int got = 0;
        libusb_bulk_transfer(handle, 0x81, buffer.data(), 512, &got, 3000);
        for (int i = 0; i < packets; ++i) libusb_bulk_transfer(handle, 0x81, buffer.data(), 131072, &got, 3000);
        libusb_bulk_transfer(handle, 0x81, buffer.data(), 512, &got, 3000);
    };
    readFrame();
    const double cpu = threadCpuNow();
    for (auto _ : state) readFrame();
    state.counters["thread_cpu_ms_per_frame"] = (threadCpuNow() - cpu) * 1e3 / double(state.iterations());
    unsigned char stop[2] = {0x80, 0x00};
    libusb_control_transfer(handle, 0x21, 0xAB, 0, 0, stop, 2, 3000);
    libusb_release_interface(handle, 0);
    libusb_close(handle);
    libusb_exit(context);
}
BENCHMARK(BareLibusb)->Iterations(400)->UseRealTime()->Unit(benchmark::kMillisecond);

void Memcpy(benchmark::State& state)
{
    std::vector<unsigned char> from(kFrameBytes, 0x5A), to(kFrameBytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), kFrameBytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kFrameBytes);
}
BENCHMARK(Memcpy)->Unit(benchmark::kMillisecond);

// The consumer loop a queue without a condition variable needs: look, sleep 3 ms, look again.
class PollingQueue {
public:
    void push(Clock::time_point queued)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(queued);
    }
    bool pop(Clock::time_point& queued, const std::atomic<bool>& running)
    {
        while (running) {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (!m_queue.empty()) {
                    queued = m_queue.front();
                    m_queue.pop_front();
                    return true;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
        return false;
    }

private:
    std::mutex m_mutex;
    std::deque<Clock::time_point> m_queue;
};

void Handoff(benchmark::State& state)
{
    const bool conditionVariable = state.range(0) == 1;
    const auto period = std::chrono::microseconds(1000000 / state.range(1));
    LiteUsbFrameQueue frames;
    PollingQueue polled;
    frames.allocate(16);
    std::atomic<bool> running{true};
    std::vector<double> latencies;
    double consumerCpu = 0;
    std::thread consumer([&] {
        const double cpu = threadCpuNow();
        for (;;) {
            Clock::time_point queued;
            if (conditionVariable) {
                frame_info frame;
                if (!frames.pop(frame, running)) break;
                queued = Clock::time_point(std::chrono::nanoseconds(frame.timestamp));
                frames.release(frame);
            } else if (!polled.pop(queued, running)) {
                break;
            }
            latencies.push_back(std::chrono::duration<double, std::micro>(Clock::now() - queued).count());
        }
        consumerCpu = threadCpuNow() - cpu;
    });
    const auto began = Clock::now();
    auto next = began;
    for (auto _ : state) {
        next += period;
        std::this_thread::sleep_until(next);
        const Clock::time_point now = Clock::now();
        if (conditionVariable) {
            frame_info frame;
            frame.data = frames.fillSlot();
            frame.timestamp = uint64_t(std::chrono::nanoseconds(now.time_since_epoch()).count());
            if (frame.data != nullptr) frames.push(frame);
        } else {
            polled.push(now);
        }
    }
    std::this_thread::sleep_for(period);  // the last frame is picked up
    const double seconds = std::chrono::duration<double>(Clock::now() - began).count();
    running = false;
    frames.wake();
    consumer.join();
    std::sort(latencies.begin(), latencies.end());
    double sum = 0;
    for (double l : latencies) sum += l;
    state.counters["latency_us_mean"] = latencies.empty() ? 0 : sum / double(latencies.size());
    state.counters["latency_us_p99"] = latencies.empty() ? 0 : latencies[latencies.size() * 99 / 100];
    state.counters["consumer_cpu_percent"] = 100.0 * consumerCpu / seconds;
    state.SetLabel(conditionVariable ? "condition variable" : "3 ms polling");
}
BENCHMARK(Handoff)->Args({0, 30})->Args({1, 30})->Args({0, 200})->Args({1, 200})->Iterations(300)->UseRealTime();

// The table Google Benchmark prints, then the transport's CPU per frame over memcpy's.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& r : runs) {
            if (r.error_occurred || r.run_type != Run::RT_Iteration) continue;
            const std::string name = r.run_name.function_name;
            if (name == "Memcpy") m_memcpyMs = r.GetAdjustedCPUTime();  // in the unit of the run: ms
            if (name == "BareLibusb") m_bareMs = r.counters.at("thread_cpu_ms_per_frame").value;
            const auto counter = r.counters.find("transport_cpu_ms_per_frame");
            if (name == "BulkFrames" && counter != r.counters.end()) {
                m_transportMs = counter->second.value;
                m_processMs = r.counters.at("process_cpu_ms_per_frame").value;
                m_fps = r.counters.at("fps").value;
            }
        }
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        if (m_memcpyMs <= 0 || m_transportMs <= 0) return;
        std::printf("\nframes of %u bytes from the emulated camera, as fast as it sends them\n", kFrameBytes);
        std::printf("frames per second                     %9.1f\n", m_fps);
        std::printf("transport threads, CPU per frame      %9.3f ms\n", m_transportMs);
        std::printf("whole process, CPU per frame          %9.3f ms\n", m_processMs);
        std::printf("bare libusb reads, CPU per frame      %9.3f ms\n", m_bareMs);
        std::printf("memcpy of the same bytes, CPU         %9.3f ms\n", m_memcpyMs);
        std::printf("transport / memcpy                    %9.2f\n", m_transportMs / m_memcpyMs);
        if (m_bareMs > 0) std::printf("transport / bare libusb               %9.2f\n", m_transportMs / m_bareMs);
    }

private:
    double m_memcpyMs = 0, m_transportMs = 0, m_processMs = 0, m_fps = 0, m_bareMs = 0;
};

}  // namespace

int main(int argc, char** argv)
{
    if (!PreloadEnvironment::ensure(argv)) return 1;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
