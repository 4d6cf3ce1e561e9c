// Component registration, status translation and argument rules.
#include "codec_host.h"

#include "compressor/compressor_bundle.h"
#include "compressor/compressor_component.h"
#include "decompressor/decompressor_component.h"
#include "host/host_decompression.h"

namespace {

const int kLargestSide = QZKT_MAX_SIDE;

thread_local const char* t_lastProblem = "";

} // namespace

void RegisterCodecComponents() {
    // A function-local static: the first caller registers, concurrent callers wait for it.
    static const bool registered = [] {
        ZQN_CompressorRegister();
        ZQN_CodecRegister();
        return true;
    }();
    (void)registered;
}

qzkt_result ResultOfStatus(OSStatus status) {
    switch (status) {
    case noErr:
        return QZKT_OK;
    case codecBadDataErr:
        return QZKT_DAMAGED_FRAME;
    case codecNoRendererErr:
        return QZKT_NO_RENDERER;
    case memFullErr:
        return QZKT_OUT_OF_MEMORY;
    case paramErr:
        return QZKT_BAD_ARGUMENTS;
    default:
        return QZKT_CODEC_ERROR;
    }
}

qzkt_result ResultOfCompressorStatus(OSStatus status) {
    // The loader's text lives in thread-local storage too, until its next run on this thread.
    t_lastProblem = status == noErr ? "" : CompressorBundleLoadProblem();
    return ResultOfStatus(status);
}

const char* qzkt_last_problem(void) {
    return t_lastProblem;
}

bool IsFrameSide(int side) {
    return side >= 1 && side <= kLargestSide;
}

bool AreValidSettings(const qzkt_settings& s) {
    auto isFlag = [](int value) { return value == 0 || value == 1; };
    return isFlag(s.alpha) && isFlag(s.dxt24) && isFlag(s.no_lzf) && s.thread_setting >= 1 &&
           s.thread_setting <= 9;
}

KELSettingsValues ToCodecSettings(const qzkt_settings& s) {
    return {static_cast<uint8_t>(s.alpha), static_cast<uint8_t>(s.dxt24), static_cast<uint8_t>(s.no_lzf),
            s.thread_setting};
}

qzkt_settings FromCodecSettings(const KELSettingsValues& v) {
    return {v.alpha, v.dxt24, v.noLZF, v.threadSetting};
}
