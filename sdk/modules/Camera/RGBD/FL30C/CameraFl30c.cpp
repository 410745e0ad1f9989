#include "CameraFl30c.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "CaptureFactory.h"
#include "Logger.h"
#include "ParameterTransfer.h"

namespace {

constexpr uint32_t kMaxRgbWidth = 1280;
constexpr uint32_t kMaxRgbHeight = 720;
constexpr uint32_t kMaxDepthWidth = 640;
constexpr uint32_t kMaxDepthHeight = 480;
constexpr uint32_t kRates[] = {10, 15, 25, 30};

uint32_t readU32(const unsigned char* p)
{
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}

// Rows of the UVC frame that carries a depth image of this width.
int transferRows(uint32_t depthWidth)
{
    switch (depthWidth) {
    case 640: return 642;
    case 320: return 564;
    case 160: return 768;
    default: return 0;
    }
}

// Depth/infrared image carried by a transfer of this width.
bool imageSizeOfTransfer(uint32_t transferWidth, int& width, int& height)
{
    switch (transferWidth) {
    case 640: width = 640, height = 480; return true;
    case 320: width = 320, height = 240; return true;
    case 160: width = 160, height = 120; return true;
    default: return false;
    }
}

void addModes(std::vector<STREAM_PARAM_S>& list, uint32_t width, uint32_t height)
{
    for (uint32_t fps : kRates) list.push_back({width, height, fps});
}

}  // namespace

CameraFl30c::CameraFl30c(const QV_CAM_ATTR& attr, void* handle) : CameraDriverBase(attr, handle)
{
    m_capture.reset(createCaptureInstance(attr, 1024));
    construct();
}

CameraFl30c::CameraFl30c(const QV_CAM_ATTR& attr, void* handle, std::unique_ptr<ICapture> capture)
    : CameraDriverBase(attr, handle)
{
    m_capture = std::move(capture);
    construct();
}

void CameraFl30c::construct()
{
    m_command = std::make_unique<XuCmdCameraFl30c>(m_capture.get(), m_handle, m_attr.type);
    m_rawMjpeg.resize(kMaxMjpegPayload);
    m_rgbDecoded.resize(kMaxRgbWidth * kMaxRgbHeight * 3);
    m_rgbScratch.resize(kMaxRgbWidth * kMaxRgbHeight * 3);
    m_rgbOut.resize(kMaxRgbWidth * kMaxRgbHeight * 3);
    m_irOut.resize(kMaxDepthWidth * kMaxDepthHeight);
    m_irScratch.resize(kMaxDepthWidth * kMaxDepthHeight);
    m_depthWork.resize(kMaxDepthWidth * kMaxDepthHeight);
    m_depthScratch.resize(kMaxDepthWidth * kMaxDepthHeight);
    m_depthOut.resize(kMaxDepthWidth * kMaxDepthHeight);
    m_points.reserve(3 * kMaxDepthWidth * kMaxDepthHeight + 1);
}

CameraFl30c::~CameraFl30c()
{
    // Quiet the transport's thread before the buffers it writes into go away (also after a stop
    // from inside a callback, which returned before that callback did).
    if (m_capture) m_capture->close();
}

std::atomic<int>& CameraFl30c::frameSkipCounter()
{
    // Shared by every Fl30c of the process and never reset: only the first stream of the
    // process loses its first frames, while the sensors settle.
    static std::atomic<int> counter{0};
    return counter;
}

// ---------------------------------------------------------------- open

int CameraFl30c::readConfiguration(char const* path)
{
    orrindale::sdk::Fl30c::fl30c_config_para config = m_config;
    const int ret = orrindale::sdk::Fl30c::getConfigurationParameters(path, config);
    if (ret < 0) return ret;
    m_config = config;
    m_configPath = path ? path : "";
    m_configApplied = path != nullptr;
    m_rotate = static_cast<ROTATE_MODE_E>(m_config.rotate);
    m_mirror = m_config.mirror;
    return 0;
}

