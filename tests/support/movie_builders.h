// QuickTime movies of QZKT samples, written with the tool's own movie writer, and their samples
// read back with its reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// A movie whose QZKT track of width x height holds samples (10 per second). Empty samples are
// written as 1 byte and then given size 0 in the sample-size table (the muxer drops empty
// packets); every empty sample must end its chunk, as the last sample does.
Bytes MovieBytes(int width, int height, const std::vector<Bytes>& samples);

// The same movie written to path.
void WriteMovie(const std::string& path, int width, int height, const std::vector<Bytes>& samples);

// The offset of the first atom whose four-character type is tag (its size field's offset);
// throws std::runtime_error when there is none.
size_t AtomOffset(const Bytes& movie, const char* tag);

// Every sample of a movie's QZKT track, in order.
std::vector<Bytes> MovieSamples(const std::string& movie);
