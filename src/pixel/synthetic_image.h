// Generated 32-bit ARGB pictures for demos, tests and benchmarks: smooth gradients, hard
// edges, thin lines, text-like detail and noise, with no external files. Deterministic:
// the same arguments always give the same bytes.
#pragma once

#include <cstdint>

// Fills width x height pixels (bytes A, R, G, B) at dst, rows rowBytes apart. frame moves
// the content (for short clips); alpha is 255 unless withAlpha, which adds a soft alpha
// ramp and a hard-edged transparent shape.
void FillSyntheticARGB(uint8_t* dst, int width, int height, int rowBytes, int frame, bool withAlpha = false);

// Peak signal-to-noise ratio in dB of the red, green and blue bytes of two ARGB images of
// width x height pixels (alpha ignored); returns 99.0 for identical images.
double PSNRofARGB(const uint8_t* a, int aRowBytes, const uint8_t* b, int bRowBytes, int width, int height);
