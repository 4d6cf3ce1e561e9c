// Audio that an output container cannot hold as it is, decoded and written as PCM: FLAC,
// Opus, Vorbis and the rest become uncompressed samples at their decoded precision (16, 24
// or 32-bit integers, or 32-bit floats), which loses nothing of the decoded sound and costs
// little beside DXT video. Used by the stream copier for the streams it cannot copy.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/ffmpeg_util.h"

// Whether the muxer of `format` accepts a stream with these parameters as they are: an
// output of that format with that stream alone has its header written into memory (what
// avformat_query_codec cannot tell: FLAC and Opus in .mov are refused only there).
bool MuxerTakes(const AVOutputFormat* format, const AVCodecParameters* parameters);

class AudioConverter {
  public:
    // A decoder for `in` and the PCM encoder that keeps its precision, chosen so that the
    // muxer of `format` takes it. Throws ToolError with the reason when there is none (no
    // decoder for the codec, no PCM form the container holds).
    AudioConverter(const AVStream* in, const AVOutputFormat* format);
    ~AudioConverter();
    AudioConverter(const AudioConverter&) = delete;
    AudioConverter& operator=(const AudioConverter&) = delete;

    // The parameters of the stream to add to the output, and the time base of the packets
    // Convert gives.
    const AVCodecParameters* parameters() const { return parameters_; }
    AVRational timeBase() const;
    // The PCM codec's name, for the note ("pcm_s24le").
    std::string name() const;
    // How many packets the decoder refused so far (their sound is missing from the output).
    int64_t refused() const { return refused_; }

    // Decodes one packet of the input stream (null: the end, draining the decoder) and appends
    // the PCM packets it gives to `out`, their times in timeBase().
    void Convert(const AVPacket* packet, std::vector<AvPacketPtr>& out);

  private:
    void EncodeFrame(const AVFrame* decoded, std::vector<AvPacketPtr>& out);
    // Appends every packet the encoder has ready to out.
    void TakePackets(std::vector<AvPacketPtr>& out);

    AVCodecContext* decoder_ = nullptr;
    AVCodecContext* encoder_ = nullptr;
    AVCodecParameters* parameters_ = nullptr;
    AVFrame* decoded_ = nullptr;
    AVFrame* packed_ = nullptr;
    AVRational inTimeBase_{1, 1};
    int64_t nextPts_ = 0; // in the encoder's time base: where a frame without a time goes
    int64_t refused_ = 0;
};
