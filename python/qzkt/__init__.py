"""QZKT video frames in Python: encoder and decoder objects on NumPy arrays, over libqzkt.

    import numpy as np, qzkt
    picture = np.zeros((1080, 1920, 4), np.uint8)          # H x W x 4, bytes A, R, G, B
    with qzkt.Encoder(1920, 1080) as encoder:               # the machine-wide settings
        frame = encoder.encode(picture)                     # bytes: one QZKT frame
    with qzkt.Decoder(1920, 1080) as decoder:
        back = decoder.decode(frame)                        # H x W x 4 again
    qzkt.frame_info(frame, 1920, 1080)["blocks"]            # "DXT24"

Pixels are A, R, G, B in that byte order, as the codec takes them; order="rgba" takes and
gives R, G, B, A instead. Errors raise QZKTError, whose .result and .problem are the
library's result name and problem text. The library is found through QZKT_LIBRARY (a path),
beside an installed package (<prefix>/lib[/<multiarch>]/libqzkt.so.1), or by the loader.
"""

import ctypes
import ctypes.util
import os
import sys

import numpy as np

__all__ = [
    "QZKTError", "Settings", "Encoder", "Decoder", "version", "default_settings",
    "read_settings", "frame_info", "library_path",
]

_RESULTS = ["OK", "BAD_ARGUMENTS", "BUFFER_TOO_SMALL", "DAMAGED_FRAME", "NO_RENDERER",
            "OUT_OF_MEMORY", "CODEC_ERROR", "SETTINGS_NOT_SAVED", "SETTINGS_NOT_READ"]
_RENDERERS = {"auto": 0, "hardware": 1, "software": 2, "cpu": 3}
_KINDS = ["DXT1", "DXT5", "DXT24", "DXT24A"]


class QZKTError(Exception):
    """A call of libqzkt that did not succeed: result is its name ("DAMAGED_FRAME", ...),
    code its number, problem the library's words for what went wrong."""

    def __init__(self, what, code, problem=""):
        self.code = code
        self.result = _RESULTS[code] if 0 <= code < len(_RESULTS) else str(code)
        self.problem = problem
        super().__init__(f"{what}: {self.result.lower().replace('_', ' ')}" + (f" ({problem})" if problem else ""))


class _Settings(ctypes.Structure):
    _fields_ = [("alpha", ctypes.c_int), ("dxt24", ctypes.c_int), ("no_lzf", ctypes.c_int),
                ("thread_setting", ctypes.c_int)]


class _FrameInfo(ctypes.Structure):  # qzkt_frame_info, 88 bytes
    _fields_ = [("has_header", ctypes.c_int), ("intact", ctypes.c_int), ("problem", ctypes.c_char_p),
                ("header_size", ctypes.c_uint32), ("plane_width", ctypes.c_uint32),
                ("plane_height", ctypes.c_uint32), ("stored_size", ctypes.c_uint32),
                ("plane_stored_size", ctypes.c_uint32), ("version", ctypes.c_uint8),
                ("alpha", ctypes.c_uint8), ("packing", ctypes.c_uint8), ("plane_packing", ctypes.c_uint8),
                ("plane_pixel_size", ctypes.c_uint8), ("block_colour_plane", ctypes.c_uint8),
                ("block_kind_byte", ctypes.c_uint8), ("reserved_byte", ctypes.c_uint8),
                ("kind", ctypes.c_int), ("reserved_for_future", ctypes.c_uint32),
                ("payload_size", ctypes.c_size_t), ("reserved", ctypes.c_uint32 * 6)]


def _candidates():
    if os.environ.get("QZKT_LIBRARY"):
        yield os.environ["QZKT_LIBRARY"]
    # An installed package: <prefix>/lib/python3/dist-packages/qzkt or lib/python3.X/site-packages/qzkt.
    here = os.path.dirname(os.path.abspath(__file__))
    for up in (3, 4):
        lib = os.path.normpath(os.path.join(here, *[".."] * up))
        multiarch = getattr(sys.implementation, "_multiarch", "")
        for folder in ([os.path.join(lib, multiarch)] if multiarch else []) + [lib]:
            yield os.path.join(folder, "libqzkt.so.1")
    yield ctypes.util.find_library("qzkt") or "libqzkt.so.1"


