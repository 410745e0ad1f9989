// Soak of the stream lifecycle: three threads drive random interleavings of list, open, start,
// stop, close, destroy, free, unplug, replug and listener start/stop on two emulated Fl30c
// cameras, while stream and listener callbacks call the library back (stopping and closing
// their own camera or the other one now and then). A watchdog aborts the run when one call
// hangs; at the end every camera is released and the process must be back at its threads and
// descriptors, apart from what the emulator keeps per replug.
//
//   lifecycle_soak [iterations per thread] [seed]
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "EmulatedFl30c.h"
#include "Eventually.h"
#include "PreloadEnvironment.h"
#include "ProcessCounts.h"
#include "UsbTestBed.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kThreads = 3;
constexpr auto kHang = 120s;  // generous: sanitizer builds on a loaded two-core machine
const std::vector<orrtest::Replugged> kCameras = {{"1-4", 5, 7}, {"1-3", 6, 8}};

class Soak {
public:
    explicit Soak(UsbTestBed& bed) : m_bed(bed) {}

    void run(int iterations, unsigned seed)
    {
        std::vector<std::thread> workers;
        for (int t = 0; t < kThreads; ++t)
            workers.emplace_back([this, t, iterations, seed] {
                std::mt19937 rng(seed + static_cast<unsigned>(t));
                for (int i = 0; i < iterations; ++i) {
                    m_busySince[t] = Clock::now().time_since_epoch().count();
                    step(rng, t);
                    m_busySince[t] = 0;
                    std::this_thread::sleep_for(std::chrono::milliseconds(rng() % 50));  // lets frames arrive
                }
            });
        std::atomic<bool> done{false};
        std::thread watchdog([&] { watch(done); });
        for (auto& w : workers) w.join();
        done = true;
        watchdog.join();
    }

    // Replugs what is unplugged, stops the listeners and frees every handle.
    void release()
    {
        for (const orrtest::Replugged& camera : kCameras)
            if (!m_bed.deviceAt(camera.name)->plugged()) replug(camera);
        QV_SDK_StopListener();
        std::list<void*> all;
        {
            std::lock_guard<std::mutex> lock(m_poolMutex);
            all.assign(m_pool.begin(), m_pool.end());
            m_pool.clear();
        }
        QV_SDK_FreeCameraList(all);
    }

    int replugs() const { return m_replugs; }
    long frames() const { return m_frames; }

private:
    void step(std::mt19937& rng, int t)
    {
        // Weights of list, open, open and start, stop, close, destroy, free, unplug or replug,
        // listener start, listener stop.
        static const std::vector<double> weights = {2, 2, 6, 2, 2, 1, 1, 1, 0.5, 0.5};
        void* handle = pick(rng);
        const unsigned what = std::discrete_distribution<unsigned>(weights.begin(), weights.end())(rng);
        m_op[t] = what;
        switch (what) {
        case 0: {
            std::list<void*> listed, oldest;
            QV_SDK_GetCameraList(listed);
            {
                std::lock_guard<std::mutex> lock(m_poolMutex);
                m_pool.insert(m_pool.end(), listed.begin(), listed.end());
                for (; m_pool.size() > 6; m_pool.erase(m_pool.begin())) oldest.push_back(m_pool.front());
            }
            QV_SDK_FreeCameraList(oldest);
            break;
        }
        case 1: QV_SDK_OpenCamera(handle, nullptr); break;
        case 2: {
            STREAM_CALLBACK_S callback{&Soak::onFrame, this};
            QV_SDK_OpenCamera(handle, nullptr);  // "already open" for most
            QV_SDK_RegisterStreamCallback(handle, &callback);
            QV_SDK_StartStream(handle, QV_MEDIA_DEPTH);
            break;
        }
        case 3: QV_SDK_StopStream(handle, rng() % 2 ? 0 : static_cast<int>(QV_MEDIA_DEPTH)); break;
        case 4: QV_SDK_CloseCamera(handle); break;
        case 5:
            if (void* taken = take(rng)) QV_SDK_DestoryCamHandle(taken);
            break;
        case 6: {
            std::list<void*> some;
            for (int n = 0; n < 2; ++n)
                if (void* taken = take(rng)) some.push_back(taken);
            QV_SDK_FreeCameraList(some);
            break;
        }
        case 7: {
            const orrtest::Replugged& camera = kCameras[rng() % kCameras.size()];
            if (m_bed.deviceAt(camera.name)->plugged())
                unplug(camera.name);
            else
                replug(camera);
            break;
        }
        case 8: {
            QV_LISTENER_CALLBACK callback{&Soak::onAttach, nullptr, this};
            QV_SDK_StartListener(callback, QV_LISTENER_HOTPLUG, rng() % 2 == 0);
            break;
        }
        case 9: QV_SDK_StopListener(); break;
        }
    }

