"""The real image libraries through ctypes: images over numpy arrays, and the
components' extern "C" functions and parameter objects."""

import ctypes
from ctypes import CFUNCTYPE, POINTER, c_char_p, c_double, c_int32, c_int64, c_uint32, c_uint64, c_void_p

import numpy as np

OK = 0
ERR_INVALID_ARGUMENT = 0xE0000001
ERR_UNSUPPORTED_PIXEL_TYPE = 0xE0000002
ERR_SIZE_MISMATCH = 0xE0000003
ERR_UNKNOWN_PARAMETER = 0xE0000005
ERR_UNSUPPORTED_FILE_TYPE = 0xE0000006
ERR_FILE_OPEN = 0xE0000007
ERR_FILE_WRITE = 0xE0000008
ERR_UNKNOWN_ENCODER = 0xE0000009
ERR_INVALID_STATE = 0xE000000A
ERR_BUFFER_TOO_SMALL = 0xE000000C

MONO8 = 0x01080101
MONO10 = 0x01100202
MONO10_PACKED = 0x010C1204
MONO12 = 0x01100306
MONO12_PACKED = 0x010C1308
MONO16 = 0x0110050B
BAYER8 = {"GR": 0x0308010D, "RG": 0x0308010E, "GB": 0x0308010F, "BG": 0x03080110}
BAYER10 = {"GR": 0x03100211, "RG": 0x03100212, "GB": 0x03100213, "BG": 0x03100214}
BAYER12 = {"GR": 0x03100315, "RG": 0x03100316, "GB": 0x03100317, "BG": 0x03100318}
BAYER10_PACKED = {"GR": 0x030C121A, "RG": 0x030C121C, "GB": 0x030C121E, "BG": 0x030C1220}
BAYER12_PACKED = {"GR": 0x030C1322, "RG": 0x030C1324, "GB": 0x030C1326, "BG": 0x030C1328}
MONO10P = 0x010A2203
MONO12P = 0x010C2307
BAYER10P = {"GR": 0x030A2219, "RG": 0x030A221B, "GB": 0x030A221D, "BG": 0x030A221F}
BAYER12P = {"GR": 0x030C2321, "RG": 0x030C2323, "GB": 0x030C2325, "BG": 0x030C2327}
RGB8 = 0x02180171
BGR8 = 0x02180172
YUV422_8 = 0x05100181
YUV422_10 = 0x05200282
YUV422_10_PACKED = 0x05143283


class KyrImage(ctypes.Structure):
    _fields_ = [
        ("pixelType", c_uint32), ("width", c_uint32), ("height", c_uint32), ("bitDepth", c_uint32),
        ("components", c_uint32), ("packing", c_uint32), ("bitsPerPixel", c_uint32), ("stride", c_uint32),
        ("size", c_uint64), ("data", c_void_p),
    ]


class KyrImageSize(ctypes.Structure):
    _fields_ = [("width", c_uint32), ("height", c_uint32)]


def image_of(array, code, width=None):
    """A borrowed image over a C-contiguous numpy array, as a camera buffer
    hands one out; the array must outlive it."""
    assert array.flags["C_CONTIGUOUS"]
    height = array.shape[0]
    stride = array.strides[0]
    if width is None:
        width = array.shape[1]
    image = KyrImage(pixelType=code, width=width, height=height, stride=stride, size=array.nbytes,
                     data=array.ctypes.data)
    image.keep = array
    return image


def pixels_of(image, dtype, channels=1):
    """A numpy view of an image's pixels: (height, width) or (height, width, channels)."""
    flat = np.ctypeslib.as_array(ctypes.cast(image.data, POINTER(ctypes.c_uint8)), (image.height * image.stride,))
    used = image.width * channels * np.dtype(dtype).itemsize
    rows = flat.reshape(image.height, image.stride)[:, :used].view(dtype)
    return rows.reshape(image.height, image.width, channels) if channels > 1 else rows


