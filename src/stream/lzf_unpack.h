// LZF unpacking (liblzf's stream format, see lzf_stream_check.h) with wide copies: the same
// output as liblzf's lzf_decompress for every stream and buffer size, in a fraction of its
// time on the literal-heavy streams of DXT blocks. lzf_decompress stays the reference (a test
// compares the two on valid, damaged and random streams).
//
// As lzf_decompress: runs are unpacked in order, each written whole or not at all, and every
// byte written belongs to a run. The first run that would read past the input, reach before
// the output's start or end past out + outSize stops the unpacking with the result 0; the
// runs before it stay written and nothing else is touched. Otherwise the result is the number
// of bytes written. (liblzf also sets errno; this does not. An empty stream unpacks to nothing,
// where lzf_decompress would read one control byte past it.)
#pragma once

#include <cstddef>
#include <cstdint>

size_t LZFUnpack(const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize);

// The same, into a buffer whose outSize bytes are all zero (calloc'd): the output and the
// result are those of lzf_decompress into that buffer. Quicker again than LZFUnpack, as it may
// write past a run's end while more runs follow (and clears what is left of that at the end).
// When the result is outSize, every byte of the buffer was written by a run, whatever it held
// before: a caller that uses the buffer only then need not clear it first.
size_t LZFUnpackIntoZeroed(const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize);
