// One fuzz input as an LZF stream for the decoder's unpackers, checked byte for byte against
// liblzf's lzf_decompress. The input's first two bytes give the output buffer's size:
//
//   offset  width  field
//   0       u16    output buffer size in bytes (little-endian)
//   2       ...    the stream
//
// Inputs shorter than that, or with an empty stream (which lzf_decompress reads past), are not
// run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// What broke the promise that LZFUnpack and LZFUnpackIntoZeroed write what lzf_decompress
// writes (into a patterned and into a zeroed buffer, and nothing around it); empty when kept.
std::string RunLZFInput(const uint8_t* data, size_t size);

// One fuzz input as bytes for the encoder's packer (stream/lzf_pack.h), checked against
// liblzf's lzf_compress: the same result, the same bytes when it fits, nothing written past the
// output buffer. The first two bytes give the output buffer's size, as above; the rest are the
// bytes to pack.
std::string RunLZFPackInput(const uint8_t* data, size_t size);
