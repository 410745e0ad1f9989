#include "CameraSolen.h"

#include <algorithm>
#include <cstring>

#include "CaptureFactory.h"
#include "Logger.h"
#include "SolenSerialCtrl.h"
#include "SolenUsbDevMatch.h"
#include "UsbCameraList.h"

namespace {

constexpr uint32_t kBridgeVendor = 0x1A86;
constexpr int kRates[] = {30, 25, 20, 15, 10, 5};
constexpr int kSizes[][2] = {{640, 400}, {320, 200}};

bool behindBridge(const QV_CAM_ATTR& attr)
{
    return attr.type == QV_CAM_ATTR_SERIAL || (attr.type == QV_CAM_ATTR_USB && attr.attr.usbAttrs.vid == kBridgeVendor);
}

std::unique_ptr<SolenCommonCtrl> makeCommand(const QV_CAM_ATTR& attr)
{
    if (attr.type == QV_CAM_ATTR_SERIAL) {
        const QV_SERIAL_DEV_ATTR& s = attr.attr.serialAttrs;
        return std::make_unique<SolenSerialCtrl>(int(s.vid), int(s.pid), 0, 0,
                                                 std::string(s.devNode, strnlen(s.devNode, sizeof s.devNode)));
    }
    const QV_USB_DEV_ATTR& u = attr.attr.usbAttrs;
    if (u.vid == kBridgeVendor)  // the tty is found when the camera is opened
        return std::make_unique<SolenSerialCtrl>(int(u.vid), int(u.pid), u.busnum, u.dev, std::string());
    return std::make_unique<SolenCommonCtrl>(int(u.vid), int(u.pid), u.busnum, u.dev);
}

}  // namespace

CameraSolen::CameraSolen(const QV_CAM_ATTR& attr, void* handle, SolenModelInfo model)
    : CameraDriverBase(attr, handle), m_model(model)
{
    m_command = makeCommand(attr);
}

CameraSolen::~CameraSolen()
{
    // Quiet the transport's thread before the images it writes into go away.
    if (isStarted() && m_capture) m_capture->stop();
}

std::atomic<int>& CameraSolen::frameSkipCounter()
{
    static std::atomic<int> counter{0};
    return counter;
}

int CameraSolen::notSupported(const char* operation) const
{
    QV_LOGW(m_model.className, " does not support ", operation);
    return -1;
}

// ---------------------------------------------------------------- open

bool CameraSolen::controlPosition(int& vid, int& pid, int& bus, int& address) const
{
    if (m_attr.type == QV_CAM_ATTR_USB) {
        vid = int(m_attr.attr.usbAttrs.vid);
        pid = int(m_attr.attr.usbAttrs.pid);
        bus = m_attr.attr.usbAttrs.busnum;
        address = m_attr.attr.usbAttrs.dev;
        return true;
    }
    const auto* serial = static_cast<const SolenSerialCtrl*>(solenCommand());
    vid = int(m_attr.attr.serialAttrs.vid);
    pid = int(m_attr.attr.serialAttrs.pid);
    return getUsbPositionOfTty(serial->devNode(), bus, address) == 0;
}

int CameraSolen::makeTransport()
{
    int vid = 0, pid = 0, bus = 0, address = 0;
    int videoVid = 0, videoPid = 0, videoBus = 0, videoAddress = 0;
    if (!controlPosition(vid, pid, bus, address) ||
        get_match_video_node_info(vid, pid, bus, address, videoVid, videoPid, videoBus, videoAddress,
                                  solenUsbDevMatch()) != 1) {
        QV_LOGE("no video function belongs to the ", m_model.className, " at bus ", bus, " address ", address);
        return QV_SDK_ERR_CAPTURE_OPEN;
    }
    QV_CAM_ATTR video{};
    video.type = QV_CAM_ATTR_USB;
    video.attr.usbAttrs.vid = static_cast<uint32_t>(videoVid);
    video.attr.usbAttrs.pid = static_cast<uint32_t>(videoPid);
    video.attr.usbAttrs.busnum = videoBus;
    video.attr.usbAttrs.dev = videoAddress;
    m_capture.reset(createCaptureInstance(video, 1024));
    solenCommand()->initVideoAttr(video);
    return 0;
}

