// How many bytes an LZF stream (liblzf's format) unpacks to, found without unpacking it: the
// frame check uses it to decline a packed payload before any buffer is sized from the header.
//
// The stream is a sequence of runs, each opened by a control byte c:
//   c < 32          literal run: the next c + 1 bytes are copied to the output
//   c >> 5 in 1..6  back-reference of (c >> 5) + 2 bytes, then one byte d
//   c >> 5 == 7     back-reference of 7 + next byte + 2 bytes, then one byte d
// A back-reference copies from ((c & 31) << 8) + d + 1 bytes back in the output, which must
// not reach before the output's first byte. So the longest yield is 264 bytes for 3 stored
// bytes (kLZFMaxExpansion = 88 per stored byte).
#pragma once

#include <cstddef>
#include <cstdint>

const uint64_t kLZFMaxExpansion = 88;

// Walks the size-byte stream at data. True, with *unpacked set to its exact output length,
// when every run is complete and every back-reference stays inside the output, and the output
// stays within limit bytes; false otherwise (lzf_decompress with a limit-byte buffer fails on
// exactly these streams). Reads each stream byte at most once and writes nothing else.
bool LZFUnpackedSize(const uint8_t* data, size_t size, uint64_t limit, uint64_t* unpacked);
