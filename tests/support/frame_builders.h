// Frames put together by hand for the suites and the fuzz corpora: any header, any stored
// bytes, with the stream layer's own header writer. Nothing here encodes a picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "stream/kel_header.h"

using Bytes = std::vector<uint8_t>;

// bytes deterministic block bytes: any bytes are valid blocks. With a period, the bytes repeat
// every period bytes (LZF then packs them small).
Bytes BlockBytes(size_t bytes, size_t period = 0);

// size bytes from a Mersenne Twister seeded with seed: the same bytes for the same seed.
Bytes RandomBytes(size_t size, unsigned seed);

// liblzf's packing of bytes (empty when liblzf finds it does not fit, which it always does
// in the room given here).
Bytes Packed(const Bytes& bytes);

// header's fields followed by stored, then plane: the header size (28), version (1), stored
// size (stored.size()) and plane stored size (plane.size()) are filled in unless set already.
Bytes HandFrame(KELHeader header, const Bytes& stored, const Bytes& plane = {});

// A frame as the compressor writes these blocks: DXT24 (block kind 1) or opaque DXT1 (0), the
// blocks packed with LZF or stored as they are.
Bytes StoredFrame(bool dxt24, const Bytes& blocks, bool lzf);

// A raw (unpacked) frame of ceil(w/4) x ceil(h/4) blocks of fill bytes with these block-kind
// and alpha bytes, sized as the reader sizes such blocks.
Bytes RawFrame(int w, int h, uint8_t blockKind, uint8_t alpha, uint8_t fill = 0x6C);

// frame with the 32-bit little-endian field at offset set to value.
Bytes WithField(Bytes frame, uint32_t offset, uint32_t value);

// values as consecutive 32-bit little-endian words.
Bytes LE32s(const std::vector<uint32_t>& values);

// Bytes of a w x h picture's buffer (rows rowBytes apart) outside the picture that no longer
// hold guard.
size_t TouchedOutside(const Bytes& buffer, size_t rowBytes, int w, int h, uint8_t guard);