int CameraFl30c::sendStartupCommand() { return xuCommand()->xucmd_write_clear_feature(); }

int CameraFl30c::applySettings()
{
    XuCmdCameraFl30c* xu = xuCommand();
    if (m_config.settingsEnable) {
        QV_LOGI("Camera confiParaEnable true, setting configuration parameter");
        xu->setAeMode(m_config.aeMode);
        xu->setLightingTime(m_config.lightingTime);
        xu->setCurrentIntensity(m_config.currentIntensity);
        if (m_config.gain != 0) xu->setGain(m_config.gain);
        xu->setHimaxConfidenceLevel(m_config.confidence);
        xu->setHimaxSdLevel(m_config.sdLevel);
        xu->setHimaxTd(m_config.tdLevel);
        m_gain = m_config.gain;
        m_gainPending = m_config.gain != 0;
    } else {
        QV_LOGI("Camera confiParaEnable false, No configuration parameters will be set");
    }
    unsigned int width = m_mjpegWidth, height = m_mjpegHeight;
    const int ret = xu->getMjpegSize(width, height);
    if (ret == 0) {
        m_mjpegWidth = width;
        m_mjpegHeight = height;
        m_rgb.width = width;
        m_rgb.height = height;
    }
    return ret;
}

// ---------------------------------------------------------------- stream modes

int CameraFl30c::getCapability(MEDIA_TYPE_E type, std::vector<STREAM_PARAM_S>& list)
{
    list.clear();
    if (type == MEDIA_TYPE_DEPTH) {
        addModes(list, 640, 480);
        addModes(list, 320, 240);
        addModes(list, 160, 120);
        return 0;
    }
    if (type == MEDIA_TYPE_RGB) {
        if (m_mjpegWidth == 1280) {
            if (m_mjpegHeight == 720) {
                addModes(list, 1280, 720);
                addModes(list, 640, 480);
            }
        } else if (m_mjpegWidth == 640 && m_mjpegHeight == 480) {
            addModes(list, 640, 480);
        } else if (m_mjpegWidth == 640 && m_mjpegHeight == 360) {
            addModes(list, 640, 360);
        }
        return 0;
    }
    return -1;
}

int CameraFl30c::setStreamParam(MEDIA_TYPE_E type, STREAM_PARAM_S const* param)
{
    if (param == nullptr) {
        QV_LOGE("param is nullptr");
        return -1;
    }
    if (!m_opened) {
        QV_LOGE("Camera is not opened.");
        return -1;
    }
    if (m_streaming) {
        QV_LOGE("Camera is streaming, only support setting StreamParam before streaming");
        return -1;
    }
    std::vector<STREAM_PARAM_S> modes;
    getCapability(type, modes);
    const bool supported = std::any_of(modes.begin(), modes.end(), [&](const STREAM_PARAM_S& m) {
        return m.width == param->width && m.height == param->height && m.fps == param->fps;
    });
    if (!supported) {
        QV_LOGE("Not support width, height or fps");
        return -1;
    }
    (type == MEDIA_TYPE_DEPTH ? m_depth : m_rgb).set(*param);
    return 0;
}

int CameraFl30c::getStreamParam(STREAM_PARAM_S* param)
{
    if (param == nullptr) {
        QV_LOGE("param is nullptr");
        return -1;
    }
    STREAM_PARAM_S sizes[3] = {};
    Fl30cGeometry::deliveredSizes(geometryRequest(static_cast<int>(m_depth.width), static_cast<int>(m_depth.height)),
                                  static_cast<int>(m_ir.width), static_cast<int>(m_ir.height), sizes);
    const uint32_t fps[3] = {m_rgb.fps, m_depth.fps, m_ir.fps};
    for (int i = 0; i < 3; ++i) param[i] = {sizes[i].width, sizes[i].height, fps[i]};
    return 0;
}

int CameraFl30c::getCameraParameter(CAM_Parameter* parameter)
{
    if (parameter == nullptr) {
        QV_LOGE("parameter is nullptr");
        return -1;
    }
    std::lock_guard<std::mutex> lock(m_calibrationMutex);
    if (!m_calibrationLoaded) {
        QV_LOGE("the calibration arrives with the first frame: start streaming first");
        return -1;
    }
    *parameter = m_reportedParameter;
    return 0;
}

