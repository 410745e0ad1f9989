// The Fl30c driver's own CPU time per transfer (1280 x 720 MJPEG + 640 x 480 depth +
// point cloud, handed to its frame handler as the transport would) next to the sum of its
// parts measured alone in the same run: a bare TurboJPEG decode of the same MJPEG and the
// depth kernels (raw-word conversion and point cloud) on the same depth image. The ratio
// driver / (decode + depth) shows what the driver adds around the kernels.
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CameraFl30c.h"
#include "DepthTestImages.h"
#include "OrrPost.h"
#include "UsbControlRequest.h"

namespace {

constexpr int kColourW = 1280, kColourH = 720;
constexpr int kDepthW = 640, kDepthH = 480;
constexpr size_t kHeader = 2560;
constexpr size_t kTransferBytes = 640 * 642 * 2;
constexpr size_t kMjpegRoom = kTransferBytes - kHeader - kDepthW * kDepthH * 2;

// A camera-like colour picture: smooth shading, edges and fine texture.
std::vector<uint8_t> colourScene()
{
    std::vector<uint8_t> rgb(size_t(kColourW) * kColourH * 3);
    uint32_t noise = 12345;
    for (int y = 0; y < kColourH; ++y)
        for (int x = 0; x < kColourW; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const int n = int(noise >> 28);
            const bool box = (x / 160 + y / 120) % 3 == 0;
            uint8_t* p = &rgb[(size_t(y) * kColourW + size_t(x)) * 3];
            p[0] = uint8_t(std::clamp(int(60 + 80 * std::sin(x * 0.01) + (box ? 60 : 0)) + n, 0, 255));
            p[1] = uint8_t(std::clamp(int(90 + 0.1 * y + 30 * std::sin((x + y) * 0.05)) + n, 0, 255));
            p[2] = uint8_t(std::clamp(int(120 + (box ? -50 : 40) + 20 * std::cos(y * 0.03)) + n, 0, 255));
        }
    return rgb;
}

// 4:2:2 at the best quality that leaves room for the depth image in the transfer.
std::vector<uint8_t> mjpegOfScene()
{
    const auto rgb = colourScene();
    tjhandle tj = tjInitCompress();
    std::vector<uint8_t> jpeg;
    for (int quality = 90; quality >= 50; quality -= 5) {
        unsigned char* out = nullptr;
        unsigned long size = 0;
        if (tjCompress2(tj, rgb.data(), kColourW, 0, kColourH, TJPF_RGB, &out, &size, TJSAMP_422, quality, 0) == 0)
            jpeg.assign(out, out + size);
        tjFree(out);
        if (!jpeg.empty() && jpeg.size() <= kMjpegRoom) break;
    }
    tjDestroy(tj);
    return jpeg;
}

struct Inputs {
    std::vector<uint8_t> mjpeg = mjpegOfScene();
    std::vector<uint16_t> raw;  // the camera's 12.4 words
    std::vector<uint8_t> transfer;