class Params:
    """A KyrImageParams object: its three virtual functions, called through its vtable."""

    _SET_INT = CFUNCTYPE(c_uint32, c_void_p, c_char_p, c_int64)
    _SET_STRING = CFUNCTYPE(c_uint32, c_void_p, c_char_p, c_char_p)
    _GET_STRING = CFUNCTYPE(c_uint32, c_void_p, c_char_p, c_char_p, c_uint32)

    def __init__(self, pointer):
        assert pointer
        self._this = pointer
        table = ctypes.cast(ctypes.cast(pointer, POINTER(c_void_p))[0], POINTER(c_void_p))
        self._set_int = self._SET_INT(table[0])
        self._set_string = self._SET_STRING(table[1])
        self._get_string = self._GET_STRING(table[2])

    def set_int(self, name, value):
        return self._set_int(self._this, name.encode(), value)

    def set_string(self, name, value):
        return self._set_string(self._this, name.encode(), value.encode())

    def get_string(self, name, size=256):
        buffer = ctypes.create_string_buffer(size)
        code = self._get_string(self._this, name.encode(), buffer, size)
        return code, buffer.value.decode()


class ImageLibraries:
    """The five libraries of one build directory."""

    def __init__(self, load):
        self.api = load("libKyrImageApi.so")
        self.unpacker_lib = load("libKyrImageUnpacker.so")
        self.converter_lib = load("libKyrImageConverter.so")
        self.bayer_lib = load("libKyrDemosaicing.so")
        self.serializer_lib = load("libKyrImageSerializer.so")
        image = POINTER(KyrImage)
        for lib, name, args, result in (
            (self.api, "KyrCreateImage", [POINTER(image), KyrImageSize, c_uint32], c_uint32),
            (self.api, "KyrReleaseImage", [POINTER(image)], c_uint32),
            (self.unpacker_lib, "KyrImageUnpacker_CreateComponent", [], c_void_p),
            (self.unpacker_lib, "KyrImageUnpacker_DeleteComponent", [c_void_p], None),
            (self.unpacker_lib, "KyrImageUnpacker_GetComponent", [c_void_p], c_void_p),
            (self.unpacker_lib, "KyrImageUnpacker_Unpack", [c_void_p, image, image], c_uint32),
            (self.converter_lib, "KyrImageConverter_CreateComponent", [], c_void_p),
            (self.converter_lib, "KyrImageConverter_DeleteComponent", [c_void_p], None),
            (self.converter_lib, "KyrImageConverter_ConvertImage", [c_void_p, image, image], c_uint32),
            (self.bayer_lib, "KyrBayer_CreateComponent", [], c_void_p),
            (self.bayer_lib, "KyrBayer_DeleteComponent", [c_void_p], None),
            (self.bayer_lib, "KyrBayer_ConvertImage", [c_void_p, image, image], c_uint32),
            (self.serializer_lib, "KyrImageSerializer_CreateComponent", [c_int32], c_void_p),
            (self.serializer_lib, "KyrImageSerializer_DeleteComponent", [c_void_p], None),
            (self.serializer_lib, "KyrImageSerializer_GetComponent", [c_void_p], c_void_p),
            (self.serializer_lib, "KyrImageSerializer_Save", [c_void_p, image, c_char_p], c_uint32),
            (self.serializer_lib, "KyrImageSerializer_StartMovieRecord", [c_void_p, image, c_char_p, c_double],
             c_uint32),
            (self.serializer_lib, "KyrImageSerializer_FinishRecord", [c_void_p], c_uint32),
        ):
            function = getattr(lib, name)
            function.argtypes = args
            function.restype = result
            setattr(self, name, function)

    def create_image(self, width, height, code):
        """(code, image pointer or None); release with release_image."""
        pointer = POINTER(KyrImage)()
        code = self.KyrCreateImage(ctypes.byref(pointer), KyrImageSize(width, height), code)
        return code, (pointer.contents if pointer else None)

    def release_image(self, image):
        pointer = POINTER(KyrImage)(image)
        assert self.KyrReleaseImage(ctypes.byref(pointer)) == OK
        assert not pointer
