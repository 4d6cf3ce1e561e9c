// What a host hands the components, checked once, here. The adapters (host_compression.h,
// host_decompression.h) make these checks before any frame reaches a component, and the
// library's front door relies on them instead of repeating them; the components keep only
// the checks their own behaviour requires.
#pragma once

#include <cstddef>

// 1..kKELMaxSide (32767): the sides an image description can hold.
bool IsHostFrameSide(int side);

// The row stride of a picture of width pixels: rowBytes, or width * 4 for 0. 0 when it is
// below width * 4 or above 2^31 - 1 (the components keep strides in an int).
size_t HostRowBytes(size_t rowBytes, int width);
