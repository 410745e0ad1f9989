// Driver of the Fl30c RGB-D camera: one UVC stream whose every transfer carries the
// calibration, an MJPEG colour image and a depth or infrared image.
//
// Transfer layout (little-endian): calibration floats at 0 (the first 20 in
// CAM_Parameter order), u32 MJPEG length at 1072, u32 transfer size at 1133, image kind
// at 1137 (1 infrared, 2 or 6 depth), the MJPEG at 2560, then the image.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CameraDriverBase.h"
#include "Fl30cCameraConf.h"
#include "Fl30cGeometry.h"
#include "ImageGeometry.h"
#include "OrrPost.h"
#include "XuCmdCameraFl30c.h"

class CameraFl30c : public CameraDriverBase {
public:
    static constexpr uint32_t kHeaderLength = 2560;
    static constexpr uint32_t kMaxMjpegPayload = 821760;  // 640 x 642 x 2, the whole largest transfer
    static constexpr uint32_t kMjpegLengthOffset = 1072;
    static constexpr uint32_t kFrameSizeOffset = 1133;
    static constexpr uint32_t kImageKindOffset = 1137;
    static constexpr int kFrameSkipCount = 4;
    static constexpr uint32_t kDefaultMediaMask = QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_POINTCLOUD;

    CameraFl30c(const QV_CAM_ATTR& attr, void* handle);
    // With a transport supplied by the caller instead of the capture factory's.
    CameraFl30c(const QV_CAM_ATTR& attr, void* handle, std::unique_ptr<ICapture> capture);
    ~CameraFl30c() override;

    int getSerialNo(std::string& serial) override;
    int getCameraParameter(CAM_Parameter* parameter) override;
    int getCapability(MEDIA_TYPE_E type, std::vector<STREAM_PARAM_S>& list) override;
    int setStreamParam(MEDIA_TYPE_E type, STREAM_PARAM_S const* param) override;
    // param: three records, in this order: colour, depth, infrared; the sizes of the images
    // as delivered (turned, or registered onto colour) and the rates.
    int getStreamParam(STREAM_PARAM_S* param) override;
    int getTofMode(TOFMode& mode) override;
    int logCameraCfg() override;
    int getConfigInfo(QV_CONFIG_INFO& info) override;
    int setDevNetAttrs(NET_DEV_ATTRS attrs) override;
    int getDevNetAttrs(NET_DEV_ATTRS& attrs) override;
    int controlTransferRead(unsigned char request, unsigned char* data, unsigned int length, int timeout) override;
    int controlTransferWrite(unsigned char request, unsigned char* data, unsigned int length, int timeout) override;
    int bulkTransferRead(unsigned char* data, unsigned int length, int timeout) override;
    int bulkTransferWrite(unsigned char* data, unsigned int length, int timeout) override;

    XuCmdCameraFl30c* xuCommand() { return static_cast<XuCmdCameraFl30c*>(m_command.get()); }

protected:
    int readConfiguration(char const* path) override;
    int sendStartupCommand() override;
    int applySettings() override;
    uint32_t defaultMediaMask() const override { return kDefaultMediaMask; }
    bool supportsMediaMask(uint32_t mask) const override;
    void forceIrDepthSize() override;
    bool checkFpsCfg() override;
    int buildVideoCfg(video_cfg& cfg) override;
    void preStart() override;
    void postStart() override;
    void applyDeferredSetting() override;
    int frameSkipCount() const override { return kFrameSkipCount; }
    std::atomic<int>& frameSkipCounter() override;
    bool fillInnerFrames(const frame_info& frame, unsigned char* rgb, unsigned char* ir, CAM_DATA_INNER& inner) override;
    int processRawData(const frame_info& frame) override;

private:
    struct StreamMode {
        std::atomic<uint32_t> width{640};
        std::atomic<uint32_t> height{480};
        std::atomic<uint32_t> fps{15};
        STREAM_PARAM_S get() const { return {width, height, fps}; }
        void set(const STREAM_PARAM_S& p)
        {
            width = p.width;
            height = p.height;
            fps = p.fps;
        }
    };
    // Position of the parts of one checked transfer.
    struct Transfer {
        const unsigned char* data;
        uint32_t size;
        uint32_t mjpegLength;
        uint8_t kind;
        uint32_t sequence;  // the transport's number of the transfer
        int imageWidth;   // depth/infrared image size carried by this transfer width
        int imageHeight;
    };

    void construct();
    bool checkTransfer(const frame_info& frame, Transfer& t);
    // Takes the header's calibration and makes the output parameters again whenever it or
    // the images it must describe changed.
    void loadCalibration(const Transfer& t);
    Fl30cGeometry::Request geometryRequest(int transferWidth, int transferHeight) const;
    int rgbDataProcessing(const Transfer& t, uint64_t timestamp);
    int irDataProcessing(const Transfer& t, uint64_t timestamp);
    int depthDataProcessing(const Transfer& t, uint64_t timestamp);
    void denoise(unsigned short* depth, int width, int height);
    uint32_t maxFps() const;

    StreamMode m_rgb, m_depth, m_ir;
    unsigned int m_mjpegWidth = 640;
    unsigned int m_mjpegHeight = 480;
    orrindale::sdk::Fl30c::fl30c_config_para m_config;
    std::string m_configPath;
    bool m_configApplied = false;
    ROTATE_MODE_E m_rotate = ROTATE_MODE_0;
    bool m_mirror = false;
    bool m_gainPending = false;  // the configured gain is sent again once the stream runs
    int m_gain = 0;
    OrrPost m_post{"v2.x"};

    // The calibration of the latest transfer header, the images it was made for, and the
    // parameters of the delivered images (read by the user's thread).
    mutable std::mutex m_calibrationMutex;
    bool m_calibrationLoaded = false;
    CAM_Parameter m_calibration{};
    Fl30cGeometry::Request m_geometry;
    CAM_Parameter m_reportedParameter{};
    ir_rgb_Parameter m_outputParameter{};

    // Frame buffers at their largest sizes, allocated once.
    std::vector<unsigned char> m_rawMjpeg;
    std::vector<unsigned char> m_rgbDecoded;
    std::vector<unsigned char> m_rgbScratch;
    std::vector<unsigned char> m_rgbOut;
    std::vector<unsigned char> m_irOut;
    std::vector<unsigned char> m_irScratch;
    std::vector<unsigned short> m_depthWork;
    std::vector<unsigned short> m_depthScratch;
    std::vector<unsigned short> m_depthOut;
    std::vector<float> m_points;
};
