// Records and enumerations that cross the exported interface of
// libOrrindaleCameraSdk. All of them are plain structures, copied by value.
#ifndef QV_CAMERA_SDK_TYPES_H
#define QV_CAMERA_SDK_TYPES_H

#include <cstdint>

#if defined(__GNUC__)
#define QV_SDK_API __attribute__((visibility("default")))
#else
#define QV_SDK_API
#endif

// ---------------------------------------------------------------- result codes
enum QV_SDK_RESULT_E : int32_t {
    QV_SDK_OK = 0,
    QV_SDK_ERR_FAILED = -1,           // not initialised, creation failed, generic failure
    QV_SDK_ERR_NO_SUCH_CAMERA = -2,   // no camera matches, or the call does not apply to this model
    QV_SDK_ERR_CAPTURE_OPEN = -82,    // the frame transport could not be opened
    QV_SDK_ERR_UNKNOWN_HANDLE = -83,  // the handle is not one the library created
    QV_SDK_ERR_MEDIA_TYPE = -85,      // requested media mask not supported by the model
    QV_SDK_ERR_CAPTURE_START = -86,   // the frame transport could not start
    QV_SDK_ERR_CMD_WRITE = -88,       // a command could not be written to the camera
    QV_SDK_ERR_CMD_READ = -89,        // a command's reply could not be read
    QV_SDK_ERR_FPS_COMBINATION = -91, // the configured frame rates are not an allowed combination
    QV_SDK_ERR_NULL_HANDLE = -100,    // the handle pointer is null
    QV_SDK_ERR_NOT_OPEN = -101,       // the camera behind the handle is not open
};

// ---------------------------------------------------------------- camera identity
enum QV_CAM_ATTR_TYPE : int32_t {
    QV_CAM_ATTR_USB = 0,
    QV_CAM_ATTR_SERIAL = 1,
    QV_CAM_ATTR_NET = 2,
};

#define QV_CAM_ATTR_SIZE 1024          // bytes of the whole QV_CAM_ATTR block
#define QV_USB_ATTR_RESERVED_SIZE 64   // reserved stretch between pid and busnum
#define QV_DEV_NODE_SIZE 64
#define QV_NET_IP_SIZE 64

typedef struct {
    uint32_t vid;
    uint32_t pid;
    uint8_t reserved[QV_USB_ATTR_RESERVED_SIZE];
    int32_t busnum;
    int32_t dev;
    int32_t port;
    char ports[QV_CAM_ATTR_SIZE - 4 - 8 - QV_USB_ATTR_RESERVED_SIZE - 12];  // "1.4.2", NUL-terminated
} QV_USB_DEV_ATTR;

typedef struct {
    uint32_t vid;
    uint32_t pid;
    uint32_t reserved;
    char devNode[QV_DEV_NODE_SIZE];
} QV_SERIAL_DEV_ATTR;

typedef struct {
    char ip[QV_NET_IP_SIZE];
    int32_t port;
    int32_t model;  // CAMERA_MODEL_E announced by the camera
} QV_NETWORK_DEV_ATTR;

typedef struct {
    QV_CAM_ATTR_TYPE type;
    union {
        QV_USB_DEV_ATTR usbAttrs;
        QV_SERIAL_DEV_ATTR serialAttrs;
        QV_NETWORK_DEV_ATTR netAttrs;
        uint8_t raw[QV_CAM_ATTR_SIZE - 4];
    } attr;
} QV_CAM_ATTR;

static_assert(sizeof(QV_CAM_ATTR) == QV_CAM_ATTR_SIZE, "QV_CAM_ATTR is a fixed-size block");