int CameraFl30c::getSerialNo(std::string& serial) { return xuCommand()->getSn(serial); }

int CameraFl30c::logCameraCfg()
{
    const auto& c = m_config;
    QV_LOGI("config file: ", m_configPath.empty() ? "(none, built-in defaults)" : m_configPath);
    QV_LOGI("camera settings: enable ", c.settingsEnable, ", AE ", c.aeMode, ", T ", c.lightingTime, ", P ",
            c.currentIntensity, ", gain ", c.gain, ", confidence ", c.confidence, ", SD ", c.sdLevel, ", TD ",
            c.tdLevel, ", TDC ", c.tdc);
    QV_LOGI("image: rotate ", c.rotate, ", mirror ", c.mirror, ", mjpeg ", m_mjpegWidth, "x", m_mjpegHeight);
    QV_LOGI("depth process: denoise ", c.denoiseEnable, " (", c.denoiseWidth, "x", c.denoiseHeight, ", factor ",
            c.denoiseFactor, ", newVal ", c.newVal, ", maxSpeckleSize ", c.maxSpeckleSize, ", maxDiff ", c.maxDiff,
            ", max_th ", c.maxTh, "), median ", c.medianFilterEnable, ", registration ", c.registrationEnable,
            ", organized cloud ", c.pclOrganized);
    const STREAM_PARAM_S rgb = m_rgb.get(), depth = m_depth.get(), ir = m_ir.get();
    QV_LOGI("streams: rgb ", rgb.width, "x", rgb.height, "@", rgb.fps, ", depth ", depth.width, "x", depth.height, "@",
            depth.fps, ", ir ", ir.width, "x", ir.height, "@", ir.fps, ", mask ", m_mediaMask.load());
    return 0;
}

int CameraFl30c::getConfigInfo(QV_CONFIG_INFO& info)
{
    std::memset(&info, 0, sizeof info);
    std::strncpy(info.path, m_configPath.c_str(), sizeof info.path - 1);
    std::strncpy(info.moduleName, orrindale::sdk::Fl30c::CameraConf::kModuleName, sizeof info.moduleName - 1);
    std::strncpy(info.protocolVersion, orrindale::sdk::Fl30c::CameraConf::kProtocolVersion,
                 sizeof info.protocolVersion - 1);
    info.applied = m_configApplied ? 1 : 0;
    info.depthAligned = m_config.registrationEnable ? 1 : 0;
    return 0;
}

int CameraFl30c::getTofMode(TOFMode&)
{
    QV_LOGW("CameraFl30c does not support getTofMode");
    return -1;
}

int CameraFl30c::setDevNetAttrs(NET_DEV_ATTRS)
{
    QV_LOGW("CameraFl30c does not support setDevNetAttrs");
    return -1;
}

int CameraFl30c::getDevNetAttrs(NET_DEV_ATTRS&)
{
    QV_LOGW("CameraFl30c does not support getDevNetAttrs");
    return -1;
}

int CameraFl30c::controlTransferRead(unsigned char, unsigned char*, unsigned int, int)
{
    QV_LOGW("CameraFl30c does not support controlTransferRead");
    return -1;
}

int CameraFl30c::controlTransferWrite(unsigned char, unsigned char*, unsigned int, int)
{
    QV_LOGW("CameraFl30c does not support controlTransferWrite");
    return -1;
}

int CameraFl30c::bulkTransferRead(unsigned char*, unsigned int, int)
{
    QV_LOGW("CameraFl30c does not support bulkTransferRead");
    return -1;
}

int CameraFl30c::bulkTransferWrite(unsigned char*, unsigned int, int)
{
    QV_LOGW("CameraFl30c does not support bulkTransferWrite");
    return -1;
}

// ---------------------------------------------------------------- start and stop