int CameraSolen::open(char const* attrs)
{
    if (!isOpened() && !m_capture) {
        if (const int ret = makeTransport(); ret != 0) return ret;
    }
    return CameraDriverBase::open(attrs);
}

int CameraSolen::readConfiguration(char const* path)
{
    if (path == nullptr) {
        QV_LOGI("No configuration file was passed in, use the default configuration parameters.");
        return 0;
    }
    QV_LOGI("parse the configuration file:", path);
    orrindale::sdk::Solen::solen_config_para config = m_config;
    const int ret = orrindale::sdk::Solen::parseConfigFile(path, m_model.moduleName, config);
    if (ret != 0) {
        QV_LOGE("failed to parse the configuration from ", path, ", ret :", ret);
        return ret;
    }
    m_config = config;
    m_configPath = path;
    m_configApplied = true;
    m_assembler.configure(m_config);
    return 0;
}

int CameraSolen::sendStartupCommand()
{
    // The control channel: the bridge's tty is the one whose USB device is the camera's.
    if (m_attr.type == QV_CAM_ATTR_USB && behindBridge(m_attr)) {
        const std::string tty = getTtyNodeByUsbPosition(m_attr.attr.usbAttrs.busnum, m_attr.attr.usbAttrs.dev);
        if (tty.empty()) {
            QV_LOGE("no tty belongs to the serial bridge at bus ", m_attr.attr.usbAttrs.busnum, " address ",
                    m_attr.attr.usbAttrs.dev);
            return -1;
        }
        static_cast<SolenSerialCtrl*>(solenCommand())->setDevNode(tty);
    }
    return solenCommand()->init();
}

int CameraSolen::applySettings()
{
    SolenCommonCtrl* command = solenCommand();
    if (m_configApplied) {
        QV_LOGI("set SD ", m_config.sdLevel, ", TD ", m_config.tdLevel, ", gain ", m_config.gain,
                " according to the configuration file.");
        command->setHimaxSdLevel(m_config.sdLevel);
        command->setHimaxTd(m_config.tdLevel);
        if (m_config.gain != 0) command->setSensorMultiGain(m_config.gain);
    }
    command->getSn(m_serial);
    command->getFwVersion(m_firmware);
    command->getHimaxVersion(m_himax);
    QV_LOGI(m_model.className, " serial number ", m_serial, ", firmware ", m_firmware, ", Himax ", m_himax);
    unsigned char block[128];
    m_paLoaded = command->getPA(block, sizeof block) == 0 &&
                 SolenPaBlock::parse(reinterpret_cast<const char*>(block), m_pa);
    if (!m_paLoaded) QV_LOGW("the camera gave no calibration block: no point cloud and no intrinsics");
    return 0;
}

// ---------------------------------------------------------------- streaming

qvSTREAM_OPTION_E CameraSolen::streamTypeFor(uint32_t mediaMask)
{
    const bool depth = mediaMask & (QV_MEDIA_DEPTH | QV_MEDIA_POINTCLOUD);
    const bool ir = mediaMask & QV_MEDIA_IR;
    return depth && ir ? QV_STREAM_DEPTH_IR : ir ? QV_STREAM_IR : QV_STREAM_DEPTH;
}

bool CameraSolen::supportsMediaMask(uint32_t mask) const
{
    constexpr uint32_t known = QV_MEDIA_DEPTH | QV_MEDIA_IR | QV_MEDIA_POINTCLOUD;
    if (mask == 0 || (mask & ~known) != 0) return false;
    // The point cloud is computed from the depth.
    return !(mask & QV_MEDIA_POINTCLOUD) || (mask & QV_MEDIA_DEPTH);
}

