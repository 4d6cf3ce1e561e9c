// One fuzz input as a QuickTime movie through the tool's own reading, frame check and decode:
// QZKTMovieReader opens it (from a memory file), CheckFrame inspects every sample, and a
// FrameDecoder decodes every sample when the track has at most kMaxFuzzPixels pixels. At most
// kMaxFuzzSamples samples are read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

const int kMaxFuzzSamples = 256;

struct MovieRun {
    std::string error; // the tool's error when the movie could not be opened, read or decoded
    int width = 0;     // the track's size, once opened
    int height = 0;
    int frames = 0;       // samples read
    int damaged = 0;      // samples that CheckFrame calls damaged
    int declined = 0;     // samples that the decoder declined
    bool decoded = false; // whether the samples went through the decoder
    std::string fault;    // a promise the tool's classes broke; "" when none
};

// Once per process: registers the components and accepts a software renderer.
void PrepareMovieInputs();

// Checks the promises: a declined sample leaves the picture as it was, and no sample that
// CheckFrame calls damaged is decoded.
MovieRun RunMovieInput(const uint8_t* data, size_t size);

// "frames=<n> damaged=<n> declined=<n>" ("declined=-" when not decoded), or "error" when the
// reader or decoder gave up.
std::string MovieOutcome(const MovieRun& run);