bool CameraFl30c::supportsMediaMask(uint32_t mask) const
{
    constexpr uint32_t known = QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_IR | QV_MEDIA_POINTCLOUD | QV_MEDIA_RAW_MJPEG;
    if (mask & ~known) return false;
    // The point cloud is computed from the depth image.
    if ((mask & QV_MEDIA_POINTCLOUD) && !(mask & QV_MEDIA_DEPTH)) return false;
    return true;
}

void CameraFl30c::forceIrDepthSize()
{
    m_depth.width = 640;
    m_depth.height = 480;
}

bool CameraFl30c::checkFpsCfg()
{
    const uint32_t mask = m_mediaMask;
    const uint32_t depth = m_depth.fps, rgb = m_rgb.fps, ir = m_ir.fps;
    const bool wantDepth = mask & QV_MEDIA_DEPTH, wantRgb = mask & QV_MEDIA_RGB, wantIr = mask & QV_MEDIA_IR;
    if (wantDepth && wantRgb && depth != rgb && !(depth == 15 && rgb == 30)) {
        QV_LOGE("depth frame rate not equal to rgb frame rate");
        return false;
    }
    if (wantDepth && wantIr && depth != ir) {
        QV_LOGE("depth frame rate not equal to ir frame rate");
        return false;
    }
    if (wantRgb && wantIr && rgb != ir) {
        QV_LOGE("rgb frame rate not equal to ir frame rate");
        return false;
    }
    return true;
}

uint32_t CameraFl30c::maxFps() const { return std::max(m_depth.fps.load(), m_rgb.fps.load()); }

int CameraFl30c::buildVideoCfg(video_cfg& cfg)
{
    const uint32_t width = m_depth.width;
    const int rows = transferRows(width);
    if (rows == 0) {
        QV_LOGE("not support image size");
        return -1;
    }
    cfg.format = 0;  // the transfer travels as an uncompressed frame
    cfg.width = width;
    cfg.height = static_cast<uint32_t>(rows);
    cfg.fps = maxFps();
    return 0;
}

void CameraFl30c::preStart()
{
    xuCommand()->setFrameRate(static_cast<int>(maxFps()));
    xuCommand()->setTemperatureDrifgingCompensation(m_config.tdc);
    // The sizes may have changed since the last stream: the first transfer of this one
    // brings the calibration of its images.
    std::lock_guard<std::mutex> lock(m_calibrationMutex);
    m_calibrationLoaded = false;
}

void CameraFl30c::postStart()
{
    const uint32_t mask = m_mediaMask;
    if (mask & QV_MEDIA_IR)
        xuCommand()->setFrameRate(30);  // depth and infrared take turns
    else if (mask & QV_MEDIA_DEPTH)
        xuCommand()->setFrameRate(static_cast<int>(maxFps()));
}

void CameraFl30c::applyDeferredSetting()
{
    if (!m_gainPending) return;
    const int ret = xuCommand()->setGain(m_gain);
    QV_LOGI("set gain ret ", ret, ", gain ", m_gain);
}

// ---------------------------------------------------------------- transfers

bool CameraFl30c::checkTransfer(const frame_info& frame, Transfer& t)
{
    if (frame.data == nullptr || frame.size < kImageKindOffset) return false;
    const uint32_t frameSize = readU32(frame.data + kFrameSizeOffset);
    if (frame.size != frameSize) {
        QV_LOGW("wrong size, read :", frame.size, ",but framesize:", frameSize);
        return false;
    }
    const uint32_t mjpegLength = readU32(frame.data + kMjpegLengthOffset);
    if (mjpegLength < 1 || mjpegLength >= kMaxMjpegPayload) {
        QV_LOGW("warning: mjpeg size is ", mjpegLength, ", not in range 0 ~ ", kMaxMjpegPayload);
        return false;
    }
    if (frame.size < kHeaderLength || mjpegLength > frame.size - kHeaderLength) {
        QV_LOGW("frame of ", frame.size, " bytes cannot hold its header and an mjpeg of ", mjpegLength, " bytes");
        return false;
    }
    t.data = frame.data;
    t.size = frame.size;
    t.mjpegLength = mjpegLength;
    t.kind = frame.data[kImageKindOffset];
    t.sequence = frame.sequence;
    if (!imageSizeOfTransfer(frame.width, t.imageWidth, t.imageHeight)) {
        QV_LOGW("transfer width ", frame.width, " carries no known image size");
        return false;
    }
    return true;
}

