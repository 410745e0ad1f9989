// Hand-built Fl30c transfers for driver tests without a device: the header with a known
// calibration, a real MJPEG (TurboJPEG), then a depth or infrared image whose every pixel
// is a known function of its position; a recorder that copies what the driver delivers;
// and the driver with its frame-skip counter in reach.
#pragma once

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "CameraFl30c.h"
#include "FakeCapture.h"

namespace fl30ctest {

constexpr uint32_t kHeader = 2560;

// Depth in millimetres at (x, y) of the images the tests send: every pixel differs from
// its neighbours, and a misplaced pixel almost never lands on its own value.
inline uint16_t depthMmAt(int x, int y) { return static_cast<uint16_t>((x * 31 + y * 17) % 3900 + 100); }
inline uint8_t irAt(int x, int y) { return static_cast<uint8_t>((x * 7 + y * 13) % 251); }

inline CAM_Parameter testCalibration()
{
    CAM_Parameter p{};
    p.depthFx = 570.f, p.depthFy = 571.f, p.depthCx = 319.5f, p.depthCy = 239.5f;
    p.rgbFx = 610.f, p.rgbFy = 611.f, p.rgbCx = 318.25f, p.rgbCy = 241.75f;
    const float r[9] = {1, 0.001f, -0.002f, -0.001f, 1, 0.003f, 0.002f, -0.003f, 1};
    std::memcpy(p.rotation, r, sizeof r);
    p.translation[0] = -25.f, p.translation[1] = 0.5f, p.translation[2] = 1.5f;
    return p;
}

// A colour test card: flat blocks with a distinct colour each (RGB order).
inline std::vector<uint8_t> colourCard(int width, int height)
{
    std::vector<uint8_t> rgb(static_cast<size_t>(width) * height * 3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = &rgb[(static_cast<size_t>(y) * width + x) * 3];
            const int bx = x / 32, by = y / 32;
            p[0] = static_cast<uint8_t>(40 + (bx * 37) % 200);
            p[1] = static_cast<uint8_t>(40 + (by * 53) % 200);
            p[2] = static_cast<uint8_t>(40 + ((bx + by) * 29) % 200);
        }
    return rgb;
}

inline std::vector<uint8_t> encodeJpeg(const std::vector<uint8_t>& rgb, int width, int height, int quality = 95)
{
    tjhandle tj = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    const int ret = tjCompress2(tj, rgb.data(), width, 0, height, TJPF_RGB, &out, &size, TJSAMP_444, quality, 0);
    std::vector<uint8_t> jpeg;
    if (ret == 0) jpeg.assign(out, out + size);
    tjFree(out);
    tjDestroy(tj);
    return jpeg;
}

// A JPEG decoded as the library decodes it: B, G, R bytes, TurboJPEG's fast DCT.
inline std::vector<uint8_t> decodeBgr(const std::vector<uint8_t>& jpeg, int& width, int& height)
{
    tjhandle tj = tjInitDecompress();
    int sub = 0, colourspace = 0;
    std::vector<uint8_t> bgr;
    if (tjDecompressHeader3(tj, jpeg.data(), jpeg.size(), &width, &height, &sub, &colourspace) == 0) {
        bgr.resize(static_cast<size_t>(width) * height * 3);
        if (tjDecompress2(tj, jpeg.data(), jpeg.size(), bgr.data(), width, 0, height, TJPF_BGR, TJFLAG_FASTDCT) != 0)
            bgr.clear();
    }
    tjDestroy(tj);
    return bgr;
}

inline const std::vector<uint8_t>& cardJpeg(int width, int height)
{
    static std::mutex mutex;
    static std::vector<std::pair<std::pair<int, int>, std::vector<uint8_t>>> cache;
    std::lock_guard<std::mutex> lock(mutex);
    for (auto& entry : cache)
        if (entry.first == std::make_pair(width, height)) return entry.second;
    cache.emplace_back(std::make_pair(width, height), encodeJpeg(colourCard(width, height), width, height));
    return cache.back().second;
}

inline int transferRows(int width) { return width == 640 ? 642 : width == 320 ? 564 : 768; }

inline void putU32(std::vector<uint8_t>& b, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i) b[at + static_cast<size_t>(i)] = static_cast<uint8_t>(v >> (8 * i));
}