int CameraSolen::startStreaming(int mediaMask)
{
    // Another stream type changes what the video function sends: the stream starts again.
    if (isStarted()) {
        const uint32_t mask = mediaMask != 0 ? (this->mediaMask() | static_cast<uint32_t>(mediaMask)) : defaultMediaMask();
        if (supportsMediaMask(mask) && streamTypeFor(mask) != m_streamType) {
            QV_LOGI("stream type ", m_streamType.load(), " becomes ", streamTypeFor(mask), ": the stream restarts");
            stopStreaming(0);
            return CameraDriverBase::startStreaming(static_cast<int>(mask));
        }
    }
    return CameraDriverBase::startStreaming(mediaMask);
}

int CameraSolen::buildVideoCfg(video_cfg& cfg)
{
    const qvSTREAM_OPTION_E type = streamTypeFor(mediaMask());
    SolenCommonCtrl* command = solenCommand();
    if (command->setFps(static_cast<SOLEN_FPS_TYPE_E>(m_fps.load())) != 0) {
        QV_LOGE("set frame rate fail.");
        return -1;
    }
    if (command->setStreamType(type) != 0) {
        QV_LOGE("set stream type fail.");
        return -1;
    }
    m_streamType = type;
    cfg.format = 0;  // 16-bit words
    cfg.width = static_cast<uint32_t>(m_width.load());
    cfg.height = static_cast<uint32_t>(m_height.load() * (type == QV_STREAM_DEPTH_IR ? 2 : 1));
    cfg.fps = static_cast<uint32_t>(m_fps.load());
    return 0;
}

int CameraSolen::processRawData(const frame_info& frame)
{
    SolenFrameAssembler::Request request;
    request.streamType = static_cast<qvSTREAM_OPTION_E>(m_streamType.load());
    request.mediaMask = mediaMask();
    request.width = m_width;
    request.height = m_height;
    request.haveIntrinsics = m_paLoaded;
    if (m_paLoaded) request.intrinsics = m_pa.parameterAt(request.width, request.height);
    request.timestamp = frameTimestamp(frame);
    return m_assembler.assemble(frame, request, m_frames) ? 0 : -1;
}

// ---------------------------------------------------------------- stream modes and calibration

int CameraSolen::getCapability(MEDIA_TYPE_E type, std::vector<STREAM_PARAM_S>& list)
{
    list.clear();
    if (type != MEDIA_TYPE_DEPTH) {
        QV_LOGE("not support media type");
        return QV_SDK_ERR_MEDIA_TYPE;
    }
    for (const auto& size : kSizes)
        for (int fps : kRates)
            list.push_back({static_cast<uint32_t>(size[0]), static_cast<uint32_t>(size[1]), static_cast<uint32_t>(fps)});
    return 0;
}

int CameraSolen::setStreamParam(MEDIA_TYPE_E type, STREAM_PARAM_S const* param)
{
    if (param == nullptr) {
        QV_LOGE("param is nullptr");
        return -1;
    }
    if (isStarted()) {
        QV_LOGE("Camera is streaming, only support setting StreamParam before streaming");
        return -1;
    }
    std::vector<STREAM_PARAM_S> modes;
    if (const int ret = getCapability(type, modes); ret != 0) return ret;
    const bool supported = std::any_of(modes.begin(), modes.end(), [&](const STREAM_PARAM_S& m) {
        return m.width == param->width && m.height == param->height && m.fps == param->fps;
    });
    if (!supported) {
        QV_LOGE("Not support width, height or fps");
        return -1;
    }
    m_width = static_cast<int>(param->width);
    m_height = static_cast<int>(param->height);
    m_fps = static_cast<int>(param->fps);
    return 0;
}

