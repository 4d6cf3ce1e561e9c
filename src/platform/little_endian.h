// Little-endian reads and writes of unaligned fields in byte buffers. Every stored multi-byte
// field of the codec (frame header, settings handle, settings file) goes through these, never
// through a struct cast over the bytes.
#pragma once

#include <cstdint>

inline uint32_t ReadLE32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

inline void WriteLE32(uint8_t* p, uint32_t value) {
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
    p[2] = static_cast<uint8_t>(value >> 16);
    p[3] = static_cast<uint8_t>(value >> 24);
}

inline uint16_t ReadLE16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | p[1] << 8);
}

inline void WriteLE16(uint8_t* p, uint16_t value) {
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
}
