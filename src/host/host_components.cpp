// Registration, the compressor's load problem and its thread policy, asked of the components.
#include "host_components.h"

#include "compressor/compressor_bundle.h"
#include "compressor/compressor_component.h"
#include "compressor/frame_encoder.h"
#include "decompressor/decompressor_component.h"

void HostRegisterComponents() {
    // A function-local static: the first caller registers, concurrent callers wait for it.
    static const bool registered = [] {
        ZQN_CompressorRegister();
        ZQN_CodecRegister();
        return true;
    }();
    (void)registered;
}

const char* HostCompressorLoadProblem() {
    return CompressorBundleLoadProblem();
}

int HostDXT24WorkerCount(int32_t threadSetting) {
    return DXT24PoolWorkerCount(threadSetting);
}