struct TransferRecipe {
    int width = 640;  // transfer width: 640, 320 or 160 (image 640x480, 320x240, 160x120)
    uint8_t kind = 2;
    int mjpegWidth = 640;
    int mjpegHeight = 480;
    const std::vector<uint8_t>* jpeg = nullptr;  // default: the colour card at the MJPEG size
    int rawFraction = 5;  // added to mm * 16 in each raw depth word (< 8 rounds down)
    const std::vector<uint16_t>* depthMm = nullptr;  // default: depthMmAt at every pixel
    CAM_Parameter calibration = testCalibration();
};

// The bytes of one transfer, width x rows x 2 long, laid out as the camera sends them.
inline std::vector<uint8_t> buildTransfer(const TransferRecipe& recipe = TransferRecipe())
{
    const std::vector<uint8_t>& jpeg = recipe.jpeg ? *recipe.jpeg : cardJpeg(recipe.mjpegWidth, recipe.mjpegHeight);
    const int imageW = recipe.width, imageH = recipe.width * 3 / 4;
    std::vector<uint8_t> b(static_cast<size_t>(recipe.width) * transferRows(recipe.width) * 2, 0);
    std::memcpy(b.data(), &recipe.calibration, sizeof recipe.calibration);
    putU32(b, 1072, static_cast<uint32_t>(jpeg.size()));
    putU32(b, 1133, static_cast<uint32_t>(b.size()));
    b[1137] = recipe.kind;
    std::memcpy(&b[kHeader], jpeg.data(), jpeg.size());
    uint8_t* image = &b[kHeader + jpeg.size()];
    for (int y = 0; y < imageH; ++y)
        for (int x = 0; x < imageW; ++x) {
            const size_t i = static_cast<size_t>(y) * imageW + x;
            if (recipe.kind == 1) {
                image[i] = irAt(x, y);
            } else {
                const int mm = recipe.depthMm ? (*recipe.depthMm)[i] : depthMmAt(x, y);
                const uint16_t raw = static_cast<uint16_t>(mm * 16 + (mm != 0 ? recipe.rawFraction : 0));
                image[2 * i] = static_cast<uint8_t>(raw);
                image[2 * i + 1] = static_cast<uint8_t>(raw >> 8);
            }
        }
    return b;
}

inline frame_info frameOf(const std::vector<uint8_t>& bytes, uint32_t width, uint32_t sequence, uint64_t timestamp = 0)
{
    frame_info f;
    f.width = width;
    f.height = static_cast<uint32_t>(transferRows(static_cast<int>(width)));
    f.sequence = sequence;
    f.timestamp = timestamp;
    f.data = bytes.data();
    f.size = static_cast<uint32_t>(bytes.size());
    return f;
}

// One slot of one callback, copied.
struct Slot {
    int32_t type = -1;
    uint32_t width = 0, height = 0, size = 0, length = 0, frameId = 0;
    uint64_t timestamp = 0;
    std::vector<uint8_t> bytes;
    template <typename T>
    T at(size_t i) const
    {
        T v;
        std::memcpy(&v, bytes.data() + i * sizeof(T), sizeof(T));
        return v;
    }
};

struct Delivery {
    void* handle = nullptr;
    void* user = nullptr;
    Slot slot[CAM_DATA_SLOT_COUNT];
};

// Copies every callback; thread safe.
class Recorder {
public:
    static void onFrames(void* handle, const CAM_DATA* data, void* user)
    {
        auto* self = static_cast<Recorder*>(user);
        Delivery d;
        d.handle = handle;
        d.user = user;
        for (int i = 0; i < CAM_DATA_SLOT_COUNT; ++i) {
            const CAM_FRAME& f = data->frame[i];
            Slot& s = d.slot[i];
            s.type = f.type;
            s.width = f.width, s.height = f.height, s.size = f.size, s.length = f.length, s.frameId = f.frameId;
            s.timestamp = f.timestamp;
            if (f.size > 0 && f.data != nullptr) s.bytes.assign(f.data, f.data + f.size);
        }
        std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_deliveries.push_back(std::move(d));
        self->m_cv.notify_all();
    }
    STREAM_CALLBACK_S callback() { return STREAM_CALLBACK_S{&Recorder::onFrames, this}; }
    size_t count() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_deliveries.size();
    }
    Delivery at(size_t i) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_deliveries.at(i);
    }
    Delivery last() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_deliveries.back();
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_deliveries.clear();
    }
    bool waitFor(size_t n, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cv.wait_for(lock, timeout, [&] { return m_deliveries.size() >= n; });
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    std::vector<Delivery> m_deliveries;
};

