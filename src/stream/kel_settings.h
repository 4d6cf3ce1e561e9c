// The compressor settings as they travel between the compressor and its hosts: the 12-byte
// settings handle, and the four values it carries.
//
//   offset  width  field
//   0       4      tag 'KELC' (the characters K, E, L, C in this order)
//   4       u8     alpha (1 = DXT5 blocks with alpha)
//   5       u8     DXT24 (1 = DXT24 blocks when alpha is off)
//   6       u8     no-LZF (1 = payload stored unpacked)
//   7       u8     not written
//   8       u32    thread setting 1..9, little-endian
#pragma once

#include <cstddef>
#include <cstdint>

// The codec's four-character code, and its compressor's and decompressor's subtype.
const uint32_t kKELCodecType = 0x515A4B54; // 'QZKT'

const size_t kKELSettingsHandleSize = 12;
const char kKELSettingsTag[4] = {'K', 'E', 'L', 'C'};

struct KELSettingsValues {
    uint8_t alpha;
    uint8_t dxt24;
    uint8_t noLZF;
    int32_t threadSetting;
};

// Writes tag and values to the 12 bytes at dst; byte 7 is left as it is.
void WriteKELSettingsRecord(uint8_t* dst, const KELSettingsValues& values);
// Reads the values when size is 12 and the tag is 'KELC'; false (values untouched) otherwise.
bool ReadKELSettingsRecord(const uint8_t* src, size_t size, KELSettingsValues* values);

// DXT24 worker threads for a thread setting: 1 = one per physical core (physicalCores),
// 2 = 1 thread (not 2), 3..9 = 2, 4, 6, 8, 12, 16, 24; any other value 1.
int KELThreadCountForSetting(int32_t threadSetting, int physicalCores);
