// Per-frame time of our image kernels and of their peers (OpenCV, a bare TurboJPEG
// decode) on the same inputs, single-threaded, with the memcpy of the bytes each
// kernel writes as the physical floor. Ends with a table of ratios.
//
//   imaging_bench [google benchmark flags]   time every kernel
//   imaging_bench --peer-baseline            the same with OpenCV's run-time dispatch off
//   imaging_bench --list                     list the kernel/role/size names
//   imaging_bench --instructions=NAME        run NAME 5 times with callgrind collection
//                                            on (see count-instructions.sh)
#include <benchmark/benchmark.h>
#include <turbojpeg.h>
#include <valgrind/callgrind.h>

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/rgbd.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "DepthTestImages.h"
#include "Denoise.h"
#include "FastMedianBlur.h"
#include "Filt.h"
#include "OrrPost.h"
#include "RegisterTo.h"
#include "SpeckleFilter.h"
#include "YuyvToBgr.h"
#include "Z16ToXYZ32.h"
#include "ZeroedBuffer.h"

using namespace orrindale;

namespace {

using Run = std::function<void()>;

// Kernels to set up (all when empty): the setup of one kernel is all a callgrind run needs.
std::string g_onlyKernel;
bool wanted(std::initializer_list<const char*> kernels)
{
    if (g_onlyKernel.empty()) return true;
    for (const char* k : kernels)
        if (g_onlyKernel == k) return true;
    return false;
}

// One kernel at one size: our implementation, the peer, and the floor.
struct Case {
    std::string kernel;
    std::string size;
    Run ours;
    Run peer;   // may be empty
    Run floor;  // memcpy of the bytes the kernel writes
};

struct Size {
    int w, h;
    std::string label() const { return std::to_string(w) + "x" + std::to_string(h); }
};

const Size kSizes[] = {{640, 480}, {1280, 720}};

Run memcpyOf(std::size_t bytes)
{
    auto src = std::make_shared<std::vector<uint8_t>>(bytes, 1);
    auto dst = std::make_shared<std::vector<uint8_t>>(bytes, 0);
    return [src, dst] {
        std::memcpy(dst->data(), src->data(), src->size());
        benchmark::DoNotOptimize(dst->data());
    };
}

CAM_FRAME frameOf(void* data, int w, int h, std::size_t bytes)
{
    CAM_FRAME f{};
    f.width = static_cast<uint32_t>(w);
    f.height = static_cast<uint32_t>(h);
    f.data = static_cast<unsigned char*>(data);
    f.size = static_cast<uint32_t>(bytes);
    return f;
}

ir_rgb_Parameter benchCalibration()
{
    ir_rgb_Parameter c{};
    c.depthFx = 460.0f;
    c.depthFy = 462.0f;
    c.depthCx = 321.5f;
    c.depthCy = 238.25f;
    c.rgbFx = 910.0f;
    c.rgbFy = 905.0f;
    c.rgbCx = 641.0f;
    c.rgbCy = 359.5f;
    cv::Mat rotation;
    cv::Rodrigues(cv::Mat(cv::Vec3d(0.01, -0.02, 0.005)), rotation);
    for (int i = 0; i < 9; ++i) c.rotation[i] = static_cast<float>(rotation.at<double>(i / 3, i % 3));
    c.translation[0] = -25.0f;
    c.translation[1] = 1.5f;
    c.translation[2] = 0.8f;
    return c;
}

// Camera-like YUYV: smooth luma gradients with texture, chroma in the video range.
std::vector<uint8_t> yuyvScene(int w, int h)
{
    auto noise = imagingtest::randomBytes(static_cast<std::size_t>(w) * h * 2, 91);
    std::vector<uint8_t> out(noise.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::size_t i = (static_cast<std::size_t>(y) * w + x) * 2;
            out[i] = static_cast<uint8_t>(16 + (x + y) % 200 + noise[i] % 20);
            out[i + 1] = static_cast<uint8_t>(x % 2 == 0 ? 90 + (y % 80) : 100 + (x % 90));
        }
    return out;
}

std::vector<uint8_t> jpegScene(int w, int h)
{
    const auto yuyv = yuyvScene(w, h);
    cv::Mat bgr;
    cv::cvtColor(cv::Mat(h, w, CV_8UC2, const_cast<uint8_t*>(yuyv.data())), bgr, cv::COLOR_YUV2BGR_YUYV);
    tjhandle tj = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    tjCompress2(tj, bgr.data, w, w * 3, h, TJPF_BGR, &jpeg, &size, TJSAMP_422, 90, 0);
    std::vector<uint8_t> out(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(tj);
    return out;
}

void addYuyv(std::vector<Case>& cases, Size s)
{
    if (!wanted({"YuyvToBgr"})) return;
    auto in = std::make_shared<std::vector<uint8_t>>(yuyvScene(s.w, s.h));
    auto out = std::make_shared<std::vector<uint8_t>>();
    auto peer = std::make_shared<cv::Mat>();
    cases.push_back({"YuyvToBgr", s.label(),
                     [in, out, s] {
                         color_filter::YuyvToBgr toBgr(*out);
                         Frame(frameOf(in->data(), s.w, s.h, in->size())).applyFilter(toBgr);
                     },
                     [in, peer, s] {
                         cv::cvtColor(cv::Mat(s.h, s.w, CV_8UC2, in->data()), *peer, cv::COLOR_YUV2BGR_YUYV);
                     },
                     memcpyOf(static_cast<std::size_t>(s.w) * s.h * 3)});
}

void addMedian(std::vector<Case>& cases, Size s)
{
    if (!wanted({"fastMedianBlur"})) return;
    auto in = std::make_shared<std::vector<uint16_t>>(imagingtest::depthScene(s.w, s.h, 92));
    auto out = std::make_shared<std::vector<uint16_t>>(in->size());
    auto peer = std::make_shared<cv::Mat>();
    cases.push_back({"fastMedianBlur", s.label(),
                     [in, out, s] { fastMedianBlur(in->data(), out->data(), s.w, s.h); },
                     [in, peer, s] { cv::medianBlur(cv::Mat(s.h, s.w, CV_16UC1, in->data()), *peer, 3); },
                     memcpyOf(in->size() * 2)});
}

// In-place speckle filters: each run first restores the input (a memcpy, the floor row).
void addSpeckle(std::vector<Case>& cases, Size s)
{
    if (!wanted({"denoiseDepthImage", "SpeckleFilter(reused area)", "DenoiseFilter"})) return;
    imagingtest::SceneOptions options;
    options.speckles = s.w * s.h / 300;
    options.maxSpeckleSide = 8;
    auto scene = std::make_shared<std::vector<uint16_t>>(imagingtest::depthScene(s.w, s.h, 93, options));
    auto work = std::make_shared<std::vector<uint16_t>>(*scene);
    auto restore = [scene, work] { std::memcpy(work->data(), scene->data(), scene->size() * 2); };
    const int maxSpeckle = 100, maxDiff = 8;
    Run peer = [restore, work, s] {
        restore();
        cv::Mat m(s.h, s.w, CV_16SC1, work->data());
        cv::filterSpeckles(m, 0, maxSpeckle, maxDiff);
    };
    Run floor = [restore, work] {
        restore();
        benchmark::DoNotOptimize(work->data());
    };
    // OrrPost: the filter library up to 640 x 640, the built-in filter beyond.
    cases.push_back({"denoiseDepthImage", s.label(),
                     [restore, work, s] {
                         restore();
                         OrrPost().denoiseDepthImage(work->data(), s.w, s.h, 0, maxSpeckle, maxDiff, 65535);
                     },
                     peer, floor});
    // The flood-fill core alone, its work area reused (labels cleared with memset).
    auto floodWork = std::make_shared<std::vector<uint8_t>>(SpeckleFilter::workAreaBytes(scene->size()));
    cases.push_back({"SpeckleFilter(reused area)", s.label(),
                     [restore, work, floodWork, s] {
                         restore();
                         std::memset(floodWork->data(), 0, floodWork->size());
                         SpeckleParameters p;
                         p.maxSpeckleSize = maxSpeckle;
                         p.maxDiff = maxDiff;
                         SpeckleFilter::apply(reinterpret_cast<int16_t*>(work->data()), s.w, s.h, p, floodWork->data());
                     },
                     peer, floor});
    cases.push_back({"DenoiseFilter", s.label(),
                     [restore, work, s] {
                         restore();
                         depth_filter::Denoise denoise(0, maxSpeckle, maxDiff, 65535);
                         Frame(frameOf(work->data(), s.w, s.h, work->size() * 2)).applyFilter(denoise);
                     },
                     peer, floor});
}

void addPointCloud(std::vector<Case>& cases, Size s)
{
    if (!wanted({"Z16ToXYZ32", "depthToPointcloud"})) return;
    auto depth = std::make_shared<std::vector<uint16_t>>(imagingtest::depthScene(s.w, s.h, 94));
    auto out = std::make_shared<std::vector<float>>();
    auto peer = std::make_shared<cv::Mat>();
    const ir_rgb_Parameter calib = benchCalibration();
    const cv::Matx33f k(calib.depthFx, 0, calib.depthCx, 0, calib.depthFy, calib.depthCy, 0, 0, 1);
    Run peerRun = [depth, peer, k, s] {
        cv::rgbd::depthTo3d(cv::Mat(s.h, s.w, CV_16UC1, depth->data()), cv::Mat(k), *peer);
    };
    const std::size_t bytes = depth->size() * 12;
    cases.push_back({"Z16ToXYZ32", s.label(),
                     [depth, out, calib, s] {
                         depth_filter::Z16ToXYZ32 toPoints(*out, calib, true, false);
                         Frame(frameOf(depth->data(), s.w, s.h, depth->size() * 2)).applyFilter(toPoints);
                     },
                     peerRun, memcpyOf(bytes)});
    auto points = std::make_shared<std::vector<float>>();
    cases.push_back({"depthToPointcloud", s.label(),
                     [depth, points, calib, s] {
                         CAM_FRAME cloud{};
                         OrrPost().depthToPointcloud(frameOf(depth->data(), s.w, s.h, depth->size() * 2), cloud,
                                                     *points, calib, true, false);
                     },
                     peerRun, memcpyOf(bytes)});
}

void addRegistration(std::vector<Case>& cases)
{
    if (!wanted({"depth2RGB", "alignDepth", "RegisterTo"})) return;
    const Size in{640, 480}, out{1280, 720};
    auto depth = std::make_shared<std::vector<uint16_t>>(imagingtest::depthScene(in.w, in.h, 95));
    auto registered = std::make_shared<std::vector<uint16_t>>(static_cast<std::size_t>(out.w) * out.h);
    auto calib = std::make_shared<ir_rgb_Parameter>(benchCalibration());
    auto peer = std::make_shared<cv::Mat>();
    const cv::Matx33f kd(calib->depthFx, 0, calib->depthCx, 0, calib->depthFy, calib->depthCy, 0, 0, 1);
    const cv::Matx33f kc(calib->rgbFx, 0, calib->rgbCx, 0, calib->rgbFy, calib->rgbCy, 0, 0, 1);
    cv::Matx44f rt = cv::Matx44f::eye();
    for (int i = 0; i < 9; ++i) rt(i / 3, i % 3) = calib->rotation[i];
    for (int i = 0; i < 3; ++i) rt(i, 3) = calib->translation[i] / 1000.0f;
    Run peerRun = [depth, peer, kd, kc, rt, in, out] {
        cv::rgbd::registerDepth(kd, kc, cv::Mat(), rt, cv::Mat(in.h, in.w, CV_16UC1, depth->data()),
                                cv::Size(out.w, out.h), *peer, false);
    };
    const std::string label = "640x480>1280x720";
    cases.push_back({"depth2RGB", label,
                     [depth, registered, calib, in, out] {
                         depth2RGB(reinterpret_cast<short*>(depth->data()), reinterpret_cast<short*>(registered->data()),
                                   nullptr, nullptr, nullptr, out.w, out.h, in.w, in.h, *calib);
                     },
                     peerRun, memcpyOf(registered->size() * 2)});
    cases.push_back({"alignDepth", label,
                     [depth, registered, calib, in, out] {
                         CAM_FRAME src = frameOf(depth->data(), in.w, in.h, depth->size() * 2);
                         CAM_FRAME dst = frameOf(registered->data(), out.w, out.h, registered->size() * 2);
                         OrrPost().alignDepth(src, dst, *calib);
                     },
                     peerRun, memcpyOf(registered->size() * 2)});
    auto filterOut = std::make_shared<std::vector<uint16_t>>();
    cases.push_back({"RegisterTo", label,
                     [depth, filterOut, calib, in, out] {
                         depth_filter::RegisterTo registerTo(*filterOut, out.w, out.h, *calib);
                         Frame(frameOf(depth->data(), in.w, in.h, depth->size() * 2)).applyFilter(registerTo);
                     },
                     peerRun, memcpyOf(registered->size() * 2)});
}

void addRawShift(std::vector<Case>& cases, Size s)
{
    if (!wanted({"processDepthImageRawData"})) return;
    auto raw = std::make_shared<std::vector<uint16_t>>(imagingtest::randomWords(static_cast<std::size_t>(s.w) * s.h, 96));
    cases.push_back({"processDepthImageRawData", s.label(),
                     [raw, s] {
                         // The words shrink run after run; the work per word stays the same.
                         OrrPost().processDepthImageRawData(raw->data(), s.w, s.h, 2);
                         benchmark::DoNotOptimize(raw->data());
                     },
                     {}, memcpyOf(raw->size() * 2)});
}

void addJpeg(std::vector<Case>& cases, Size s)
{
    if (!wanted({"mjpgToRGB24"})) return;
    auto jpeg = std::make_shared<std::vector<uint8_t>>(jpegScene(s.w, s.h));
    auto out = std::make_shared<std::vector<uint8_t>>(static_cast<std::size_t>(s.w) * s.h * 3);
    auto tj = std::shared_ptr<void>(tjInitDecompress(), [](void* h) { tjDestroy(h); });
    cases.push_back({"mjpgToRGB24", s.label(),
                     [jpeg, out] {
                         unsigned w = 0, h = 0;
                         OrrPost().mjpgToRGB24(jpeg->data(), static_cast<int>(jpeg->size()), out->data(), w, h,
                                               static_cast<unsigned>(out->size()));
                     },
                     [jpeg, out, tj] {
                         int w = 0, h = 0, sub = 0, cs = 0;
                         tjDecompressHeader3(tj.get(), jpeg->data(), jpeg->size(), &w, &h, &sub, &cs);
                         tjDecompress2(tj.get(), jpeg->data(), jpeg->size(), out->data(), w, w * 3, h, TJPF_BGR,
                                       TJFLAG_FASTDCT);
                     },
                     memcpyOf(out->size())});
}

// The per-call work area of Denoise: our lazily zeroed mapping against a zeroed vector
// (both allocated and freed, nothing touched).
void addWorkArea(std::vector<Case>& cases, Size s)
{
    if (!wanted({"workArea13"})) return;
    const std::size_t bytes = SpeckleFilter::workAreaBytes(static_cast<std::size_t>(s.w) * s.h);
    cases.push_back({"workArea13", s.label(),
                     [bytes] {
                         ZeroedBuffer work(bytes);
                         benchmark::DoNotOptimize(work.data());
                     },
                     [bytes] {
                         std::vector<uint8_t> work(bytes);
                         benchmark::DoNotOptimize(work.data());
                     },
                     {}});
}

std::vector<Case> makeCases()
{
    std::vector<Case> cases;
    for (const Size& s : kSizes) {
        addYuyv(cases, s);
        addMedian(cases, s);
        addSpeckle(cases, s);
        addPointCloud(cases, s);
        addRawShift(cases, s);
        addJpeg(cases, s);
        addWorkArea(cases, s);
    }
    addRegistration(cases);
    return cases;
}

std::string nameOf(const Case& c, const char* role) { return c.kernel + "/" + role + "/" + c.size; }

// Collects mean real times per name and prints the ratio table at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    explicit RatioReporter(const std::vector<Case>& cases) : m_cases(cases) {}
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& r : runs) {
            if (r.error_occurred || r.run_type != Run::RT_Iteration) continue;
            // Per-frame microseconds (time unit set to microseconds below).
            m_times[r.run_name.str()].push_back(r.GetAdjustedRealTime());
        }
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        std::printf("\n%-26s %-18s %10s %10s %7s %10s %8s\n", "kernel", "size", "ours us", "peer us", "ratio",
                    "floor us", "/floor");
        for (const Case& c : m_cases) {
            const double ours = find(nameOf(c, "ours"));
            const double peer = find(nameOf(c, "peer"));
            const double floor = find(nameOf(c, "floor"));
            if (ours < 0) continue;
            std::printf("%-26s %-18s %10.1f ", c.kernel.c_str(), c.size.c_str(), ours);
            if (peer > 0)
                std::printf("%10.1f %7.2f ", peer, ours / peer);
            else
                std::printf("%10s %7s ", "-", "-");
            if (floor > 0)
                std::printf("%10.1f %8.2f\n", floor, ours / floor);
            else
                std::printf("%10s %8s\n", "-", "-");
        }
    }

