// The GenTL producer interface (GenICam transport layer, version 1.5) as the
// consumer and the test producer use it: handle types, the info commands and
// enumerations we need, and the signatures of the exported C functions. The
// values are those the public standard publishes; only what we call is here.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t GC_ERROR;
typedef uint8_t bool8_t;

enum {
    GC_ERR_SUCCESS = 0,
    GC_ERR_ERROR = -1001,
    GC_ERR_NOT_INITIALIZED = -1002,
    GC_ERR_NOT_IMPLEMENTED = -1003,
    GC_ERR_RESOURCE_IN_USE = -1004,
    GC_ERR_ACCESS_DENIED = -1005,
    GC_ERR_INVALID_HANDLE = -1006,
    GC_ERR_INVALID_ID = -1007,
    GC_ERR_NO_DATA = -1008,
    GC_ERR_INVALID_PARAMETER = -1009,
    GC_ERR_IO = -1010,
    GC_ERR_TIMEOUT = -1011,
    GC_ERR_ABORT = -1012,
    GC_ERR_INVALID_BUFFER = -1013,
    GC_ERR_NOT_AVAILABLE = -1014,
    GC_ERR_INVALID_ADDRESS = -1015,
    GC_ERR_BUFFER_TOO_SMALL = -1016,
    GC_ERR_INVALID_INDEX = -1017,
    GC_ERR_PARSING_CHUNK_DATA = -1018,
    GC_ERR_INVALID_VALUE = -1019,
    GC_ERR_RESOURCE_EXHAUSTED = -1020,
    GC_ERR_OUT_OF_MEMORY = -1021,
    GC_ERR_BUSY = -1022,
};

#define GENTL_INFINITE 0xFFFFFFFFFFFFFFFFULL

typedef void *TL_HANDLE;
typedef void *IF_HANDLE;
typedef void *DEV_HANDLE;
typedef void *DS_HANDLE;
typedef void *PORT_HANDLE;
typedef void *BUFFER_HANDLE;
typedef void *EVENTSRC_HANDLE;
typedef void *EVENT_HANDLE;

typedef int32_t INFO_DATATYPE;
enum {
    INFO_DATATYPE_UNKNOWN = 0,
    INFO_DATATYPE_STRING = 1,
    INFO_DATATYPE_STRINGLIST = 2,
    INFO_DATATYPE_INT16 = 3,
    INFO_DATATYPE_UINT16 = 4,
    INFO_DATATYPE_INT32 = 5,
    INFO_DATATYPE_UINT32 = 6,
    INFO_DATATYPE_INT64 = 7,
    INFO_DATATYPE_UINT64 = 8,
    INFO_DATATYPE_FLOAT64 = 9,
    INFO_DATATYPE_PTR = 10,
    INFO_DATATYPE_BOOL8 = 11,
    INFO_DATATYPE_SIZET = 12,
    INFO_DATATYPE_BUFFER = 13,
};

typedef int32_t TL_INFO_CMD;
enum {
    TL_INFO_ID = 0,
    TL_INFO_VENDOR = 1,
    TL_INFO_MODEL = 2,
    TL_INFO_VERSION = 3,
    TL_INFO_TLTYPE = 4,
    TL_INFO_NAME = 5,
    TL_INFO_PATHNAME = 6,
    TL_INFO_DISPLAYNAME = 7,
};

typedef int32_t INTERFACE_INFO_CMD;
enum {
    INTERFACE_INFO_ID = 0,
    INTERFACE_INFO_DISPLAYNAME = 1,
    INTERFACE_INFO_TLTYPE = 2,
};

typedef int32_t DEVICE_INFO_CMD;
enum {
    DEVICE_INFO_ID = 0,
    DEVICE_INFO_VENDOR = 1,
    DEVICE_INFO_MODEL = 2,
    DEVICE_INFO_TLTYPE = 3,
    DEVICE_INFO_DISPLAYNAME = 4,
    DEVICE_INFO_ACCESS_STATUS = 5,
    DEVICE_INFO_USER_DEFINED_NAME = 6,
    DEVICE_INFO_SERIAL_NUMBER = 7,
    DEVICE_INFO_VERSION = 8,
};

typedef int32_t DEVICE_ACCESS_FLAGS;
enum {
    DEVICE_ACCESS_UNKNOWN = 0,
    DEVICE_ACCESS_NONE = 1,
    DEVICE_ACCESS_READONLY = 2,
    DEVICE_ACCESS_CONTROL = 3,
    DEVICE_ACCESS_EXCLUSIVE = 4,
};

typedef int32_t DEVICE_ACCESS_STATUS;
enum {
    DEVICE_ACCESS_STATUS_UNKNOWN = 0,
    DEVICE_ACCESS_STATUS_READWRITE = 1,
    DEVICE_ACCESS_STATUS_READONLY = 2,
    DEVICE_ACCESS_STATUS_NOACCESS = 3,
    DEVICE_ACCESS_STATUS_BUSY = 4,
    DEVICE_ACCESS_STATUS_OPEN_READWRITE = 5,
    DEVICE_ACCESS_STATUS_OPEN_READONLY = 6,
};

