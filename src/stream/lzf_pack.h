// LZF packing that writes exactly the bytes liblzf's lzf_compress writes (Debian's liblzf 3.6:
// a 65536-slot table of the last position of each 3-byte hash, matches of 3 to 264 bytes at
// most 8192 back, runs of at most 32 literals, the same output-space checks, up to 3 bytes of
// spare room wanted at the end), with matches extended eight bytes at a time. lzf_compress stays
// the reference: a fuzz target (fuzz_lzf_pack) and tests/stream/lzf_pack_test.cpp compare the
// two on arbitrary inputs and output sizes.
//
// The encoder's packer. Far from the ends of its input and output, where none of lzf_compress's
// output checks can fail, it scans a literal run's positions with one branch each (the match
// test's parts are combined by masks) and copies the run at once; near the ends it takes
// lzf_compress's steps one by one. Where nearly every byte is a literal (the payloads of
// bench/compare_ffmpeg_hap.sh's pan, which LZF shrinks by 4%) it is about 1.4 times as fast as
// lzf_compress; where short matches are many (dxt24_bench's BM_LZFPack and BM_LZFPackGrain
// payloads) the two are on par.
//
// lzf_compress keeps its table on the stack without clearing it, so a slot it has not written
// in a call holds whatever an earlier call left there. Such a slot is used only when its
// position lies in the 8 KiB window before the current byte and the bytes there match, and
// the tests have found no input whose output changes with what the stack held (the last test
// of lzf_pack_test.cpp packs inputs full of skipped positions right after others). This packer
// clears its table for every call: what lzf_compress does on a fresh stack, and its output
// depends on its input alone.
#pragma once

#include <cstddef>
#include <cstdint>

// Packs inSize bytes at in into at most outSize bytes at out. Returns the packed size, or 0
// when the packed form would not fit (out then holds partial output) or a size is 0, as
// lzf_compress does. Sizes are limited as lzf_compress's unsigned int arguments are.
size_t LZFPack(const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize);