private:
    // The median of the repetitions.
    double find(const std::string& name) const
    {
        const auto it = m_times.find(name);
        if (it == m_times.end() || it->second.empty()) return -1.0;
        std::vector<double> t = it->second;
        std::sort(t.begin(), t.end());
        return t[t.size() / 2];
    }
    const std::vector<Case>& m_cases;
    std::map<std::string, std::vector<double>> m_times;
};

void registerAll(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        const std::pair<const char*, const Run*> roles[] = {{"ours", &c.ours}, {"peer", &c.peer}, {"floor", &c.floor}};
        for (const auto& [role, run] : roles) {
            if (!*run) continue;
            const Run fn = *run;
            fn();  // warm up: output buffers sized, decoders created, pages touched
            benchmark::RegisterBenchmark(nameOf(c, role).c_str(), [fn](benchmark::State& state) {
                for (auto _ : state) fn();
            })->Unit(benchmark::kMicrosecond);
        }
    }
}

int countInstructions(const std::vector<Case>& cases, const std::string& name)
{
    for (const Case& c : cases) {
        const std::pair<const char*, const Run*> roles[] = {{"ours", &c.ours}, {"peer", &c.peer}, {"floor", &c.floor}};
        for (const auto& [role, run] : roles) {
            if (nameOf(c, role) != name || !*run) continue;
            (*run)();
            constexpr int kFrames = 5;
            CALLGRIND_TOGGLE_COLLECT;
            for (int i = 0; i < kFrames; ++i) (*run)();
            CALLGRIND_TOGGLE_COLLECT;
            std::printf("frames %d\n", kFrames);
            return 0;
        }
    }
    std::fprintf(stderr, "no benchmark named %s\n", name.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv)
{
    // Single-threaded peers: the targets compare one core with one core.
    cv::setNumThreads(1);
    std::string instructionsOf;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        // OpenCV without its run-time dispatch (AVX2/AVX-512): its baseline SIMD only.
        if (arg == "--peer-baseline") cv::setUseOptimized(false);
        if (arg.rfind("--instructions=", 0) == 0) {
            instructionsOf = arg.substr(15);
            g_onlyKernel = instructionsOf.substr(0, instructionsOf.find('/'));
        }
    }
    const std::vector<Case> cases = makeCases();
    if (!instructionsOf.empty()) return countInstructions(cases, instructionsOf);
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--list") {
            for (const Case& c : cases)
                for (const char* role : {"ours", "peer", "floor"})
                    if ((role == std::string("peer") ? c.peer : role == std::string("floor") ? c.floor : c.ours))
                        std::printf("%s\n", nameOf(c, role).c_str());
            return 0;
        }
    }
    std::printf("OpenCV %s, CPU features in use: %s\n", CV_VERSION, cv::getCPUFeaturesLine().c_str());
    // Google Benchmark must not see our own flags.
    int kept = 1;
    for (int i = 1; i < argc; ++i)
        if (std::string(argv[i]) != "--peer-baseline") argv[kept++] = argv[i];
    argc = kept;
    registerAll(cases);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter(cases);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
