// Image sequences as inputs, named as ffmpeg names them: a printf pattern (frames_%04d.png)
// starting at any number (ffmpeg's -start_number, found here by itself when not given), or a
// glob ("*.png", ffmpeg's -pattern_type glob).
#pragma once

#include <string>
#include <vector>

extern "C" {
#include <libavutil/dict.h>
}

struct ImageSequence {
    bool pattern = false;           // a printf pattern
    bool glob = false;              // a glob
    int startNumber = -1;           // a pattern's first number (-1: none found)
    std::vector<std::string> files; // the images in the order they are read
};

// What path names when it is not a file itself: a pattern (with startNumber, or the lowest
// number of an existing image when startNumber is below 0), a glob, or neither.
ImageSequence FindImageSequence(const std::string& path, int startNumber);

// The image2 demuxer's options for the sequence (start_number, pattern_type).
void AddDemuxerOptions(const ImageSequence& sequence, AVDictionary** options);