Fl30cGeometry::Request CameraFl30c::geometryRequest(int transferWidth, int transferHeight) const
{
    Fl30cGeometry::Request r;
    r.transferWidth = transferWidth, r.transferHeight = transferHeight;
    r.depthWidth = static_cast<int>(m_depth.width), r.depthHeight = static_cast<int>(m_depth.height);
    r.mjpegWidth = static_cast<int>(m_mjpegWidth), r.mjpegHeight = static_cast<int>(m_mjpegHeight);
    r.rgbWidth = static_cast<int>(m_rgb.width), r.rgbHeight = static_cast<int>(m_rgb.height);
    r.rotate = m_rotate;
    r.mirror = m_mirror;
    r.registration = m_config.registrationEnable;
    return r;
}

void CameraFl30c::loadCalibration(const Transfer& t)
{
    // Every header is read: the depth calibration follows the transfer size, and the
    // delivered sizes change when infrared forces 640 x 480 on a running stream.
    CAM_Parameter header;
    std::memcpy(&header, t.data, sizeof header);
    const Fl30cGeometry::Request request = geometryRequest(t.imageWidth, t.imageHeight);
    std::lock_guard<std::mutex> lock(m_calibrationMutex);
    if (m_calibrationLoaded && request == m_geometry && std::memcmp(&header, &m_calibration, sizeof header) == 0)
        return;
    m_calibration = header;
    m_geometry = request;
    Fl30cGeometry::parameters(header, request, m_outputParameter, m_reportedParameter);
    m_calibrationLoaded = true;
}

int CameraFl30c::processRawData(const frame_info& frame)
{
    Transfer t{};
    if (!checkTransfer(frame, t)) return -1;
    loadCalibration(t);
    const uint32_t mask = m_mediaMask;
    const uint64_t timestamp = frameTimestamp(frame);

    if (mask & QV_MEDIA_RAW_MJPEG) {
        CAM_FRAME& raw = m_frames.frame[CAM_DATA_SLOT_FL30C_EXTRA];
        const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(m_rawMjpeg.size()), t.mjpegLength);
        std::memcpy(m_rawMjpeg.data(), t.data + kHeaderLength, n);
        raw.type = CAM_FRAME_RAW_MJPEG;
        raw.width = m_mjpegWidth;
        raw.height = m_mjpegHeight;
        raw.data = m_rawMjpeg.data();
        raw.size = n;
        raw.length = 0;
        raw.frameId = frame.sequence;
        raw.timestamp = timestamp;
    }
    if (mask & QV_MEDIA_RGB) rgbDataProcessing(t, timestamp);

    switch (t.kind) {
    case 1:
        if (mask & QV_MEDIA_IR) irDataProcessing(t, timestamp);
        return 0;
    case 2:
    case 6:
        break;
    default:
        return 0;  // a kind without an image of ours: the colour records still go out
    }
    if (!(mask & QV_MEDIA_DEPTH)) return 0;
    // Camera at 30 fps for the colour stream: depth goes out with every other transfer.
    if (m_rgb.fps == 30 && m_depth.fps == 15 && !(mask & QV_MEDIA_IR) && (frame.sequence % 2) == 0) return 0;
    return depthDataProcessing(t, timestamp);
}

