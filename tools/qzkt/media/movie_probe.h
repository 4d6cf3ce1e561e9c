// What a movie holds besides its QZKT frames: the container's facts, every track, and whether
// the QZKT track's samples all lie inside the file. Read from the movie's index, without
// reading the samples.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct TrackFacts {
    int index = 0;
    std::string kind;          // "video", "audio", "timecode", "subtitle", "data"
    std::string codec;         // FFmpeg's codec name, or the sample description's code ("QZKT", "tmcd")
    std::string language;      // ISO 639-2, "und" when the track names none
    double duration = -1;      // seconds; below 0 when the movie does not say
    bool qzkt = false;         // the QZKT video track
    int width = 0, height = 0; // video
    std::string pixelAspect;   // video: "64:45", "" for square pixels
    bool rotated = false;      // video: a display matrix; rotation in degrees, as ffprobe gives it
    double rotation = 0;
    std::string primaries, transfer;  // video: colour tags, "" when unspecified
    int sampleRate = 0, channels = 0; // audio
    std::string timecode;             // timecode tracks: the first frame's timecode, when known
    std::vector<std::pair<std::string, std::string>> tags; // the track's metadata but language
};

struct MovieFacts {
    std::string formatName; // FFmpeg's name for the container, "mov,mp4,m4a,3gp,3g2,mj2"
    double duration = -1;   // seconds, the longest track; below 0 when unknown
    int64_t fileSize = -1;  // bytes
    std::vector<std::pair<std::string, std::string>> tags; // the container's metadata
    std::vector<TrackFacts> tracks;

    // The QZKT track, read from its sample tables.
    int64_t listedSamples = 0;   // samples the track lists
    int64_t samplesInside = 0;   // of those, the samples whose bytes lie wholly inside the file
    double samplesDuration = -1; // seconds from the first sample's start to the last one's end
};

// Throws ToolError, in the words QZKTMovieReader uses, when path cannot be read as a movie.
MovieFacts ProbeMovie(const std::string& path);
