// Writing and reading the 12-byte settings record.
#include "kel_settings.h"

#include <cstring>

#include "platform/little_endian.h"

void WriteKELSettingsRecord(uint8_t* dst, const KELSettingsValues& values) {
    std::memcpy(dst, kKELSettingsTag, sizeof kKELSettingsTag);
    dst[4] = values.alpha;
    dst[5] = values.dxt24;
    dst[6] = values.noLZF;
    WriteLE32(dst + 8, static_cast<uint32_t>(values.threadSetting));
}

bool ReadKELSettingsRecord(const uint8_t* src, size_t size, KELSettingsValues* values) {
    if (src == nullptr || size != kKELSettingsHandleSize ||
        std::memcmp(src, kKELSettingsTag, sizeof kKELSettingsTag) != 0)
        return false;
    values->alpha = src[4];
    values->dxt24 = src[5];
    values->noLZF = src[6];
    values->threadSetting = static_cast<int32_t>(ReadLE32(src + 8));
    return true;
}

int KELThreadCountForSetting(int32_t threadSetting, int physicalCores) {
    static const int kThreads[10] = {1, 0, 1, 2, 4, 6, 8, 12, 16, 24};
    if (threadSetting == 1) return physicalCores;
    return threadSetting >= 0 && threadSetting <= 9 ? kThreads[threadSetting] : 1;
}