int CameraFl30c::rgbDataProcessing(const Transfer& t, uint64_t timestamp)
{
    unsigned int width = 0, height = 0;
    const int ret = m_post.mjpgToRGB24(const_cast<unsigned char*>(t.data + kHeaderLength), static_cast<int>(t.mjpegLength),
                                       m_rgbDecoded.data(), width, height, static_cast<unsigned>(m_rgbDecoded.size()));
    if (ret != 0) {
        // A damaged picture is not passed on as if it were whole; the rest of the transfer is.
        QV_LOGW("colour image of frame ", t.sequence, " dropped: its MJPEG does not decode, ret ", ret);
        return ret;
    }
    const Fl30cGeometry::ColourPlan plan = Fl30cGeometry::colourPlan(
        static_cast<int>(width), static_cast<int>(height), static_cast<int>(m_rgb.width),
        static_cast<int>(m_rgb.height), m_rotate);
    // A picture of an odd shape (a bad transfer) could ask for more than the buffers hold.
    if (static_cast<size_t>(plan.outWidth) * static_cast<size_t>(plan.outHeight) * 3 > m_rgbOut.size()) {
        QV_LOGW("colour image of ", width, "x", height, " cannot be delivered at ", plan.outWidth, "x",
                plan.outHeight);
        return -1;
    }
    const uint8_t* image = m_rgbDecoded.data();
    int w = static_cast<int>(width), h = static_cast<int>(height);
    if (m_rotate != ROTATE_MODE_0 || m_mirror) {
        const uint8_t* source = image;
        if (plan.bandWidth != w) {
            ImageGeometry::cropColumns(image, w, h, m_rgbOut.data(), plan.bandX0, plan.bandWidth, 3);
            source = m_rgbOut.data();
        }
        ImageGeometry::rotateMirror(source, plan.bandWidth, h, m_rgbScratch.data(), m_rotate, m_mirror, 3, w, h);
        image = m_rgbScratch.data();
    }
    uint8_t* out = const_cast<uint8_t*>(image);
    if (plan.outWidth != w || plan.outHeight != h) {
        uint8_t* target = image == m_rgbOut.data() ? m_rgbDecoded.data() : m_rgbOut.data();
        ImageGeometry::ReSizeForNearestFC(image, w, h, target, plan.outWidth, plan.outHeight, 3);
        out = target;
        w = plan.outWidth;
        h = plan.outHeight;
    }
    CAM_FRAME& rgb = m_frames.frame[CAM_DATA_SLOT_RGB];
    rgb.type = CAM_FRAME_RGB;
    rgb.width = static_cast<uint32_t>(w);
    rgb.height = static_cast<uint32_t>(h);
    rgb.data = out;
    rgb.size = static_cast<uint32_t>(w * h * 3);
    rgb.length = 3;
    rgb.timestamp = timestamp;
    return 0;
}

int CameraFl30c::irDataProcessing(const Transfer& t, uint64_t timestamp)
{
    const size_t imageBytes = static_cast<size_t>(t.imageWidth) * t.imageHeight;
    const size_t offset = kHeaderLength + static_cast<size_t>(t.mjpegLength);
    if (offset + imageBytes > t.size) {
        QV_LOGW("frame size not match");
        return -1;
    }
    const uint8_t* image = t.data + offset;
    int w = t.imageWidth, h = t.imageHeight;
    const int outW = static_cast<int>(m_ir.width), outH = static_cast<int>(m_ir.height);
    if (w != outW || h != outH) {
        ImageGeometry::ReSizeForNearestFC(image, w, h, m_irScratch.data(), outW, outH, 1);
        image = m_irScratch.data();
        w = outW, h = outH;
    } else {
        std::memcpy(m_irScratch.data(), image, imageBytes);
        image = m_irScratch.data();
    }
    if (m_rotate != ROTATE_MODE_0 || m_mirror) {
        ImageGeometry::rotateMirror(image, w, h, m_irOut.data(), m_rotate, m_mirror, 1, w, h);
        std::memcpy(m_irScratch.data(), m_irOut.data(), static_cast<size_t>(w) * h);
    }
    CAM_FRAME src{CAM_FRAME_IR, static_cast<uint32_t>(w), static_cast<uint32_t>(h), m_irScratch.data(),
                  static_cast<uint32_t>(w * h), 1, 0, timestamp};
    CAM_FRAME& ir = m_frames.frame[CAM_DATA_SLOT_IR];
    ir = src;
    ir.data = m_irOut.data();
    ir.size = static_cast<uint32_t>(m_irOut.size());
    if (m_post.alignIr(src, ir, m_outputParameter) != 0) return -1;
    ir.type = CAM_FRAME_IR;
    ir.width = static_cast<uint32_t>(w);
    ir.height = static_cast<uint32_t>(h);
    ir.size = static_cast<uint32_t>(w * h);
    ir.length = 1;
    ir.timestamp = timestamp;
    return 0;
}

