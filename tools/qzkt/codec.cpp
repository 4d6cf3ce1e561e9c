// Encoding and decoding through the components' host entries.
#include "codec.h"

#include <cstdlib>

#include "compressor/compressor_component.h"
#include "decompressor/decompressor_component.h"
#include "options.h"
#include "platform/host_compression.h"
#include "platform/host_decompression.h"
#include "tool_error.h"

namespace {

std::string StatusText(OSStatus status) {
    return "codec status " + std::to_string(status);
}

} // namespace

void RegisterCodecComponents() {
    ZQN_CompressorRegister();
    ZQN_CodecRegister();
}

KELSettingsValues ResolveSettings(const SettingsChoice& choice) {
    KELSettingsValues settings{};
    const OSStatus read = HostReadCompressorSettings(&settings);
    if (read != noErr) throw ToolError("cannot read the compression settings: " + StatusText(read));
    if (choice.alpha >= 0) settings.alpha = static_cast<uint8_t>(choice.alpha);
    if (choice.dxt24 >= 0) settings.dxt24 = static_cast<uint8_t>(choice.dxt24);
    if (choice.noLZF >= 0) settings.noLZF = static_cast<uint8_t>(choice.noLZF);
    if (choice.threadSetting >= 0) settings.threadSetting = choice.threadSetting;
    return settings;
}

int ThreadSettingFor(const std::string& workers) {
    if (workers == "auto") return 1;
    char* end = nullptr;
    const long count = std::strtol(workers.c_str(), &end, 10);
    if (workers.empty() || *end != '\0' || count < 1 || count > 1024)
        throw UsageError("--threads takes a worker count (1 or more) or auto, not '" + workers + "'");
    int best = 2;
    for (int setting = 3; setting <= 9; ++setting)
        if (std::labs(KELThreadCountForSetting(setting, 1) - count) <
            std::labs(KELThreadCountForSetting(best, 1) - count))
            best = setting;
    return best;
}

std::string DescribeThreadSetting(int setting) {
    if (setting == 1) return "one thread per physical core";
    const int workers = KELThreadCountForSetting(setting, 1);
    return std::to_string(workers) + (workers == 1 ? " thread" : " threads");
}

std::string DescribeSettings(const KELSettingsValues& s) {
    std::string text;
    if (s.alpha)
        text = "DXT5 blocks with alpha";
    else if (s.dxt24)
        text = "DXT24 blocks";
    else
        text = "DXT1 blocks";
    text += s.noLZF ? ", no LZF" : ", LZF";
    if (!s.alpha && s.dxt24) text += ", " + DescribeThreadSetting(s.threadSetting);
    return text;
}

FrameEncoder::FrameEncoder(int width, int height, const KELSettingsValues* settings) {
    const OSStatus created = HostCompressionCreate(width, height, settings, Receive, this, &compression_);
    if (created != noErr)
        throw ToolError("cannot open the QZKT compressor for " + std::to_string(width) + "x" +
                        std::to_string(height) + " frames: " + StatusText(created));
}

FrameEncoder::~FrameEncoder() {
    HostCompressionClose(compression_);
}

void FrameEncoder::Receive(void* refCon, const uint8_t* data, size_t size) {
    static_cast<FrameEncoder*>(refCon)->frame_.assign(data, data + size);
}

const std::vector<uint8_t>& FrameEncoder::Encode(const uint8_t* argb, int rowBytes) {
    frame_.clear();
    const OSStatus encoded = HostCompressionEncodeFrame(compression_, argb, static_cast<size_t>(rowBytes));
    if (encoded != noErr || frame_.empty())
        throw ToolError("the QZKT compressor failed: " + StatusText(encoded));
    return frame_;
}

FrameDecoder::FrameDecoder(int width, int height) {
    const OSStatus created = HostDecompressionCreate(width, height, &decompression_);
    if (created != noErr)
        throw ToolError("cannot open the QZKT decompressor for " + std::to_string(width) + "x" +
                        std::to_string(height) + " frames: " + StatusText(created));
}

FrameDecoder::~FrameDecoder() {
    HostDecompressionClose(decompression_);
}

bool FrameDecoder::Decode(const uint8_t* frame, size_t size, uint8_t* argb, int rowBytes) {
    const OSStatus decoded =
        HostDecompressionDecodeFrame(decompression_, frame, size, argb, static_cast<size_t>(rowBytes));
    if (decoded == codecBadDataErr) return false;
    if (decoded == codecNoRendererErr)
        throw ToolError(std::string("cannot decode the DXT1/DXT5 frames: ") +
                        HostDecompressionProblem(decompression_));
    if (decoded != noErr) throw ToolError("the QZKT decompressor failed: " + StatusText(decoded));
    return true;
}

RendererChoice ParseRendererChoice(const std::string& value) {
    if (value == "auto") return RendererChoice::kAuto;
    if (value == "hardware") return RendererChoice::kHardware;
    if (value == "software") return RendererChoice::kSoftware;
    throw UsageError("--gl takes auto, hardware or software, not '" + value + "'");
}

std::string PrepareRenderer(RendererChoice choice) {
    if (choice != RendererChoice::kSoftware && HostDecompressionRendererAvailable(false)) {
        HostDecompressionAllowSoftwareRenderer(false);
        return "";
    }
    if (choice == RendererChoice::kHardware)
        throw ToolError(
            "no GPU OpenGL renderer for the DXT1/DXT5 frames (--gl auto or software accepts Mesa's)");
    if (!HostDecompressionRendererAvailable(true))
        throw ToolError("no OpenGL renderer for the DXT1/DXT5 frames, not even a software one (install Mesa: "
                        "libegl-mesa0 and libgl1-mesa-dri)");
    HostDecompressionAllowSoftwareRenderer(true);
    return choice == RendererChoice::kAuto
               ? "no GPU found; decoding DXT1/DXT5 frames with Mesa's software renderer"
               : "";
}