// The driver with the process-wide frame-skip counter readable.
class TestFl30c : public CameraFl30c {
public:
    using CameraFl30c::CameraFl30c;
    int skipped() { return frameSkipCounter().load(); }
};

inline QV_CAM_ATTR fl30cAttr()
{
    QV_CAM_ATTR attr;
    std::memset(&attr, 0, sizeof attr);
    attr.type = QV_CAM_ATTR_USB;
    attr.attr.usbAttrs.vid = 0x3482;
    attr.attr.usbAttrs.pid = 0x6723;
    attr.attr.usbAttrs.busnum = 1;
    attr.attr.usbAttrs.dev = 5;
    return attr;
}

// A scratch file under the build tree, unique per test.
inline std::string writeTmpFile(const std::string& name, const std::string& text)
{
    const char* root = std::getenv("ORR_TEST_TMP");
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    std::string path = std::string(root != nullptr ? root : "/tmp") + "/fl30c-" + info->test_suite_name() + "." +
                       info->name() + "-" + name;
    std::ofstream out(path, std::ios::trunc);
    out << text;
    return path;
}

// A configuration document of the Fl30c with the given "Camera", "Image" and
// "DepthProcess" objects (JSON text; empty: left out).
inline std::string fl30cConfig(const std::string& camera, const std::string& image = "",
                               const std::string& depthProcess = "", const std::string& pointCloud = "")
{
    std::string body;
    const auto add = [&](const char* key, const std::string& value) {
        if (value.empty()) return;
        if (!body.empty()) body += ",\n";
        body += std::string("    \"") + key + "\": " + value;
    };
    add("Camera", camera);
    add("Image", image);
    add("DepthProcess", depthProcess);
    add("PointCloudProcess", pointCloud);
    return "{\n  \"version\": \"v1.x\",\n  \"QV_CAM_FL30C\": {\n" + body + "\n  }\n}\n";
}

// Remembers how many control requests came before the transport was started.
class OrderedCapture : public orrtest::FakeCapture {
public:
    int start(video_cfg const& cfg) override
    {
        requestsBeforeStart = static_cast<int>(requests().size());
        return orrtest::FakeCapture::start(cfg);
    }
    int requestsBeforeStart = -1;
};

// A driver on an OrderedCapture, its callback registered with a Recorder.
class DriverFixture : public ::testing::Test {
protected:
    void SetUp() override { makeDriver("FL30C:V1.0.8:H01:20241021"); }

    void makeDriver(const std::string& firmware)
    {
        driver.reset();
        auto fake = std::make_unique<OrderedCapture>();
        capture = fake.get();
        capture->replyText(0x27, firmware);
        driver = std::make_unique<TestFl30c>(fl30cAttr(), &handleTag, std::move(fake));
        STREAM_CALLBACK_S cb = recorder.callback();
        driver->registerDataCallback(&cb);
    }
    void openWith(const std::string& configText = "")
    {
        const std::string path = configText.empty() ? "" : writeTmpFile("config.json", configText);
        ASSERT_EQ(driver->open(configText.empty() ? nullptr : path.c_str()), 0);
    }
    // The frames the process drops after its first start are used up here.
    void warmUp()
    {
        const auto bytes = buildTransfer();
        for (uint32_t seq = 1; driver->skipped() < CameraFl30c::kFrameSkipCount; ++seq)
            capture->deliver(frameOf(bytes, 640, seq));
        recorder.clear();
    }
    void setMode(MEDIA_TYPE_E type, uint32_t w, uint32_t h, uint32_t fps)
    {
        STREAM_PARAM_S p{w, h, fps};
        ASSERT_EQ(driver->setStreamParam(type, &p), 0);
    }
    std::vector<orrtest::RecordedRequest> requestsSince(size_t first) const
    {
        auto all = capture->requests();
        return std::vector<orrtest::RecordedRequest>(all.begin() + static_cast<long>(std::min(first, all.size())), all.end());
    }

    int handleTag = 0;
    Recorder recorder;  // outlives the driver, which calls into it
    OrderedCapture* capture = nullptr;
    std::unique_ptr<TestFl30c> driver;
};

}  // namespace fl30ctest
