// The LZF packer. The steps and checks follow lzf_compress's order, so that the same bytes and
// the same "does not fit" answers come out; each is noted where it is not plain.
#include "lzf_pack.h"

#include <cstring>
#include <vector>

namespace {

constexpr int kHashLog = 16;
constexpr uint32_t kHashSize = 1u << kHashLog;
constexpr uint32_t kMaxLiterals = 32;     // a literal run
constexpr uint32_t kMaxOffset = 1u << 13; // how far back a match may start
constexpr uint32_t kMaxMatch = 264;       // 2 + 7 + 255

// The table slot of the three bytes in the low 24 bits of h (liblzf's IDX in its VERY_FAST
// mode; only bits 0-23 of h reach the result).
inline uint32_t Slot(uint32_t h) {
    return ((h >> (24 - kHashLog)) - h * 5) & (kHashSize - 1);
}

inline uint32_t Load32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

inline uint64_t Load64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

// The length lzf_compress gives a match at ip against ref, whose first three bytes are equal:
// its loop compares bytes 3 to 18 without a limit when more than 16 are left (maxLength is
// what is left less 2, at most 264), then goes on to the limit; so the length is the first
// different byte's index, or the limit, but never below 19 once bytes 3 to 18 all match.
inline uint32_t MatchLength(const uint8_t* ref, const uint8_t* ip, uint32_t maxLength) {
    const uint32_t floor = maxLength > 16 ? 19 : 3;
    const uint32_t limit = maxLength > floor ? maxLength : floor; // never past the input's end
    uint32_t length = 3;
    while (length + 8 <= limit) {
        const uint64_t difference = Load64(ref + length) ^ Load64(ip + length);
        if (difference != 0) {
            length += static_cast<uint32_t>(__builtin_ctzll(difference)) / 8; // little-endian
            goto found;
        }
        length += 8;
    }
    while (length < limit && ref[length] == ip[length])
        ++length;
found:
    if (maxLength > 16 && length < 19) return length; // a difference among bytes 3 to 18
    const uint32_t capped = length < maxLength ? length : maxLength;
    return capped > floor ? capped : floor;
}

} // namespace

size_t LZFPack(const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize) {
    if (inSize == 0 || outSize == 0) return 0;
    // Each slot holds a position as an offset from in; 0 (position 0, or never written) is never
    // a match, as lzf_compress requires ref > in.
    thread_local std::vector<uint32_t> table;
    table.assign(kHashSize, 0);
    // A local pointer: the output's byte stores could otherwise alias the vector's own.
    uint32_t* const slots = table.data();

    const uint8_t* ip = in;
    const uint8_t* const inEnd = in + inSize;
    uint8_t* op = out;
    uint8_t* const outEnd = out + outSize;
    // The open literal run: its control byte at op - lit - 1, as in lzf_compress.
    uint32_t lit = 0;
    ++op;

    uint32_t h = static_cast<uint32_t>(ip[0]) << 8 | (inSize > 1 ? ip[1] : 0);
    while (inEnd - ip > 2) {
        h = h << 8 | ip[2];
        uint32_t& slot = slots[Slot(h)];
        const uint8_t* ref = in + slot;
        slot = static_cast<uint32_t>(ip - in);
        const size_t off = static_cast<size_t>(ip - ref) - 1; // wraps for ref >= ip: no match
        // The three bytes at ref and ip: one load each where a fourth byte follows ip.
        const bool same = off < kMaxOffset && ref > in &&
                          (inEnd - ip >= 4 ? ((Load32(ref) ^ Load32(ip)) & 0xFFFFFF) == 0
                                           : ref[0] == ip[0] && ref[1] == ip[1] && ref[2] == ip[2]);
        if (same) {
            const uint32_t left = static_cast<uint32_t>(inEnd - ip) - 2;
            const uint32_t maxLength = left > kMaxMatch ? kMaxMatch : left;
            if (op + 3 + 1 >= outEnd && op - (lit == 0 ? 1 : 0) + 3 + 1 >= outEnd) return 0;
            op[-static_cast<ptrdiff_t>(lit) - 1] = static_cast<uint8_t>(lit - 1); // close the run
            op -= lit == 0 ? 1 : 0;                                               // or drop an empty one

            const uint32_t len = MatchLength(ref, ip, maxLength) - 2; // lzf_compress's len: bytes - 2
            ++ip;
            if (len < 7) {
                *op++ = static_cast<uint8_t>((off >> 8) + (len << 5));
            } else {
                *op++ = static_cast<uint8_t>((off >> 8) + (7 << 5));
                *op++ = static_cast<uint8_t>(len - 7);
            }
            *op++ = static_cast<uint8_t>(off);
            lit = 0;
            ++op; // a new run

            ip += len + 1;
            if (inEnd - ip <= 2) break;
            // The last two positions of the match go into the table, and h carries on from them.
            ip -= 2;
            h = static_cast<uint32_t>(ip[0]) << 8 | ip[1];
            h = h << 8 | ip[2];
            slots[Slot(h)] = static_cast<uint32_t>(ip - in);
            ++ip;
            h = h << 8 | ip[2];
            slots[Slot(h)] = static_cast<uint32_t>(ip - in);
            ++ip;
        } else {
            if (op >= outEnd) return 0;
            ++lit;
            *op++ = *ip++;
            if (lit == kMaxLiterals) {
                op[-static_cast<ptrdiff_t>(lit) - 1] = static_cast<uint8_t>(lit - 1);
                lit = 0;
                ++op;
            }
        }
    }

    if (op + 3 > outEnd) return 0; // at most 3 bytes follow
    while (ip < inEnd) {
        ++lit;
        *op++ = *ip++;
        if (lit == kMaxLiterals) {
            op[-static_cast<ptrdiff_t>(lit) - 1] = static_cast<uint8_t>(lit - 1);
            lit = 0;
            ++op;
        }
    }
    op[-static_cast<ptrdiff_t>(lit) - 1] = static_cast<uint8_t>(lit - 1);
    op -= lit == 0 ? 1 : 0;
    return static_cast<size_t>(op - out);
}
