// The frame encoder: one ARGB source frame in, one encoded key frame out (header, DXT1, DXT5 or
// DXT24 blocks, LZF packing when it shrinks the payload), emitted to the host's session.
#pragma once

#include <cstdint>

#include "compressor_component.h"

// Encodes the source frame and emits it; useDXT24 picks DXT24 blocks over stb_dxt's DXT1/DXT5.
// unused is kept for the original parameter list. Returns the first failing host status,
// memFullErr when the payload buffer cannot be allocated, or paramErr when the source frame is
// larger than the prepared size.
ComponentResult CompressDXTOnly(KELCompressorGlobalsPtr globals, ICMCompressorSourceFrameRef sourceFrame,
                                void* unused, bool useDXT24);

// The DXT24 thread count for a thread setting: 1 = one per physical core, 2 = 1 (deliberately
// not 2), 3..9 = 2, 4, 6, 8, 12, 16, 24; anything else 1.
int DXT24ThreadCount(int32_t threadSetting);

// The workers the DXT24 pool runs for a thread setting: DXT24ThreadCount within the pool's
// 1..kMaxDXT24Threads. What the library reports a setting to mean.
int DXT24PoolWorkerCount(int32_t threadSetting);

// The machine's physical core count, asked of the system once per process (1 if it says 0).
int CachedPhysicalCoreCount();