def _load():
    tried = []
    for path in _candidates():
        if os.sep in path and not os.path.exists(path):
            continue
        try:
            return path, ctypes.CDLL(path)
        except OSError as error:
            tried.append(f"{path}: {error}")
    raise ImportError("libqzkt not found (set QZKT_LIBRARY to its path): " + "; ".join(tried))


library_path, _lib = _load()
_P = ctypes.c_void_p
_lib.qzkt_version.restype = ctypes.c_char_p
_lib.qzkt_last_problem.restype = ctypes.c_char_p
_lib.qzkt_default_settings.argtypes = [ctypes.POINTER(_Settings)]
_lib.qzkt_read_settings.argtypes = [ctypes.POINTER(_Settings)]
_lib.qzkt_max_frame_size.restype = ctypes.c_size_t
_lib.qzkt_max_frame_size.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.POINTER(_Settings)]
_lib.qzkt_encoder_create.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.POINTER(_Settings), ctypes.POINTER(_P)]
_lib.qzkt_encoder_settings.argtypes = [_P, ctypes.POINTER(_Settings)]
_lib.qzkt_encode.argtypes = [_P, _P, ctypes.c_size_t, _P, ctypes.c_size_t, ctypes.POINTER(ctypes.c_size_t)]
_lib.qzkt_encoder_destroy.argtypes = [_P]
_lib.qzkt_decoder_create.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_int, ctypes.POINTER(_P)]
_lib.qzkt_decode.argtypes = [_P, _P, ctypes.c_size_t, _P, ctypes.c_size_t]
_lib.qzkt_decoder_problem.restype = ctypes.c_char_p
_lib.qzkt_decoder_problem.argtypes = [_P]
_lib.qzkt_decoder_s3tc_path.restype = ctypes.c_char_p
_lib.qzkt_decoder_s3tc_path.argtypes = [_P]
_lib.qzkt_decoder_destroy.argtypes = [_P]
_lib.qzkt_inspect_frame.argtypes = [_P, ctypes.c_size_t, ctypes.c_int, ctypes.c_int, ctypes.POINTER(_FrameInfo)]


def _text(value):
    return value.decode("utf-8", "replace") if value else ""


def _check(what, code, problem=None):
    if code != 0:
        raise QZKTError(what, code, problem() if problem else _text(_lib.qzkt_last_problem()))


def version():
    """The library's version, such as "1.7.0"."""
    return _text(_lib.qzkt_version())


class Settings:
    """The compressor's settings: alpha (DXT5), dxt24 (else DXT1), no_lzf, thread_setting (1..9:
    1 one worker per physical core, 2 one thread)."""

    def __init__(self, alpha=0, dxt24=1, no_lzf=0, thread_setting=2):
        self.alpha, self.dxt24, self.no_lzf, self.thread_setting = alpha, dxt24, no_lzf, thread_setting

    def _struct(self):
        return _Settings(int(self.alpha), int(self.dxt24), int(self.no_lzf), int(self.thread_setting))

    @classmethod
    def _of(cls, struct):
        return cls(struct.alpha, struct.dxt24, struct.no_lzf, struct.thread_setting)

    def __eq__(self, other):
        return isinstance(other, Settings) and vars(self) == vars(other)

    def __repr__(self):
        return "Settings(alpha={alpha}, dxt24={dxt24}, no_lzf={no_lzf}, thread_setting={thread_setting})".format(
            **vars(self))


def default_settings():
    """DXT24 blocks with LZF on one thread."""
    struct = _Settings()
    _lib.qzkt_default_settings(ctypes.byref(struct))
    return Settings._of(struct)


def read_settings():
    """The machine-wide settings (the settings file; the defaults where there is none)."""
    struct = _Settings()
    _check("cannot read the settings", _lib.qzkt_read_settings(ctypes.byref(struct)))
    return Settings._of(struct)


def _argb(picture, width, height, order):
    if order not in ("argb", "rgba"):
        raise ValueError('order is "argb" or "rgba"')
    picture = np.asarray(picture)
    if picture.dtype != np.uint8 or picture.shape != (height, width, 4):
        raise ValueError(f"a picture is a {height} x {width} x 4 array of uint8, not {picture.dtype} {picture.shape}")
    if order == "rgba":
        picture = picture[:, :, [3, 0, 1, 2]]
    return np.ascontiguousarray(picture)


class _Handle:
    """An encoder's or decoder's handle, freed by close(), at the end of a with block, or
    when the object goes."""

    _destroy = None

    def close(self):
        if getattr(self, "_handle", None):
            type(self)._destroy(self._handle)
            self._handle = _P()

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def __del__(self):
        self.close()