enum CAMERA_MODEL_E : int32_t {
    CAMERA_MODEL_UNKNOWN = 0,
    CAMERA_MODEL_GM80 = 1,
    CAMERA_MODEL_G700 = 2,
    CAMERA_MODEL_FL30 = 3,
    CAMERA_MODEL_FL30V = 4,
    CAMERA_MODEL_SELVAR_A = 5,
    CAMERA_MODEL_SELVAR_C = 6,
    CAMERA_MODEL_PELLAM = 7,
    CAMERA_MODEL_PELLAM_NET = 8,
    CAMERA_MODEL_FL30C = 9,
    CAMERA_MODEL_FL30CN = 10,
    CAMERA_MODEL_ZENTA = 11,
    CAMERA_MODEL_HALVO = 12,
    CAMERA_MODEL_OSTREL_B = 13,
    CAMERA_MODEL_VIRENE = 14,
    CAMERA_MODEL_VIRENE_A = 15,
    CAMERA_MODEL_MORVIK = 16,
    CAMERA_MODEL_E7 = 17,
    CAMERA_MODEL_VIRENE_B = 18,
};

// ---------------------------------------------------------------- frames
// Kind of a CAM_FRAME (its first field); the values follow the CAM_DATA slots.
enum CAM_FRAME_TYPE_E : int32_t {
    CAM_FRAME_DEPTH = 0,
    CAM_FRAME_RGB = 1,
    CAM_FRAME_IR = 2,
    CAM_FRAME_POINTCLOUD = 3,
    CAM_FRAME_RAW_MJPEG = 4,
};

typedef struct {
    int32_t type;         // CAM_FRAME_TYPE_E of the stream
    uint32_t width;       // pixels per row
    uint32_t height;      // rows
    unsigned char* data;  // owned by the driver; valid only during the callback
    uint32_t size;        // valid bytes at data; 0 = nothing in this callback
    uint32_t length;      // element count of a point cloud buffer; bytes per pixel otherwise
    uint32_t frameId;
    uint64_t timestamp;   // milliseconds of the clock chosen by QV_SDK_SetTimeStampType
} CAM_FRAME;

// Slots of CAM_DATA.
enum CAM_DATA_SLOT_E {
    CAM_DATA_SLOT_DEPTH = 0,
    CAM_DATA_SLOT_RGB = 1,
    CAM_DATA_SLOT_IR = 2,
    CAM_DATA_SLOT_POINTCLOUD = 3,
    CAM_DATA_SLOT_RESERVED = 4,
    CAM_DATA_SLOT_TOF_EXTRA = 5,
    CAM_DATA_SLOT_FL30C_EXTRA = 6,  // the Fl30c's raw MJPEG pass-through
    CAM_DATA_SLOT_COUNT = 8,
};

typedef struct {
    CAM_FRAME frame[CAM_DATA_SLOT_COUNT];
} CAM_DATA;

// Raw images handed to the inner callback before post-processing; same slot
// meaning as CAM_DATA (1 colour, 2 infrared).
typedef struct {
    CAM_FRAME frame[CAM_DATA_SLOT_COUNT];
} CAM_DATA_INNER;

typedef void (*QV_STREAM_CALLBACK)(void* handle, const CAM_DATA* data, void* privateData);
typedef void (*QV_STREAM_INNER_CALLBACK)(void* handle, const CAM_DATA_INNER* data, void* privateData);

typedef struct {
    QV_STREAM_CALLBACK callback;
    void* privateData;
} STREAM_CALLBACK_S;

typedef struct {
    QV_STREAM_INNER_CALLBACK callback;
    void* privateData;
} STREAM_CALLBACK_INNER_S;

typedef struct {
    QV_STREAM_CALLBACK callback;
    void* privateData;
} MERGE_CALLBACK_S;

// Media mask bits of QV_SDK_StartStream / QV_SDK_StopStream.
enum QV_MEDIA_MASK_E : uint32_t {
    QV_MEDIA_DEPTH = 0x1,
    QV_MEDIA_RGB = 0x2,
    QV_MEDIA_IR = 0x4,
    QV_MEDIA_POINTCLOUD = 0x8,
    QV_MEDIA_RAW_MJPEG = 0x80,
};

typedef struct {
    uint32_t width;
    uint32_t height;
    uint32_t fps;
} STREAM_PARAM_S;

enum MEDIA_TYPE_E : int32_t {
    MEDIA_TYPE_DEPTH = 0,
    MEDIA_TYPE_RGB = 1,
};

// Positions of the records QV_SDK_GetStreamParam and QV_SDK_GetStreamParamArray fill
// (MEDIA_TYPE_E has no infrared value).
enum STREAM_PARAM_INDEX_E : int32_t {
    STREAM_PARAM_RGB = 0,
    STREAM_PARAM_DEPTH = 1,
    STREAM_PARAM_IR = 2,
    STREAM_PARAM_COUNT = 3,
};