typedef int32_t STREAM_INFO_CMD;
enum {
    STREAM_INFO_ID = 0,
    STREAM_INFO_NUM_DELIVERED = 1,
    STREAM_INFO_NUM_UNDERRUN = 2,
    STREAM_INFO_NUM_ANNOUNCED = 3,
    STREAM_INFO_NUM_QUEUED = 4,
    STREAM_INFO_NUM_AWAIT_DELIVERY = 5,
    STREAM_INFO_NUM_STARTED = 6,
    STREAM_INFO_PAYLOAD_SIZE = 7,
    STREAM_INFO_IS_GRABBING = 8,
    STREAM_INFO_DEFINES_PAYLOADSIZE = 9,
    STREAM_INFO_TLTYPE = 10,
    STREAM_INFO_NUM_CHUNKS_MAX = 11,
    STREAM_INFO_BUF_ANNOUNCE_MIN = 12,
    STREAM_INFO_BUF_ALIGNMENT = 13,
};

typedef int32_t BUFFER_INFO_CMD;
enum {
    BUFFER_INFO_BASE = 0,
    BUFFER_INFO_SIZE = 1,
    BUFFER_INFO_USER_PTR = 2,
    BUFFER_INFO_TIMESTAMP = 3,
    BUFFER_INFO_NEW_DATA = 4,
    BUFFER_INFO_IS_QUEUED = 5,
    BUFFER_INFO_IS_ACQUIRING = 6,
    BUFFER_INFO_IS_INCOMPLETE = 7,
    BUFFER_INFO_TLTYPE = 8,
    BUFFER_INFO_SIZE_FILLED = 9,
    BUFFER_INFO_WIDTH = 10,
    BUFFER_INFO_HEIGHT = 11,
    BUFFER_INFO_XOFFSET = 12,
    BUFFER_INFO_YOFFSET = 13,
    BUFFER_INFO_XPADDING = 14,
    BUFFER_INFO_YPADDING = 15,
    BUFFER_INFO_FRAMEID = 16,
    BUFFER_INFO_IMAGEPRESENT = 17,
    BUFFER_INFO_IMAGEOFFSET = 18,
    BUFFER_INFO_PAYLOADTYPE = 19,
    BUFFER_INFO_PIXELFORMAT = 20,
    BUFFER_INFO_PIXELFORMAT_NAMESPACE = 21,
    BUFFER_INFO_DELIVERED_IMAGEHEIGHT = 22,
};

// Pixel format namespace of BUFFER_INFO_PIXELFORMAT.
enum { PIXELFORMAT_NAMESPACE_PFNC_32BIT = 5 };

typedef int32_t PORT_INFO_CMD;
enum {
    PORT_INFO_ID = 0,
    PORT_INFO_VENDOR = 1,
    PORT_INFO_MODEL = 2,
    PORT_INFO_TLTYPE = 3,
    PORT_INFO_MODULE = 4,
};

typedef int32_t URL_INFO_CMD;
enum {
    URL_INFO_URL = 0,
    URL_INFO_SCHEMA_VER_MAJOR = 1,
    URL_INFO_SCHEMA_VER_MINOR = 2,
};

typedef int32_t ACQ_START_FLAGS;
enum { ACQ_START_FLAGS_DEFAULT = 0 };

typedef int32_t ACQ_STOP_FLAGS;
enum { ACQ_STOP_FLAGS_DEFAULT = 0, ACQ_STOP_FLAGS_KILL = 1 };

typedef int32_t ACQ_QUEUE_TYPE;
enum {
    ACQ_QUEUE_INPUT_TO_OUTPUT = 0,
    ACQ_QUEUE_OUTPUT_DISCARD = 1,
    ACQ_QUEUE_ALL_TO_INPUT = 2,
    ACQ_QUEUE_UNQUEUED_TO_INPUT = 3,
    ACQ_QUEUE_ALL_DISCARD = 4,
};

typedef int32_t EVENT_TYPE;
enum {
    EVENT_ERROR = 0,
    EVENT_NEW_BUFFER = 1,
    EVENT_FEATURE_INVALIDATE = 2,
    EVENT_FEATURE_CHANGE = 3,
    EVENT_REMOTE_DEVICE = 4,
    EVENT_MODULE = 5,
};

typedef int32_t EVENT_DATA_INFO_CMD;
enum {
    EVENT_DATA_ID = 0,
    EVENT_DATA_VALUE = 1,
    EVENT_DATA_NUMID = 2,
};

// What EventGetData delivers for EVENT_NEW_BUFFER.
typedef struct S_EVENT_NEW_BUFFER {
    BUFFER_HANDLE BufferHandle;
    void *pUserPointer;
} EVENT_NEW_BUFFER_DATA;

