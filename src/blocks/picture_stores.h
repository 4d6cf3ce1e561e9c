// How the SIMD block decoders write their pictures. A large picture is written with streaming
// stores: straight to memory, without first reading each cache line in and without pushing the
// rest of the caches out. A 1080p ARGB picture (8 MB) is larger than any core's own cache, so
// whoever reads it next (a write to a file or pipe, an upload, a converter) reads it from
// memory either way; skipping the reads made 1080p decodes 1% to 9% faster on a 2-core
// machine (DXT5, DXT24 and DXT1, to /dev/null and to a file, two frames decoded at once).
// Smaller pictures, which may still be in the cache when they are read, are stored as usual.
#pragma once

#include <cstddef>
#include <cstdint>

// Pictures of at least this many bytes are streamed: as large as a core's own (L2) cache on
// most current processors, so that a picture that would stay in it is not streamed.
constexpr size_t kStreamedPictureBytes = size_t{2} << 20;

// Whether a picture of rows rows of lineBytes bytes, rowBytes apart, at dst is written with
// streaming stores of vectorBytes-byte vectors: it is large enough, its rows do not overlap
// (where they do, the plain order of the writes decides each byte), and every vector a decoder
// stores at a block's column is aligned (streaming stores take whole aligned vectors).
inline bool StreamsPicture(const void* dst, long rowBytes, long rows, size_t lineBytes, size_t vectorBytes) {
    const size_t span = static_cast<size_t>(rowBytes < 0 ? -rowBytes : rowBytes);
    return vectorBytes > 0 && span >= lineBytes &&
           span * static_cast<size_t>(rows) >= kStreamedPictureBytes &&
           reinterpret_cast<uintptr_t>(dst) % vectorBytes == 0 && span % vectorBytes == 0;
}
