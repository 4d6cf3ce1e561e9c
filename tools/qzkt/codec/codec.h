// The tool's use of the codec: encoders and decoders of libqzkt (qzkt.h), with the tool's
// errors and the settings as the command line names them.
#pragma once

#include <qzkt/qzkt.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "media/frame_buffer.h"

// Settings named on the command line; -1 leaves the machine-wide value.
struct SettingsChoice {
    int alpha = -1;
    int dxt24 = -1;
    int noLZF = -1;
    int threadSetting = -1;
    bool Any() const { return alpha >= 0 || dxt24 >= 0 || noLZF >= 0 || threadSetting >= 0; }
    bool All() const { return alpha >= 0 && dxt24 >= 0 && noLZF >= 0 && threadSetting >= 0; }
};

// The line for a call that opened the compressor and failed: "cannot open the QZKT compressor:
// " and the library's problem text when it has one (such as why /dev/shm cannot hold the
// encoder's semaphores), else "DOING: " and the result's text.
std::string CompressorFailure(const std::string& doing, qzkt_result result);

// "cannot read FOLDER/KELPreferences.dat: REASON" when the settings file exists but cannot
// be read (the compressor then uses the defaults); "" when it can, or when there is none.
std::string SettingsFileProblem();

// The machine-wide settings with the named ones replaced.
qzkt_settings ResolveSettings(const SettingsChoice& choice);

// The thread setting (1..9) for a worker count: the nearest count the settings offer (1, 2,
// 4, 6, 8, 12, 16 or 24; ties go to the smaller); "auto" is setting 1, one worker per
// physical core. Throws UsageError for anything else.
int ThreadSettingFor(const std::string& workers);

// "1 thread", "4 threads", "one thread per physical core" for a thread setting.
std::string DescribeThreadSetting(int threadSetting);

// "DXT24 blocks, LZF, 1 thread" and the like.
std::string DescribeSettings(const qzkt_settings& settings);

// Encodes ARGB frames of one size.
class FrameEncoder {
  public:
    // settings null: the machine-wide settings, as any host gets them.
    FrameEncoder(int width, int height, const qzkt_settings* settings);
    ~FrameEncoder();
    FrameEncoder(const FrameEncoder&) = delete;
    FrameEncoder& operator=(const FrameEncoder&) = delete;

    // The encoded frame; valid until the next call.
    const FrameBytes& Encode(const uint8_t* argb, int rowBytes);

    // Encodes straight into out, which ends up holding exactly the encoded frame.
    void EncodeInto(const uint8_t* argb, int rowBytes, FrameBytes& out);

  private:
    qzkt_encoder* encoder_ = nullptr;
    size_t maxFrameSize_ = 0;
    FrameBytes frame_; // what Encode returns
};

// Decodes frames of one size into ARGB. DXT1/DXT5 frames go through the CPU decoder or the
// OpenGL renderer the choice names (qzkt.h); DXT24 frames decode on the CPU.
class FrameDecoder {
  public:
    FrameDecoder(int width, int height, qzkt_renderer renderer);
    ~FrameDecoder();
    FrameDecoder(const FrameDecoder&) = delete;
    FrameDecoder& operator=(const FrameDecoder&) = delete;

    // False when the frame is damaged (see CheckFrame): the destination is then left as it
    // was. Throws ToolError, naming the reason and the limit, for a DXT1/DXT5 frame the GPU
    // path cannot decode (no renderer, or a frame larger than the renderer takes).
    bool Decode(const uint8_t* frame, size_t size, uint8_t* argb, int rowBytes);

  private:
    qzkt_decoder* decoder_ = nullptr;
};

// Parses --gl's value (auto, hardware, software, cpu); throws UsageError.
qzkt_renderer ParseRendererChoice(const std::string& value);

// Whether the choice decodes DXT1/DXT5 frames on the CPU decoder on this machine (cpu; auto
// without a GPU).
bool DecodesS3TCOnCPU(qzkt_renderer choice);

// How many DXT1/DXT5 frames decoders with this choice take at once on this machine, for `jobs`
// asked: all of them on the CPU decoder, at most 4 on a GPU, 1 on Mesa's software renderer.
int S3TCDecodeJobs(qzkt_renderer choice, int jobs);

// Checks that the machine can decode DXT1/DXT5 frames as the choice says, before the first
// such frame: throws ToolError when it cannot. Returns what will decode them, for the summary
// ("the CPU decoder", "the GPU (OpenGL)", "Mesa's software renderer").
std::string PrepareRenderer(qzkt_renderer choice);