    // A handle the soak knows (maybe stale, maybe closed), or null.
    void* pick(std::mt19937& rng)
    {
        std::lock_guard<std::mutex> lock(m_poolMutex);
        return m_pool.empty() ? nullptr : m_pool[rng() % m_pool.size()];
    }
    void* take(std::mt19937& rng)
    {
        std::lock_guard<std::mutex> lock(m_poolMutex);
        if (m_pool.empty()) return nullptr;
        const size_t i = rng() % m_pool.size();
        void* handle = m_pool[i];
        m_pool.erase(m_pool.begin() + static_cast<long>(i));
        return handle;
    }
    bool remove(void* handle)
    {
        std::lock_guard<std::mutex> lock(m_poolMutex);
        auto it = std::find(m_pool.begin(), m_pool.end(), handle);
        if (it == m_pool.end()) return false;
        m_pool.erase(it);
        return true;
    }
    void unplug(const std::string& name)
    {
        std::lock_guard<std::mutex> lock(m_bedMutex);
        m_bed.deviceAt(name)->unplug();
    }
    // At the other address (as a real bus would give it).
    void replug(const orrtest::Replugged& camera)
    {
        std::lock_guard<std::mutex> lock(m_bedMutex);
        EmulatedUsbDevice* device = m_bed.deviceAt(camera.name);
        if (device->replug(device->address() == camera.address ? camera.otherAddress : camera.address)) ++m_replugs;
    }

    // On the transport's thread: calls its own camera and another one back, and now and then
    // stops or closes one of them from here.
    static void onFrame(void* handle, const CAM_DATA*, void* user)
    {
        auto* soak = static_cast<Soak*>(user);
        ++soak->m_frames;
        thread_local std::mt19937 rng(static_cast<unsigned>(std::hash<std::thread::id>()(std::this_thread::get_id())));
        CAM_Parameter parameter;
        QV_SDK_GetCamParameter(handle, &parameter);
        void* other = soak->pick(rng);
        QV_SDK_IsHandleExist(other);
        switch (rng() % 40) {
        case 0: QV_SDK_StopStream(handle, 0); break;
        case 1: QV_SDK_CloseCamera(handle); break;
        case 2: QV_SDK_StopStream(other, 0); break;
        case 3: QV_SDK_CloseCamera(other); break;
        case 4:
            if (soak->remove(handle)) QV_SDK_DestoryCamHandle(handle);
            break;
        default: break;
        }
    }

    // On the listener's thread: lists and frees, and now and then stops the listeners from here.
    static void onAttach(const QV_CAM_ATTR*, void* user)
    {
        std::list<void*> listed;
        QV_SDK_GetCameraList(listed);
        QV_SDK_FreeCameraList(listed);
        if (++static_cast<Soak*>(user)->m_attaches % 4 == 0) QV_SDK_StopListener();
    }

    // Every thread's stack on standard error, from gdb when the machine has it: a hang in CI
    // then says where it is.
    static void dumpThreads()
    {
        prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
        const std::string command = "gdb -q -batch -p " + std::to_string(getpid()) +
                                    " -ex 'thread apply all bt 25' 1>&2 2>/dev/null </dev/null";
        if (std::system(command.c_str()) != 0) std::fprintf(stderr, "lifecycle_soak: no stacks (gdb)\n");
    }

    void watch(const std::atomic<bool>& done)
    {
        while (!done) {
            std::this_thread::sleep_for(1s);
            const auto now = Clock::now().time_since_epoch().count();
            for (int t = 0; t < kThreads; ++t) {
                const auto since = m_busySince[t].load();
                if (since != 0 && Clock::duration(now - since) > kHang) {
                    std::fprintf(stderr, "lifecycle_soak: thread %d hangs in step %u\n", t, m_op[t].load());
                    dumpThreads();
                    std::abort();
                }
            }
        }
    }

