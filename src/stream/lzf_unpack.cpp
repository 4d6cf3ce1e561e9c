// LZF unpacking with copies of whole words; each copy writes exactly its run's bytes.
#include "lzf_unpack.h"

#include <algorithm>
#include <cstring>

namespace {

template <size_t N> void CopyWord(uint8_t* to, const uint8_t* from) {
    uint8_t word[N];
    std::memcpy(word, from, N);
    std::memcpy(to, word, N);
}

// Copies n bytes (N to 2N) as two N-byte words that meet or overlap in the middle, so that no
// byte outside the run is read or written.
template <size_t N> void CopyHeadAndTail(uint8_t* to, const uint8_t* from, size_t n) {
    uint8_t head[N], tail[N];
    std::memcpy(head, from, N);
    std::memcpy(tail, from + n - N, N);
    std::memcpy(to, head, N);
    std::memcpy(to + n - N, tail, N);
}

// Copies n bytes (1 to 32) between ranges that do not overlap, exactly.
void CopyShort(uint8_t* to, const uint8_t* from, size_t n) {
    if (n >= 16) {
        CopyHeadAndTail<16>(to, from, n);
    } else if (n >= 8) {
        CopyHeadAndTail<8>(to, from, n);
    } else if (n >= 4) {
        CopyHeadAndTail<4>(to, from, n);
    } else {
        to[0] = from[0];
        to[n / 2] = from[n / 2];
        to[n - 1] = from[n - 1];
    }
}

// A back-reference's copy of n bytes (3 to 264) from distance bytes back. Where the source
// overlaps the run, bytes written earlier in the run are read again, in order.
void CopyBack(uint8_t* to, size_t distance, size_t n) {
    const uint8_t* from = to - distance;
    if (distance >= n) {
        while (n > 32) {
            CopyWord<16>(to, from);
            to += 16;
            from += 16;
            n -= 16;
        }
        CopyShort(to, from, n);
        return;
    }
    if (distance >= 8) { // each word's source was written before it is read
        for (; n >= 8; n -= 8, to += 8, from += 8)
            CopyWord<8>(to, from);
    }
    for (; n > 0; --n)
        *to++ = *from++;
}

// Unpacks runs exactly until the input ends (true) or a run fails (false), from ip to op.
bool UnpackRuns(const uint8_t*& ip, const uint8_t* inEnd, uint8_t*& op, const uint8_t* out,
                const uint8_t* outEnd) {
    while (ip < inEnd) {
        const size_t control = *ip++;
        if (control < 32) { // literal run of control + 1 bytes
            const size_t run = control + 1;
            if (run > static_cast<size_t>(outEnd - op) || run > static_cast<size_t>(inEnd - ip)) return false;
            CopyShort(op, ip, run);
            op += run;
            ip += run;
        } else { // back-reference: [length byte] distance byte
            size_t length = control >> 5;
            if (ip >= inEnd) return false;
            if (length == 7) {
                length += *ip++;
                if (ip >= inEnd) return false;
            }
            const size_t distance = ((control & 31) << 8) + *ip++ + 1;
            const size_t run = length + 2;
            if (run > static_cast<size_t>(outEnd - op) || distance > static_cast<size_t>(op - out))
                return false;
            CopyBack(op, distance, run);
            op += run;
        }
    }
    return true;
}

// Far enough from both ends for the fast loop: a run reads at most 34 stream bytes (32 with
// the overreach of a literal's copy) and writes at most 264 + 15 output bytes.
const size_t kStreamSlack = 40, kOutputSlack = 300;
// What the fast loop may write past the end of its last run.
const size_t kOverreach = 32;

} // namespace

size_t LZFUnpack(const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize) {
    const uint8_t* ip = in;
    uint8_t* op = out;
    if (!UnpackRuns(ip, in + inSize, op, out, out + outSize)) return 0;
    return static_cast<size_t>(op - out);
}

size_t LZFUnpackIntoZeroed(const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize) {
    const uint8_t* ip = in;
    const uint8_t* const inEnd = in + inSize;
    uint8_t* op = out;
    uint8_t* const outEnd = out + outSize;
    bool unpacked = true;
    // Whole words per run, written past the run's end where that is quicker: every such byte
    // lies in the kOverreach bytes after the latest run's end, and is either rewritten by the
    // runs that follow or cleared at the end. Few branches, none on a run's exact length.
    while (inSize >= kStreamSlack && outSize >= kOutputSlack && ip <= inEnd - kStreamSlack &&
           op <= outEnd - kOutputSlack) {
        const size_t control = *ip++;
        if (control < 32) {
            CopyWord<16>(op, ip);
            CopyWord<16>(op + 16, ip + 16);
            op += control + 1;
            ip += control + 1;
            continue;
        }
        size_t length = control >> 5;
        if (length == 7) length += *ip++;
        const size_t distance = ((control & 31) << 8) + *ip++ + 1;
        if (distance > static_cast<size_t>(op - out)) {
            unpacked = false;
            break;
        }
        const size_t run = length + 2;
        const uint8_t* from = op - distance;
        // A short run is copied as one 8-byte word: a 16-byte load of what the last two runs
        // just stored (a DXT5 alpha block repeated 16 bytes back) waits for both stores to
        // retire, as the processor cannot forward two stores into one load.
        if (run <= 8 && distance >= 8) {
            CopyWord<8>(op, from);
        } else if (distance >= 16) { // each word's source was written before it is read
            for (size_t done = 0; done < run; done += 16)
                CopyWord<16>(op + done, from + done);
        } else if (distance >= 8) {
            for (size_t done = 0; done < run; done += 8)
                CopyWord<8>(op + done, from + done);
        } else {
            for (size_t done = 0; done < run; ++done)
                op[done] = from[done];
        }
        op += run;
    }
    if (unpacked) unpacked = UnpackRuns(ip, inEnd, op, out, outEnd);
    // Clear what the fast loop wrote past the last run (nothing else was written there).
    std::memset(op, 0, std::min(kOverreach, static_cast<size_t>(outEnd - op)));
    return unpacked ? static_cast<size_t>(op - out) : 0;
}
