// The tool's use of the codec: the compressor and decompressor components, reached only
// through the platform layer's host entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "stream/kel_settings.h"

struct HostCompression;
struct HostDecompression;

// Makes both components known to the Component Manager, as loading the codec does.
void RegisterCodecComponents();

// Settings named on the command line; -1 leaves the machine-wide value.
struct SettingsChoice {
    int alpha = -1;
    int dxt24 = -1;
    int noLZF = -1;
    int threadSetting = -1;
    bool Any() const { return alpha >= 0 || dxt24 >= 0 || noLZF >= 0 || threadSetting >= 0; }
};

// The machine-wide settings with the named ones replaced.
KELSettingsValues ResolveSettings(const SettingsChoice& choice);

// The thread setting (1..9) for a worker count: the nearest count the settings offer (1, 2,
// 4, 6, 8, 12, 16 or 24; ties go to the smaller); "auto" is setting 1, one worker per
// physical core. Throws UsageError for anything else.
int ThreadSettingFor(const std::string& workers);

// "1 thread", "4 threads", "one thread per physical core" for a thread setting.
std::string DescribeThreadSetting(int threadSetting);

// "DXT24 blocks, LZF, 1 thread" and the like.
std::string DescribeSettings(const KELSettingsValues& settings);

// Encodes ARGB frames of one size.
class FrameEncoder {
  public:
    // settings null: the machine-wide settings, as any host gets them.
    FrameEncoder(int width, int height, const KELSettingsValues* settings);
    ~FrameEncoder();
    FrameEncoder(const FrameEncoder&) = delete;
    FrameEncoder& operator=(const FrameEncoder&) = delete;

    // The encoded frame; valid until the next call.
    const std::vector<uint8_t>& Encode(const uint8_t* argb, int rowBytes);

  private:
    static void Receive(void* refCon, const uint8_t* data, size_t size);
    HostCompression* compression_ = nullptr;
    std::vector<uint8_t> frame_;
};

// Decodes frames of one size into ARGB.
class FrameDecoder {
  public:
    FrameDecoder(int width, int height);
    ~FrameDecoder();
    FrameDecoder(const FrameDecoder&) = delete;
    FrameDecoder& operator=(const FrameDecoder&) = delete;

    // False when the frame is damaged (see CheckKELFrame): the destination is then left as it
    // was. Throws ToolError, naming the reason and the limit, for a DXT1/DXT5 frame the GPU
    // path cannot decode (no renderer, or a frame larger than the renderer takes).
    bool Decode(const uint8_t* frame, size_t size, uint8_t* argb, int rowBytes);

  private:
    HostDecompression* decompression_ = nullptr;
};

enum class RendererChoice { kAuto, kHardware, kSoftware };

// Parses --gl's value; throws UsageError.
RendererChoice ParseRendererChoice(const std::string& value);

// Sets up the GPU path for DXT1/DXT5 frames. auto: the GPU when there is one, else Mesa's
// software renderer, and then a note for the user (returned, to be printed once); hardware:
// the GPU or a ToolError; software: a software renderer is accepted too. Throws ToolError
// when no renderer at all can be opened.
std::string PrepareRenderer(RendererChoice choice);