void CameraFl30c::denoise(unsigned short* depth, int width, int height)
{
    const auto& c = m_config;
    const bool multiple = width > 0 && height > 0 && c.denoiseWidth % width == 0 && c.denoiseHeight % height == 0 &&
                          c.denoiseWidth / width == c.denoiseHeight / height && c.denoiseWidth / width >= 1;
    if (!multiple) {
        QV_LOGE("denoise depth image fail!");
        QV_LOGW("The denoising parameter width and height in the configuration file are not multiplesof the current "
                "resolution.Please fill in the denoising parameter width and heightcorrectly in the configuration "
                "file, or set the resolution correctly.");
        return;
    }
    const int k = c.denoiseWidth / width;
    // Speckle sizes are areas: a configuration made for k times the resolution is scaled back.
    const double divisor = std::pow(static_cast<double>(std::max(c.denoiseFactor, 1)), k - 1);
    const int maxSpeckleSize = static_cast<int>(c.maxSpeckleSize / divisor);
    // A far limit of 0 would clear every pixel: a record made without the reader has none.
    const int maxTh = c.maxTh > 0 ? c.maxTh : orrindale::sdk::depth_process_para::kNoFarLimit;
    m_post.denoiseDepthImage(depth, static_cast<unsigned>(width), static_cast<unsigned>(height),
                             static_cast<short>(c.newVal), maxSpeckleSize, c.maxDiff, maxTh);
}