class Encoder(_Handle):
    """Encodes width x height pictures into QZKT frames with settings (None: the machine-wide
    ones). One encoder is used by one thread at a time; any number may work side by side."""

    _destroy = _lib.qzkt_encoder_destroy

    def __init__(self, width, height, settings=None):
        self._handle = _P()
        self.width, self.height = width, height
        struct = settings._struct() if settings is not None else None
        _check("cannot open an encoder", _lib.qzkt_encoder_create(
            width, height, ctypes.byref(struct) if struct is not None else None, ctypes.byref(self._handle)))
        chosen = _Settings()
        _check("cannot read the encoder's settings", _lib.qzkt_encoder_settings(self._handle, ctypes.byref(chosen)))
        self.settings = Settings._of(chosen)
        self._buffer = ctypes.create_string_buffer(
            _lib.qzkt_max_frame_size(width, height, ctypes.byref(chosen)))

    def encode(self, picture, order="argb"):
        """The frame (bytes) of an H x W x 4 uint8 picture, A, R, G, B (or R, G, B, A)."""
        if not self._handle:
            raise ValueError("the encoder is closed")
        pixels = _argb(picture, self.width, self.height, order)
        size = ctypes.c_size_t()
        _check("cannot encode", _lib.qzkt_encode(self._handle, pixels.ctypes.data, self.width * 4, self._buffer,
                                                 len(self._buffer), ctypes.byref(size)))
        return self._buffer.raw[:size.value]



class Decoder(_Handle):
    """Decodes QZKT frames of width x height pixels. renderer: "auto" (a GPU for DXT1/DXT5
    frames where there is one, else the CPU decoder), "hardware", "software" or "cpu"."""

    _destroy = _lib.qzkt_decoder_destroy

    def __init__(self, width, height, renderer="auto"):
        self._handle = _P()
        if renderer not in _RENDERERS:
            raise ValueError("renderer is one of " + ", ".join(_RENDERERS))
        self.width, self.height = width, height
        _check("cannot open a decoder",
               _lib.qzkt_decoder_create(width, height, _RENDERERS[renderer], ctypes.byref(self._handle)))

    def decode(self, frame, order="argb", out=None):
        """The H x W x 4 uint8 picture of a frame (bytes-like), A, R, G, B (or R, G, B, A); into
        out when given (an H x W x 4 uint8 C-contiguous array, A, R, G, B)."""
        if not self._handle:
            raise ValueError("the decoder is closed")
        if order not in ("argb", "rgba"):
            raise ValueError('order is "argb" or "rgba"')
        data = bytes(frame)
        picture = out if out is not None else np.empty((self.height, self.width, 4), np.uint8)
        if picture.dtype != np.uint8 or picture.shape != (self.height, self.width, 4) or \
                not picture.flags["C_CONTIGUOUS"]:
            raise ValueError("out is a C-contiguous H x W x 4 uint8 array")
        _check("cannot decode", _lib.qzkt_decode(self._handle, data, len(data), picture.ctypes.data, self.width * 4),
               lambda: _text(_lib.qzkt_decoder_problem(self._handle)))
        return picture[:, :, [1, 2, 3, 0]] if order == "rgba" else picture

    @property
    def s3tc_path(self):
        """Where DXT1/DXT5 frames decode: "cpu" or "opengl"."""
        return _text(_lib.qzkt_decoder_s3tc_path(self._handle))



def frame_info(frame, width, height):
    """A frame's header and checks as a dict: intact, problem, blocks ("DXT1", "DXT5",
    "DXT24", "DXT24A"), alpha, packing ("LZF" or "raw"), stored_size, payload_size,
    header_size, version. Raises QZKTError for a frame without a whole header."""
    data = bytes(frame)
    info = _FrameInfo()
    code = _lib.qzkt_inspect_frame(data, len(data), width, height, ctypes.byref(info))
    if not info.has_header:
        raise QZKTError("not a frame", code if code else 3, _text(info.problem))
    return {"intact": bool(info.intact), "problem": _text(info.problem), "blocks": _KINDS[info.kind],
            "alpha": info.alpha, "packing": "LZF" if info.packing == 1 else "raw",
            "stored_size": info.stored_size, "payload_size": info.payload_size,
            "header_size": info.header_size, "version": info.version}
