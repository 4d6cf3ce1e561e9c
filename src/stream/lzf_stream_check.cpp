// LZF stream walk: control bytes, literal runs and back-reference distances, no output.
#include "lzf_stream_check.h"

bool LZFUnpackedSize(const uint8_t* data, size_t size, uint64_t limit, uint64_t* unpacked) {
    uint64_t produced = 0;
    size_t at = 0;
    while (at < size) {
        const unsigned control = data[at++];
        if (control < 32) { // literal run
            const size_t run = control + 1;
            if (run > size - at) return false;
            at += run;
            produced += run;
        } else { // back-reference: [length byte] distance byte
            uint64_t length = control >> 5;
            if (at >= size) return false;
            if (length == 7) {
                length += data[at++];
                if (at >= size) return false;
            }
            const uint64_t distance = (static_cast<uint64_t>(control & 31) << 8) + data[at++] + 1;
            if (distance > produced) return false; // before the output's first byte
            produced += length + 2;
        }
        if (produced > limit) return false;
    }
    *unpacked = produced;
    return true;
}
