// The fuzzers' starting corpora, made by the codec itself: frames of every block kind with and
// without LZF at odd sizes, small movies, settings files and handles, bitmap files.
#pragma once

#include <string>

// Writes the seeds into folder/frame, folder/movie, folder/settings, folder/bmp, folder/lzf and
// folder/lzf_pack (created as needed; folder must exist). Throws std::runtime_error on failure.
void WriteSeeds(const std::string& folder);
