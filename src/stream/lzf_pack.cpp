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

// The table slot of the three bytes at p, read as one word where a fourth byte follows.
inline uint32_t SlotAt(const uint8_t* p) {
    return Slot(__builtin_bswap32(Load32(p)) >> 8);
}

// The packer's state between its steps: the input position, the output position (just past
// the open run's literals) and the open run's length, whose control byte is at op - lit - 1.
struct PackState {
    const uint8_t* in;
    const uint8_t* inEnd;
    uint8_t* outEnd;
    uint32_t* slots;
    const uint8_t* ip;
    uint8_t* op;
    uint32_t lit;
};

// Closes the open run, writes the match at s.ip against ref (off: lzf_compress's distance less
// one) and opens a new run, then enters the match's last two positions into the table. Returns
// false when the match does not fit in the output (lzf_compress's two-step check), true
// otherwise; s.ip is then past the match, or within two bytes of the end.
__attribute__((always_inline)) inline bool PutMatch(PackState& s, const uint8_t* ref, size_t off) {
    const uint32_t left = static_cast<uint32_t>(s.inEnd - s.ip) - 2;
    const uint32_t maxLength = left > kMaxMatch ? kMaxMatch : left;
    uint8_t* op = s.op;
    const uint32_t lit = s.lit;
    if (op + 3 + 1 >= s.outEnd && op - (lit == 0 ? 1 : 0) + 3 + 1 >= s.outEnd) return false;
    op[-static_cast<ptrdiff_t>(lit) - 1] = static_cast<uint8_t>(lit - 1); // close the run
    op -= lit == 0 ? 1 : 0;                                               // or drop an empty one

    const uint32_t len = MatchLength(ref, s.ip, maxLength) - 2; // lzf_compress's len: bytes - 2
    if (len < 7) {
        *op++ = static_cast<uint8_t>((off >> 8) + (len << 5));
    } else {
        *op++ = static_cast<uint8_t>((off >> 8) + (7 << 5));
        *op++ = static_cast<uint8_t>(len - 7);
    }
    *op++ = static_cast<uint8_t>(off);
    s.lit = 0;
    s.op = op + 1; // a new run

    const uint8_t* ip = s.ip + len + 2;
    s.ip = ip;
    if (s.inEnd - ip <= 2) return true;
    // The last two positions of the match go into the table.
    // (Their word loads end at ip[2], within the input.)
    const uint8_t* last = ip - 2;
    s.slots[SlotAt(last)] = static_cast<uint32_t>(last - s.in);
    s.slots[SlotAt(last + 1)] = static_cast<uint32_t>(last + 1 - s.in);
    return true;
}

// Closes a run of 32 literals and opens a new one, as lzf_compress does at once.
inline void CloseFullRun(PackState& s) {
    s.op[-static_cast<ptrdiff_t>(kMaxLiterals) - 1] = static_cast<uint8_t>(kMaxLiterals - 1);
    s.lit = 0;
    ++s.op;
}

// Adds the literal at s.ip to the open run, closing the run at 32.
inline void PutLiteral(PackState& s) {
    *s.op++ = *s.ip++;
    if (++s.lit == kMaxLiterals) CloseFullRun(s);
}

// How far from both ends the fast steps stay: a whole run's scan, its word loads and its
// literal copy (two 16-byte stores), and the match that may end it.
constexpr ptrdiff_t kFastMargin = 48;

} // namespace

size_t LZFPack(const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize) {
    if (inSize == 0 || outSize == 0) return 0;
    // Each slot holds a position as an offset from in; 0 (position 0, or never written) is never
    // a match, as lzf_compress requires ref > in.
    thread_local std::vector<uint32_t> table;
    table.assign(kHashSize, 0);

    PackState s{in, in + inSize, out + outSize, table.data(), in, out + 1, 0};

    // Fast steps, far from both ends, where none of lzf_compress's output checks can fail: scan
    // up to the end of the open run for a match, without a branch per condition, then copy the
    // scanned literals at once.
    while (s.inEnd - s.ip >= kFastMargin && s.outEnd - s.op >= kFastMargin) {
        const uint8_t* const scanStart = s.ip;
        const uint8_t* const scanEnd = scanStart + (kMaxLiterals - s.lit);
        const uint8_t* ip = scanStart;
        uint32_t ref = 0;
        size_t off = 0;
#pragma GCC unroll 4
        for (; ip < scanEnd; ++ip) {
            const uint32_t pos = static_cast<uint32_t>(ip - in);
            uint32_t& slot = s.slots[SlotAt(ip)];
            ref = slot;
            slot = pos;
            off = pos - ref - 1; // wraps for ref == pos: no match
            // Far positions are not read (they may be out of the cache): position 0 instead,
            // chosen by a mask, as a branch here would be mispredicted often.
            const uint32_t near = 0u - static_cast<uint32_t>(off < kMaxOffset);
            const uint32_t word = Load32(in + (ref & near));
            if (((((word ^ Load32(ip)) & 0xFFFFFF) == 0) & (near != 0) & (ref != 0)) != 0) break;
        }
        const size_t count = static_cast<size_t>(ip - scanStart);
        std::memcpy(s.op, scanStart, 16);
        std::memcpy(s.op + 16, scanStart + 16, 16);
        s.op += count;
        s.ip = ip;
        s.lit += static_cast<uint32_t>(count);
        if (ip == scanEnd) { // no match: the run is full
            CloseFullRun(s);
            continue;
        }
        PutMatch(s, in + ref, off); // fits: far from the output's end
    }

    // The plain steps near the ends, checking the output room as lzf_compress does.
    while (s.inEnd - s.ip > 2) {
        const uint8_t* ip = s.ip;
        const uint32_t h = static_cast<uint32_t>(ip[0]) << 16 | static_cast<uint32_t>(ip[1]) << 8 | ip[2];
        uint32_t& slot = s.slots[Slot(h)];
        const uint8_t* ref = in + slot;
        slot = static_cast<uint32_t>(ip - in);
        const size_t off = static_cast<size_t>(ip - ref) - 1; // wraps for ref >= ip: no match
        if (off < kMaxOffset && ref > in && ref[0] == ip[0] && ref[1] == ip[1] && ref[2] == ip[2]) {
            if (!PutMatch(s, ref, off)) return 0;
        } else {
            if (s.op >= s.outEnd) return 0;
            PutLiteral(s);
        }
    }

    if (s.op + 3 > s.outEnd) return 0; // at most 3 bytes follow
    while (s.ip < s.inEnd)
        PutLiteral(s);
    s.op[-static_cast<ptrdiff_t>(s.lit) - 1] = static_cast<uint8_t>(s.lit - 1);
    s.op -= s.lit == 0 ? 1 : 0;
    return static_cast<size_t>(s.op - out);
}