    UsbTestBed& m_bed;
    std::mutex m_bedMutex;   // one emulator change at a time
    std::mutex m_poolMutex;  // never held while calling the library
    std::vector<void*> m_pool;
    std::atomic<int> m_replugs{0};
    std::atomic<long> m_frames{0};
    std::atomic<int> m_attaches{0};
    std::atomic<Clock::rep> m_busySince[kThreads] = {};
    std::atomic<unsigned> m_op[kThreads] = {};
};

// One full cycle before the baseline: the first use of libusb, libuvc, the driver and a listener.
bool warmUp()
{
    std::list<void*> listed;
    QV_SDK_GetCameraList(listed);
    std::atomic<int> frames{0};
    STREAM_CALLBACK_S count{[](void*, const CAM_DATA*, void* n) { ++*static_cast<std::atomic<int>*>(n); }, &frames};
    for (void* h : listed) {
        QV_SDK_OpenCamera(h, nullptr);
        QV_SDK_RegisterStreamCallback(h, &count);
        QV_SDK_StartStream(h, QV_MEDIA_DEPTH);
    }
    const bool streamed = orrtest::eventually([&] { return frames >= 2; }, 60s);
    QV_LISTENER_CALLBACK callback{[](const QV_CAM_ATTR*, void*) {}, nullptr, nullptr};
    QV_SDK_StartListener(callback, QV_LISTENER_HOTPLUG, true);
    std::this_thread::sleep_for(500ms);
    QV_SDK_StopListener();
    QV_SDK_FreeCameraList(listed);
    return streamed;
}

}  // namespace

int main(int argc, char** argv)
{
    if (!PreloadEnvironment::ensure(argv)) return 1;
    const int iterations = argc > 1 ? std::atoi(argv[1]) : 200;
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()();
    std::printf("lifecycle_soak: seed %u\n", seed);
    std::fflush(stdout);
    auto bed = UsbTestBed::create();
    if (!bed || !bed->addFl30c(UsbLocation(1, {4}, 5)) || !bed->addFl30c(UsbLocation(1, {3}, 6))) return 1;
    QV_SDK_Init();
    if (!warmUp()) {
        std::printf("lifecycle_soak: FAILED: the cameras do not stream\n");
        return 1;
    }
    // What the emulator keeps per replug varies (umockdev's own sockets, two or three each
    // time): an average over several rounds, rounded up, plus two and half a descriptor per
    // replug to spare. A leak of the library recurs with the calls that make it, far beyond.
    constexpr int kRounds = 3;
    const orrtest::ProcessCounts measured = orrtest::emulatorReplugCost(*bed, kCameras, kRounds);
    const double replugsMeasured = kRounds * double(kCameras.size());
    const orrtest::ProcessCounts baseline;

    const auto start = Clock::now();
    Soak soak(*bed);
    soak.run(iterations, seed);
    soak.release();
    QV_SDK_Deinit();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    // Helper threads of the library end by themselves: give them time.
    const int replugs = soak.replugs();
    const int threadLimit = baseline.threads + int(std::ceil(replugs * measured.threads / replugsMeasured));
    const int fdLimit = baseline.fds + int(std::ceil(replugs * measured.fds / replugsMeasured)) + 2 + replugs / 2;
    const bool flat = orrtest::eventually(
        [&] {
            const orrtest::ProcessCounts now;
            return now.threads <= threadLimit && now.fds <= fdLimit;
        },
        60s);
    const orrtest::ProcessCounts end;
    std::printf("lifecycle_soak: seed %u, %d x %d steps in %.1f s, %ld frames, %d replugs; threads %d -> %d, "
                "fds %d -> %d (the emulator keeps %.1f threads, %.1f fds per replug)\n",
                seed, kThreads, iterations, seconds, soak.frames(), replugs, baseline.threads, end.threads,
                baseline.fds, end.fds, measured.threads / replugsMeasured, measured.fds / replugsMeasured);
    if (!flat) std::printf("lifecycle_soak: FAILED: threads or descriptors stayed behind\n");
    return flat ? 0 : 1;
}
