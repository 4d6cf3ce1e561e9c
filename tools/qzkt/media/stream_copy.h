// Carries what an input has besides its pictures into an output: its audio streams (packets
// copied; a stream the output container cannot hold as it is, such as FLAC or Opus in .mov,
// decoded to PCM with a note), its timecode, and the container's and the video stream's
// metadata (title, creation time, language, the rotation matrix). Streams the output container
// cannot hold, and streams of other kinds, are left out with a one-line note each. Packet times
// that do not increase are repaired as ffmpeg repairs them, with one note at the end.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "media/audio_convert.h"
#include "media/ffmpeg_util.h"

class StreamCopier {
  public:
    StreamCopier() = default;
    // Adds the copied streams to output (before its header is written) and copies the
    // metadata onto output and outVideo. videoIndex is input's picture stream; keepAudio false
    // leaves the audio out on purpose (no note). who prefixes the notes ("qzkt encode").
    StreamCopier(const AVFormatContext* input, int videoIndex, AVFormatContext* output, AVStream* outVideo,
                 bool keepAudio, const std::string& who, int64_t startMicros = 0);

    // One line for each stream left out.
    const std::vector<std::string>& notes() const { return notes_; }
    // How many packet times were repaired so far (see RepairTimes).
    int64_t repairedTimes() const { return repaired_; }
    // A line on audio packets that could not be decoded for conversion (their sound is
    // missing), or "" when there were none.
    std::string RefusedNote() const;
    // Whether packets of input stream `index` are copied.
    bool Copies(int index) const;
    // Whether any stream is carried over.
    bool CopiesAny() const;

    // Only packets of the input's time [fromMicros, toMicros) are copied, moved back by
    // shiftMicros (the same window and shift as the pictures).
    void SetWindow(int64_t fromMicros, int64_t toMicros, int64_t shiftMicros);

    // Holds every packet until Flush, for a window whose end is learnt only at the end.
    void HoldAll() { holdAll_ = true; }
    // Narrows the window's end (microseconds of the input's time).
    void EndAt(int64_t toMicros) { to_ = std::min(to_, toMicros); }

    // Holds packets until the output's header is written (see Start).
    void Take(const AVPacket* packet);
    // From now on packets go straight to the output; those held go first.
    void Start();
    // Writes what is still held.
    void Flush();
    // Drains the conversions, then writes what is still held (call before the output's trailer).
    void Finish();

  private:
    void Write(AVPacket* packet);
    void Pass(AvPacketPtr packet);
    void RepairTimes(AVPacket* packet);

    const AVFormatContext* input_ = nullptr;
    AVFormatContext* output_ = nullptr;
    std::vector<int> map_; // input stream index -> output stream index, or -1
    std::vector<std::unique_ptr<AudioConverter>> converters_; // by input stream index, or null
    std::vector<AVRational> timeBase_; // by input stream index: of the packets Write gets
    std::vector<std::string> notes_;
    std::vector<int64_t> lastDts_; // by output stream: the last decoding time written
    int64_t repaired_ = 0;
    int64_t from_ = INT64_MIN, to_ = INT64_MAX, shift_ = 0;
    bool started_ = false;
    bool holdAll_ = false;
    std::deque<AvPacketPtr> held_;
};

// What a movie carries over from its input besides the pictures (see StreamCopier).
struct CarryOver {
    const AVFormatContext* input = nullptr;
    int videoIndex = -1;
    bool keepAudio = true;
    std::string who;         // prefixes the notes
    int64_t startMicros = 0; // where a cut (-ss) starts in the input: the timecode moves with it
};

// Makes the copier for carry (an empty one when carry is null), writes output's header, and
// starts the copier: what an output with a video stream does before its first frame. Throws
// ToolError ("cannot write PATH: ...") when the header cannot be written.
StreamCopier WriteHeaderCarrying(AVFormatContext* output, AVStream* video, const CarryOver* carry,
                                 const std::string& path);

// Writes what copier still holds and output's trailer, and flushes its I/O: what an output with a
// video stream does after its last frame, before its file takes its name. Throws ToolError
// ("cannot write PATH: ...").
void WriteTrailerCarrying(AVFormatContext* output, StreamCopier& copier, const std::string& path);

// Copies the display matrix (rotation) side data of one stream to another.
void CopyDisplayMatrix(const AVStream* from, AVStream* to);