    Inputs()
    {
        const auto mm = imagingtest::depthScene(kDepthW, kDepthH, 7);
        raw.resize(mm.size());
        for (size_t i = 0; i < mm.size(); ++i) raw[i] = uint16_t(std::min(mm[i], uint16_t(4000)) * 16 + 5);
        transfer.assign(kTransferBytes, 0);
        const float calibration[20] = {570, 570, 319.5f, 239.5f, 920, 920, 639.5f, 359.5f, 1, 0, 0, 0, 1, 0, 0, 0, 1,
                                       -25, 0.5f, 1.5f};
        std::memcpy(transfer.data(), calibration, sizeof calibration);
        const auto put = [&](size_t at, uint32_t v) {
            for (int i = 0; i < 4; ++i) transfer[at + size_t(i)] = uint8_t(v >> (8 * i));
        };
        put(1072, uint32_t(mjpeg.size()));
        put(1133, uint32_t(transfer.size()));
        transfer[1137] = 2;
        std::memcpy(&transfer[kHeader], mjpeg.data(), mjpeg.size());
        std::memcpy(&transfer[kHeader + mjpeg.size()], raw.data(), raw.size() * 2);
    }
};

const Inputs& inputs()
{
    static const Inputs in;
    return in;
}

// The transport: answers the firmware version (1280 x 720 MJPEG) and accepts the rest.
class BenchCapture : public ICapture {
public:
    int open() override { return 0; }
    int close() override { return 0; }
    int getCapability(std::vector<video_attr_s>&) override { return 0; }
    int start(video_cfg const& c) override
    {
        cfg = c;
        return 0;
    }
    int stop() override { return 0; }
    int read(void*, int, int) override { return 0; }
    int cmdMsg(void* request) override
    {
        auto* r = static_cast<usb_ctrl_request_s*>(request);
        if (r->requestType == 0xA1 && r->request == 0x27 && r->data != nullptr && r->length >= 64) {
            static const char version[] = "FL30C:V1.0.8:001:20241021";
            std::memset(r->data, 0, r->length);
            r->data[0] = 0x27;
            std::memcpy(r->data + 1, version, sizeof version - 1);
        }
        return r->length;
    }
    video_cfg cfg;
};

void onFrames(void*, const CAM_DATA* data, void* user)
{
    *static_cast<uint32_t*>(user) += data->frame[CAM_DATA_SLOT_POINTCLOUD].size;
}

void BM_DriverTransfer(benchmark::State& state)
{
    const Inputs& in = inputs();
    QV_CAM_ATTR attr;
    std::memset(&attr, 0, sizeof attr);
    attr.type = QV_CAM_ATTR_USB;
    auto capture = std::make_unique<BenchCapture>();
    BenchCapture* transport = capture.get();
    CameraFl30c driver(attr, nullptr, std::move(capture));
    uint32_t cloudBytes = 0;
    STREAM_CALLBACK_S cb{&onFrames, &cloudBytes};
    driver.registerDataCallback(&cb);
    if (driver.open(nullptr) != 0 || driver.startStreaming(0) != 0) {
        state.SkipWithError("driver did not start");
        return;
    }
    frame_info frame;
    frame.width = 640;
    frame.height = 642;
    frame.data = in.transfer.data();
    frame.size = uint32_t(in.transfer.size());
    // The first frames of the process are dropped, and one more warms the buffers up.
    for (int i = 0; i < CameraFl30c::kFrameSkipCount + 1; ++i) {
        frame.sequence = uint32_t(i + 1);
        transport->cfg.callback(&frame, transport->cfg.user);
    }
    cloudBytes = 0;
    for (auto _ : state) {
        ++frame.sequence;
        transport->cfg.callback(&frame, transport->cfg.user);
    }
    if (cloudBytes == 0) state.SkipWithError("no point cloud delivered");
    driver.stopStreaming(0);
    driver.close();
}

void BM_TurboJpegDecodeAlone(benchmark::State& state)
{
    const Inputs& in = inputs();
    tjhandle tj = tjInitDecompress();
    std::vector<uint8_t> bgr(size_t(kColourW) * kColourH * 3);
    for (auto _ : state) {
        int w = 0, h = 0, sub = 0, cs = 0;
        tjDecompressHeader3(tj, in.mjpeg.data(), in.mjpeg.size(), &w, &h, &sub, &cs);
        tjDecompress2(tj, in.mjpeg.data(), in.mjpeg.size(), bgr.data(), w, w * 3, h, TJPF_BGR, TJFLAG_FASTDCT);
        benchmark::DoNotOptimize(bgr.data());
    }
    tjDestroy(tj);
}

void BM_DepthKernelsAlone(benchmark::State& state)
{
    const Inputs& in = inputs();
    OrrPost post("v2.x");
    std::vector<uint16_t> depth(in.raw.size());
    std::vector<float> points;
    points.reserve(3 * depth.size() + 1);
    ir_rgb_Parameter param{};
    param.depthFx = 570, param.depthFy = 570, param.depthCx = 319.5f, param.depthCy = 239.5f;
    CAM_FRAME frame{CAM_FRAME_DEPTH, kDepthW, kDepthH, reinterpret_cast<unsigned char*>(depth.data()),
                    uint32_t(depth.size() * 2), 2, 0, 0};
    CAM_FRAME cloud{};
    for (auto _ : state) {
        std::memcpy(depth.data(), in.raw.data(), depth.size() * 2);  // the conversion works in place
        post.processDepthImageRawData(depth.data(), kDepthW, kDepthH, 4);
        post.depthToPointcloud(frame, cloud, points, param, false, false);
        benchmark::DoNotOptimize(points.data());
    }
}

BENCHMARK(BM_DriverTransfer)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TurboJpegDecodeAlone)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DepthKernelsAlone)->Unit(benchmark::kMicrosecond);

// Prints the ratio of the driver's CPU time to the sum of its parts (medians of the
// repetitions).
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& r : runs)
            if (!r.error_occurred && r.run_type == Run::RT_Iteration)
                m_cpu[r.run_name.function_name].push_back(r.GetAdjustedCPUTime());
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const double driver = median("BM_DriverTransfer");
        const double decode = median("BM_TurboJpegDecodeAlone");
        const double depth = median("BM_DepthKernelsAlone");
        if (driver <= 0 || decode <= 0 || depth <= 0) return;
        std::printf("\nMJPEG %zu bytes (1280x720), depth 640x480, point cloud\n", inputs().mjpeg.size());
        std::printf("driver per transfer          %9.1f us CPU\n", driver);
        std::printf("TurboJPEG decode alone       %9.1f us CPU\n", decode);
        std::printf("depth kernels alone          %9.1f us CPU\n", depth);
        std::printf("sum of the parts             %9.1f us CPU\n", decode + depth);
        std::printf("driver / sum of the parts    %9.2f\n", driver / (decode + depth));
    }

private:
    double median(const std::string& name) const
    {
        const auto it = m_cpu.find(name);
        if (it == m_cpu.end() || it->second.empty()) return -1;
        std::vector<double> t = it->second;
        std::sort(t.begin(), t.end());
        return t[t.size() / 2];
    }
    std::map<std::string, std::vector<double>> m_cpu;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
