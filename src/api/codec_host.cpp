// Component registration, status translation, argument rules, and the removal of the codec's
// semaphore names when the library is loaded.
#include "codec_host.h"

#include "compressor/compressor_component.h"
#include "decompressor/decompressor_component.h"
#include "platform/host_decompression.h"
#include "platform/semaphore_names.h"

namespace {

// The DXT24 encoder's worker slots open their 64 named semaphores in a static constructor of
// priority 200. This one runs right after them (also when a program links libqzkt.a, since
// every entry that opens a component pulls this file in) and removes the names: the
// semaphores keep working without them, and /dev/shm keeps nothing of this process, even if
// it is killed.
struct SemaphoreNameRemover {
    SemaphoreNameRemover() { UnlinkCodecSemaphoreNames(); }
};
__attribute__((init_priority(300))) SemaphoreNameRemover g_semaphoreNameRemover;

const int kLargestSide = QZKT_MAX_SIDE;

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
