// The library's version and the texts of its results.
#include "qzkt/qzkt.h"

const char* qzkt_version(void) {
    // QZKT_VERSION_STRING comes from the project's version in CMakeLists.txt.
    return QZKT_VERSION_STRING;
}

const char* qzkt_result_text(qzkt_result result) {
    switch (result) {
    case QZKT_OK:
        return "success";
    case QZKT_BAD_ARGUMENTS:
        return "bad arguments";
    case QZKT_BUFFER_TOO_SMALL:
        return "frame buffer too small";
    case QZKT_DAMAGED_FRAME:
        return "damaged frame";
    case QZKT_NO_RENDERER:
        return "no usable OpenGL renderer for DXT1/DXT5 frames";
    case QZKT_OUT_OF_MEMORY:
        return "out of memory";
    case QZKT_CODEC_ERROR:
        return "codec error";
    case QZKT_SETTINGS_NOT_SAVED:
        return "settings not saved";
    case QZKT_SETTINGS_NOT_READ:
        return "settings file not read";
    }
    return "unknown result";
}