// Depth (infrared) intrinsics, colour intrinsics, rotation row by row, translation.
typedef struct {
    float depthFx, depthFy, depthCx, depthCy;
    float rgbFx, rgbFy, rgbCx, rgbCy;
    float rotation[9];
    float translation[3];
} CAM_Parameter;

static_assert(sizeof(CAM_Parameter) == 20 * sizeof(float), "CAM_Parameter is 20 floats");

// ---------------------------------------------------------------- control records
enum TIME_STAMP_TYPE : int32_t {
    TIME_STAMP_STEADY = 0,  // monotonic clock
    TIME_STAMP_SYSTEM = 1,  // wall clock
};

typedef struct {
    int32_t mode;        // measuring mode of a ToF camera
    int32_t frequency;   // modulation frequency in MHz, 0 when not applicable
    int32_t range;       // measuring range in millimetres
    int32_t reserved;
} TOFMode;

typedef struct {
    char ip[QV_NET_IP_SIZE];
    char netmask[QV_NET_IP_SIZE];
    char gateway[QV_NET_IP_SIZE];
    char mac[32];
    int32_t dhcp;        // non-zero: the camera asks DHCP for its address
} NET_DEV_ATTRS;

typedef struct {
    char path[256];           // configuration file the camera was opened with ("" = defaults)
    char moduleName[64];      // module object of the document that was applied
    char protocolVersion[16]; // "version" of the document
    char configVersion[64];   // "config_version" of the document
    int32_t applied;          // 1 when the document was applied, 0 when defaults are in force
    int32_t depthAligned;     // 1 when depth images are registered onto the colour image
} QV_CONFIG_INFO;

#define QV_MAX_TOF_SENSORS 4
typedef struct {
    int32_t count;                              // valid entries of param
    CAM_Parameter param[QV_MAX_TOF_SENSORS];
} CAM_Parameter_Set;

typedef struct {
    int32_t percent;     // 0..100, updated while an upgrade runs
    int32_t status;      // 0 running or done, negative: the upgrade's failure code
    void (*progress)(int32_t percent, void* user);  // optional, called on every change
    void* user;
} CAM_UPGRADE_DEV_S;

typedef struct {
    uint32_t format;  // 0 YUYV, other values compressed (MJPEG)
    uint32_t width;
    uint32_t height;
    uint32_t fps;
} video_captur_attr;

// ---------------------------------------------------------------- model-specific records
// Measuring range of a ToF camera in one measuring mode, millimetres.
typedef struct {
    uint32_t nearest;
    uint32_t farthest;
} MeasureRange;

// Light pulses of a ToF camera in one measuring mode: drive level (the camera's steps)
// and pulse width in nanoseconds.
typedef struct {
    uint32_t level;
    uint32_t width;
} PulseValue;

// Depth-sensing parameters of the Ostrel B's depth engine.
typedef struct {
    uint32_t confidence;  // lowest confidence a depth pixel keeps
    uint32_t nearest;     // depth range kept, millimetres
    uint32_t farthest;
    uint32_t reserved;
} DSENSE_PARA_S;

// Called once per capture instant of a camera with several ToF sensors (Pellam): data holds
// one CAM_DATA per sensor, in sensor index order; valid only during the callback.
typedef void (*QV_STREAM_SET_CALLBACK)(void* handle, const CAM_DATA* data, uint32_t count, void* privateData);

typedef struct {
    QV_STREAM_SET_CALLBACK callback;
    void* privateData;
} STREAM_SET_CALLBACK_S;

// ---------------------------------------------------------------- listeners
enum QV_LISTENER_TYPE : int32_t {
    QV_LISTENER_HOTPLUG = 0,
    QV_LISTENER_NETWORK = 1,
};

typedef struct {
    void (*attach)(const QV_CAM_ATTR* attr, void* user);
    void (*detach)(const QV_CAM_ATTR* attr, void* user);
    void* user;
} QV_LISTENER_CALLBACK;

#endif
