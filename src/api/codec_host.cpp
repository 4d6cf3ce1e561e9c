// Status translation, settings conversion and the problem line of the last compressor open.
#include "codec_host.h"

#include "host/host_components.h"
#include "host/host_decompression.h"
#include "stream/kel_header.h"

namespace {

static_assert(QZKT_MAX_SIDE == kKELMaxSide, "the public and the internal largest side are one");

thread_local const char* t_lastProblem = "";

} // namespace

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
    t_lastProblem = status == noErr ? "" : HostCompressorLoadProblem();
    return ResultOfStatus(status);
}

const char* qzkt_last_problem(void) {
    return t_lastProblem;
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