int CameraSolen::getStreamParam(STREAM_PARAM_S* param)
{
    if (param == nullptr) {
        QV_LOGE("param is nullptr");
        return -1;
    }
    const STREAM_PARAM_S depth{static_cast<uint32_t>(m_width.load()), static_cast<uint32_t>(m_height.load()),
                               static_cast<uint32_t>(m_fps.load())};
    param[0] = STREAM_PARAM_S{};
    param[1] = depth;
    param[2] = depth;
    return 0;
}

int CameraSolen::getCameraParameter(CAM_Parameter* parameter)
{
    if (parameter == nullptr) {
        QV_LOGE("parameter is nullptr");
        return -1;
    }
    if (!m_paLoaded) {
        QV_LOGE("the camera gave no calibration block");
        return -1;
    }
    *parameter = m_pa.parameterAt(m_width, m_height);
    return 0;
}

int CameraSolen::getSerialNo(std::string& serial) { return solenCommand()->getSn(serial); }

// ---------------------------------------------------------------- configuration

int CameraSolen::logCameraCfg()
{
    const auto& c = m_config;
    QV_LOGI("config file: ", m_configPath.empty() ? "(none, built-in defaults)" : m_configPath);
    QV_LOGI("camera settings: SD ", c.sdLevel, ", TD ", c.tdLevel, ", gain ", c.gain, ", windows ", c.windows,
            ", wborder ", c.wborder, ", hborder ", c.hborder);
    QV_LOGI("depth process: denoise ", c.denoiseEnable, " (newVal ", c.newVal, ", maxSpeckleSize ", c.maxSpeckleSize,
            ", maxDiff ", c.maxDiff, ", max_th ", c.maxTh, "), median ", c.medianFilterEnable, ", organized cloud ",
            c.pclOrganized);
    QV_LOGI("stream: ", m_width.load(), "x", m_height.load(), "@", m_fps.load(), ", type ", m_streamType.load(),
            ", mask ", mediaMask());
    return 0;
}

int CameraSolen::getConfigInfo(QV_CONFIG_INFO& info)
{
    std::memset(&info, 0, sizeof info);
    std::strncpy(info.path, m_configPath.c_str(), sizeof info.path - 1);
    std::strncpy(info.moduleName, m_model.moduleName, sizeof info.moduleName - 1);
    std::strncpy(info.protocolVersion, orrindale::sdk::Solen::kProtocolVersion, sizeof info.protocolVersion - 1);
    info.applied = m_configApplied ? 1 : 0;
    return 0;
}

// ---------------------------------------------------------------- transfers

int CameraSolen::bulkTransferRead(unsigned char* data, unsigned int length, int timeout)
{
    if (data == nullptr || length == 0 || timeout < 1) {
        QV_LOGE("data is nullptr, length is 0 or time-out below 1 ms");
        return -1;
    }
    return solenCommand()->read(data, length, static_cast<unsigned>(timeout));
}

int CameraSolen::bulkTransferWrite(unsigned char* data, unsigned int length, int timeout)
{
    if (data == nullptr || length == 0 || timeout < 1) {
        QV_LOGE("data is nullptr, length is 0 or time-out below 1 ms");
        return -1;
    }
    solenCommand()->discardStaleInput();
    return solenCommand()->write(data, length, static_cast<unsigned>(timeout));
}

int CameraSolen::getTofMode(TOFMode&) { return notSupported("getTofMode"); }
int CameraSolen::setDevNetAttrs(NET_DEV_ATTRS) { return notSupported("setDevNetAttrs"); }
int CameraSolen::getDevNetAttrs(NET_DEV_ATTRS&) { return notSupported("getDevNetAttrs"); }
int CameraSolen::controlTransferRead(unsigned char, unsigned char*, unsigned int, int)
{
    return notSupported("controlTransferRead");
}
int CameraSolen::controlTransferWrite(unsigned char, unsigned char*, unsigned int, int)
{
    return notSupported("controlTransferWrite");
}
