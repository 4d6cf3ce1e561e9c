// The decompressor's resource data.
#include "decompressor_resources.h"

#include "codec_info.h"

const ComponentResourceSet* DecompressorResources() {
    static const CodecInfo codecInfo = QZKTCodecInfo();
    static const ComponentResource resources[] = {
        {FourCC("cdci"), kDecompressorCodecInfoID, &codecInfo, sizeof codecInfo},
    };
    static const ComponentResourceSet set = {resources, sizeof resources / sizeof resources[0]};
    return &set;
}
