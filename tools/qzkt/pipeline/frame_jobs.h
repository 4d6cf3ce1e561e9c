// The jobs that qzkt encode and qzkt decode hand to their frame pipelines (frame_pipeline.h):
// a frame with room for its result, and the per-worker encoders and decoders.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/codec.h"
#include "media/ffmpeg_util.h"
#include "media/frame_buffer.h"
#include "media/frame_source.h"
#include "media/qzkt_movie.h"

struct EncodeJob {
    const uint8_t* pixels = nullptr; // the picture, rows width * 4 bytes apart: in argb,
    FrameBytes argb;                 // or in the input's mapping, kept by mapped
    std::shared_ptr<const uint8_t> mapped;
    int64_t pts = 0;
    FrameBytes encoded;
};

// Gives the source's picture to the job: the input's mapping kept, or the source's buffer
// swapped for the job's old one, where the source allows it; else copied (the source reuses
// its buffer at its next frame).
void FillEncodeJob(EncodeJob& job, ArgbFrame& frame, int width, int height);

// Encodes the job's picture into job.encoded.
void RunEncodeJob(FrameEncoder& encoder, EncodeJob& job, int width);

// One encoder per job, with the machine-wide settings and the chosen ones. With several jobs
// every encoder encodes on one thread (its own worker's): the frames in flight already keep
// the cores busy, and the DXT24 thread pool would only add contention. The bytes are the same.
std::vector<std::unique_ptr<FrameEncoder>> OpenEncoders(int jobs, int width, int height,
                                                        SettingsChoice choice);

struct DecodeJob {
    AvPacketPtr sample = NewPacket(); // the encoded frame
    int64_t pts = 0;
    FrameBytes picture;   // width x height ARGB, valid when decoded
    bool decoded = false; // false for a damaged frame
};

// Takes the sample's packet (no copy of its bytes); the reader's next sample is a new packet.
void FillDecodeJob(DecodeJob& job, QZKTSample& sample);

// Decodes the job's sample into job.picture. A damaged frame leaves decoded false; what
// replaces it is decided where the frames are written in order, not here.
void RunDecodeJob(FrameDecoder& decoder, DecodeJob& job, int width, int height);

std::vector<std::unique_ptr<FrameDecoder>> OpenDecoders(int jobs, int width, int height,
                                                        qzkt_renderer renderer);