int CameraFl30c::depthDataProcessing(const Transfer& t, uint64_t timestamp)
{
    const size_t imageBytes = static_cast<size_t>(t.imageWidth) * t.imageHeight * 2;
    const size_t offset = kHeaderLength + static_cast<size_t>(t.mjpegLength);
    if (offset + imageBytes > t.size) {
        QV_LOGW("depth image of ", imageBytes, " bytes does not fit a transfer of ", t.size, " bytes");
        return -1;
    }
    // The transport's buffer is read-only: convert a copy.
    unsigned short* depth = m_depthWork.data();
    std::memcpy(depth, t.data + offset, imageBytes);
    m_post.processDepthImageRawData(depth, static_cast<unsigned>(t.imageWidth), static_cast<unsigned>(t.imageHeight),
                                    4);

    int w = t.imageWidth, h = t.imageHeight;
    const int wantW = static_cast<int>(m_depth.width), wantH = static_cast<int>(m_depth.height);
    if (w != wantW || h != wantH) {
        ImageGeometry::ReSizeForNearestFC(reinterpret_cast<uint8_t*>(depth), w, h,
                                          reinterpret_cast<uint8_t*>(m_depthScratch.data()), wantW, wantH, 2);
        std::swap(m_depthWork, m_depthScratch);
        depth = m_depthWork.data();
        w = wantW, h = wantH;
    }
    if (m_rotate != ROTATE_MODE_0 || m_mirror) {
        ImageGeometry::rotateMirror(reinterpret_cast<uint8_t*>(depth), w, h,
                                    reinterpret_cast<uint8_t*>(m_depthScratch.data()), m_rotate, m_mirror, 2, w, h);
        std::swap(m_depthWork, m_depthScratch);
        depth = m_depthWork.data();
    }
    if (m_config.denoiseEnable) denoise(depth, w, h);
    if (m_config.medianFilterEnable) m_post.fastMedianFilter(depth, w, h);

    CAM_FRAME& out = m_frames.frame[CAM_DATA_SLOT_DEPTH];
    out.type = CAM_FRAME_DEPTH;
    out.width = static_cast<uint32_t>(w);
    out.height = static_cast<uint32_t>(h);
    out.data = reinterpret_cast<unsigned char*>(m_depthOut.data());
    out.size = static_cast<uint32_t>(w * h * 2);
    out.length = 2;
    out.timestamp = timestamp;
    std::memcpy(m_depthOut.data(), depth, static_cast<size_t>(w) * h * 2);

    if (m_config.registrationEnable) {
        int alignedW = 0, alignedH = 0;
        Fl30cGeometry::alignedSize(geometryRequest(t.imageWidth, t.imageHeight), alignedW, alignedH);
        const auto dstW = static_cast<uint32_t>(alignedW), dstH = static_cast<uint32_t>(alignedH);
        if (static_cast<size_t>(dstW) * dstH <= m_depthOut.size()) {
            CAM_FRAME src{CAM_FRAME_DEPTH, static_cast<uint32_t>(w), static_cast<uint32_t>(h),
                          reinterpret_cast<unsigned char*>(depth), static_cast<uint32_t>(w * h * 2), 2, 0, timestamp};
            CAM_FRAME dst = out;
            dst.width = dstW;
            dst.height = dstH;
            dst.size = dstW * dstH * 2;
            if (m_post.alignDepth(src, dst, m_outputParameter) == 0) {
                out.width = dstW;
                out.height = dstH;
                out.size = dstW * dstH * 2;
            } else {
                QV_LOGW("depth not aligned to colour in this frame");
            }
        }
    }

    if (m_mediaMask & QV_MEDIA_POINTCLOUD) {
        CAM_FRAME& cloud = m_frames.frame[CAM_DATA_SLOT_POINTCLOUD];
        if (out.data == nullptr) {
            QV_LOGE("null ptr!");
            return 0;
        }
        if (m_post.depthToPointcloud(out, cloud, m_points, m_outputParameter, m_config.pclOrganized,
                                     m_config.registrationEnable) == 0) {
            cloud.type = CAM_FRAME_POINTCLOUD;
            cloud.timestamp = timestamp;
        } else {
            cloud.size = 0;
        }
    }
    return 0;
}

bool CameraFl30c::fillInnerFrames(const frame_info& frame, unsigned char* rgb, unsigned char* ir, CAM_DATA_INNER& inner)
{
    Transfer t{};
    if (frame.data == nullptr || frame.size < kHeaderLength) return false;
    const uint32_t mjpegLength = readU32(frame.data + kMjpegLengthOffset);
    if (mjpegLength < 1 || mjpegLength > frame.size - kHeaderLength) return false;
    if (!imageSizeOfTransfer(frame.width, t.imageWidth, t.imageHeight)) return false;
    if (frame.data[kImageKindOffset] != 1) return false;  // the infrared image rides only on IR transfers
    const size_t irBytes = static_cast<size_t>(t.imageWidth) * t.imageHeight;
    if (kHeaderLength + mjpegLength + irBytes > frame.size || irBytes > kInnerIrBytes) return false;

    unsigned int width = 0, height = 0;
    if (m_post.mjpgToRGB24(const_cast<unsigned char*>(frame.data + kHeaderLength), static_cast<int>(mjpegLength), rgb,
                           width, height, static_cast<unsigned>(kInnerRgbBytes)) != 0)
        return false;
    std::memcpy(ir, frame.data + kHeaderLength + mjpegLength, irBytes);
    const uint64_t timestamp = frameTimestamp(frame);
    inner.frame[CAM_DATA_SLOT_RGB] = {CAM_FRAME_RGB, width, height, rgb, width * height * 3, 3, frame.sequence, timestamp};
    inner.frame[CAM_DATA_SLOT_IR] = {CAM_FRAME_IR,  static_cast<uint32_t>(t.imageWidth),
                                     static_cast<uint32_t>(t.imageHeight), ir, static_cast<uint32_t>(irBytes), 1,
                                     frame.sequence, timestamp};
    return true;
}
