// The SIMD path of the S3TC CPU decoder (s3tc_decode.h), compiled for every Highway target and
// picked at run time; the one-lane fallback target runs the plain decoder. Same bytes as the
// plain decoder, whose entry point DecodeS3TC calls it; nothing else needs to.
#pragma once

#include <cstdint>

// As DecodeS3TC.
void DecodeS3TCSimd(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes);