// The exported functions, as pointer types named after the function.
typedef GC_ERROR (*PGCGetInfo)(TL_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PGCGetLastError)(GC_ERROR *, char *, size_t *);
typedef GC_ERROR (*PGCInitLib)(void);
typedef GC_ERROR (*PGCCloseLib)(void);
typedef GC_ERROR (*PGCReadPort)(PORT_HANDLE, uint64_t, void *, size_t *);
typedef GC_ERROR (*PGCWritePort)(PORT_HANDLE, uint64_t, const void *, size_t *);
typedef GC_ERROR (*PGCGetPortURL)(PORT_HANDLE, char *, size_t *);
typedef GC_ERROR (*PGCGetPortInfo)(PORT_HANDLE, PORT_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PGCRegisterEvent)(EVENTSRC_HANDLE, EVENT_TYPE, EVENT_HANDLE *);
typedef GC_ERROR (*PGCUnregisterEvent)(EVENTSRC_HANDLE, EVENT_TYPE);
typedef GC_ERROR (*PEventGetData)(EVENT_HANDLE, void *, size_t *, uint64_t);
typedef GC_ERROR (*PEventGetDataInfo)(EVENT_HANDLE, const void *, size_t, EVENT_DATA_INFO_CMD, INFO_DATATYPE *,
                                     void *, size_t *);
typedef GC_ERROR (*PEventFlush)(EVENT_HANDLE);
typedef GC_ERROR (*PEventKill)(EVENT_HANDLE);
typedef GC_ERROR (*PTLOpen)(TL_HANDLE *);
typedef GC_ERROR (*PTLClose)(TL_HANDLE);
typedef GC_ERROR (*PTLGetInfo)(TL_HANDLE, TL_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PTLGetNumInterfaces)(TL_HANDLE, uint32_t *);
typedef GC_ERROR (*PTLGetInterfaceID)(TL_HANDLE, uint32_t, char *, size_t *);
typedef GC_ERROR (*PTLGetInterfaceInfo)(TL_HANDLE, const char *, INTERFACE_INFO_CMD, INFO_DATATYPE *, void *,
                                        size_t *);
typedef GC_ERROR (*PTLOpenInterface)(TL_HANDLE, const char *, IF_HANDLE *);
typedef GC_ERROR (*PTLUpdateInterfaceList)(TL_HANDLE, bool8_t *, uint64_t);
typedef GC_ERROR (*PIFClose)(IF_HANDLE);
typedef GC_ERROR (*PIFGetInfo)(IF_HANDLE, INTERFACE_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PIFGetNumDevices)(IF_HANDLE, uint32_t *);
typedef GC_ERROR (*PIFGetDeviceID)(IF_HANDLE, uint32_t, char *, size_t *);
typedef GC_ERROR (*PIFUpdateDeviceList)(IF_HANDLE, bool8_t *, uint64_t);
typedef GC_ERROR (*PIFGetDeviceInfo)(IF_HANDLE, const char *, DEVICE_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PIFOpenDevice)(IF_HANDLE, const char *, DEVICE_ACCESS_FLAGS, DEV_HANDLE *);
typedef GC_ERROR (*PDevGetPort)(DEV_HANDLE, PORT_HANDLE *);
typedef GC_ERROR (*PDevGetNumDataStreams)(DEV_HANDLE, uint32_t *);
typedef GC_ERROR (*PDevGetDataStreamID)(DEV_HANDLE, uint32_t, char *, size_t *);
typedef GC_ERROR (*PDevOpenDataStream)(DEV_HANDLE, const char *, DS_HANDLE *);
typedef GC_ERROR (*PDevGetInfo)(DEV_HANDLE, DEVICE_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PDevClose)(DEV_HANDLE);
typedef GC_ERROR (*PDSAnnounceBuffer)(DS_HANDLE, void *, size_t, void *, BUFFER_HANDLE *);
typedef GC_ERROR (*PDSAllocAndAnnounceBuffer)(DS_HANDLE, size_t, void *, BUFFER_HANDLE *);
typedef GC_ERROR (*PDSFlushQueue)(DS_HANDLE, ACQ_QUEUE_TYPE);
typedef GC_ERROR (*PDSStartAcquisition)(DS_HANDLE, ACQ_START_FLAGS, uint64_t);
typedef GC_ERROR (*PDSStopAcquisition)(DS_HANDLE, ACQ_STOP_FLAGS);
typedef GC_ERROR (*PDSGetInfo)(DS_HANDLE, STREAM_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PDSGetBufferID)(DS_HANDLE, uint32_t, BUFFER_HANDLE *);
typedef GC_ERROR (*PDSClose)(DS_HANDLE);
typedef GC_ERROR (*PDSRevokeBuffer)(DS_HANDLE, BUFFER_HANDLE, void **, void **);
typedef GC_ERROR (*PDSQueueBuffer)(DS_HANDLE, BUFFER_HANDLE);
typedef GC_ERROR (*PDSGetBufferInfo)(DS_HANDLE, BUFFER_HANDLE, BUFFER_INFO_CMD, INFO_DATATYPE *, void *, size_t *);
typedef GC_ERROR (*PGCGetNumPortURLs)(PORT_HANDLE, uint32_t *);
typedef GC_ERROR (*PGCGetPortURLInfo)(PORT_HANDLE, uint32_t, URL_INFO_CMD, INFO_DATATYPE *, void *, size_t *);

#ifdef __cplusplus
} // extern "C"
#endif
