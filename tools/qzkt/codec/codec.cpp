// Encoding and decoding through libqzkt.
#include "codec/codec.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cli/options.h"
#include "cli/tool_error.h"

namespace {

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

} // namespace

std::string CompressorFailure(const std::string& doing, qzkt_result result) {
    const char* problem = qzkt_last_problem();
    if (problem[0] != '\0') return std::string("cannot open the QZKT compressor: ") + problem;
    return doing + ": " + qzkt_result_text(result);
}

std::string SettingsFileProblem() {
    errno = 0;
    if (qzkt_check_settings_file() == QZKT_OK) return "";
    const int error = errno;
    const std::string reason = error == EINVAL ? "not a regular file"
                               : error != 0    ? std::strerror(error)
                                               : "unknown error";
    return std::string("cannot read ") + qzkt_settings_folder() + "KELPreferences.dat: " + reason;
}

qzkt_settings ResolveSettings(const SettingsChoice& choice) {
    qzkt_settings settings{};
    const qzkt_result read = qzkt_read_settings(&settings);
    if (read != QZKT_OK) throw ToolError(CompressorFailure("cannot read the compression settings", read));
    if (choice.alpha >= 0) settings.alpha = choice.alpha;
    if (choice.dxt24 >= 0) settings.dxt24 = choice.dxt24;
    if (choice.noLZF >= 0) settings.no_lzf = choice.noLZF;
    if (choice.threadSetting >= 0) settings.thread_setting = choice.threadSetting;
    return settings;
}

int ThreadSettingFor(const std::string& workers) {
    if (workers == "auto") return 1;
    char* end = nullptr;
    const long count = std::strtol(workers.c_str(), &end, 10);
    if (workers.empty() || *end != '\0' || count < 1 || count > 1024)
        throw UsageError("--threads takes a worker count (1 or more) or auto, not '" + workers + "'");
    return qzkt_thread_setting_for(static_cast<int>(count));
}

std::string DescribeThreadSetting(int setting) {
    if (setting == 1) return "one thread per physical core";
    const int workers = qzkt_thread_count(setting);
    return std::to_string(workers) + (workers == 1 ? " thread" : " threads");
}

std::string DescribeSettings(const qzkt_settings& s) {
    std::string text;
    if (s.alpha)
        text = "DXT5 blocks with alpha";
    else if (s.dxt24)
        text = "DXT24 blocks";
    else
        text = "DXT1 blocks";
    text += s.no_lzf ? ", no LZF" : ", LZF";
    if (!s.alpha && s.dxt24) text += ", " + DescribeThreadSetting(s.thread_setting);
    return text;
}

FrameEncoder::FrameEncoder(int width, int height, const qzkt_settings* settings) {
    const qzkt_result created = qzkt_encoder_create(width, height, settings, &encoder_);
    if (created != QZKT_OK)
        throw ToolError(CompressorFailure(
            "cannot open the QZKT compressor for " + SizeText(width, height) + " frames", created));
    qzkt_settings used{};
    qzkt_encoder_settings(encoder_, &used);
    maxFrameSize_ = qzkt_max_frame_size(width, height, &used);
}

FrameEncoder::~FrameEncoder() {
    qzkt_encoder_destroy(encoder_);
}

const FrameBytes& FrameEncoder::Encode(const uint8_t* argb, int rowBytes) {
    EncodeInto(argb, rowBytes, frame_);
    return frame_;
}

void FrameEncoder::EncodeInto(const uint8_t* argb, int rowBytes, FrameBytes& out) {
    out.resize(maxFrameSize_); // no clearing: room for the largest frame costs nothing once made
    size_t size = 0;
    const qzkt_result encoded =
        qzkt_encode(encoder_, argb, static_cast<size_t>(rowBytes), out.data(), out.size(), &size);
    if (encoded != QZKT_OK || size == 0)
        throw ToolError(std::string("the QZKT compressor failed: ") + qzkt_result_text(encoded));
    out.resize(size);
}

FrameDecoder::FrameDecoder(int width, int height, qzkt_renderer renderer) {
    const qzkt_result created = qzkt_decoder_create(width, height, renderer, &decoder_);
    if (created != QZKT_OK)
        throw ToolError("cannot open the QZKT decompressor for " + SizeText(width, height) +
                        " frames: " + qzkt_result_text(created));
}

FrameDecoder::~FrameDecoder() {
    qzkt_decoder_destroy(decoder_);
}

bool FrameDecoder::Decode(const uint8_t* frame, size_t size, uint8_t* argb, int rowBytes) {
    // An empty sample (an empty vector's data may be null) is a damaged frame, not a null one.
    static const uint8_t kNoBytes = 0;
    if (size == 0) frame = &kNoBytes;
    const qzkt_result decoded = qzkt_decode(decoder_, frame, size, argb, static_cast<size_t>(rowBytes));
    if (decoded == QZKT_DAMAGED_FRAME) return false;
    if (decoded == QZKT_NO_RENDERER)
        throw ToolError(std::string("cannot decode the DXT1/DXT5 frames: ") + qzkt_decoder_problem(decoder_));
    if (decoded != QZKT_OK)
        throw ToolError(std::string("the QZKT decompressor failed: ") + qzkt_result_text(decoded) + " (" +
                        qzkt_decoder_problem(decoder_) + ")");
    return true;
}

qzkt_renderer ParseRendererChoice(const std::string& value) {
    if (value == "auto") return QZKT_RENDERER_AUTO;
    if (value == "hardware") return QZKT_RENDERER_HARDWARE;
    if (value == "software") return QZKT_RENDERER_SOFTWARE;
    if (value == "cpu") return QZKT_RENDERER_CPU;
    throw UsageError("--gl takes auto, hardware, software or cpu, not '" + value + "'");
}

bool DecodesS3TCOnCPU(qzkt_renderer choice) {
    if (choice == QZKT_RENDERER_CPU) return true;
    return choice == QZKT_RENDERER_AUTO && !qzkt_renderer_available(QZKT_RENDERER_HARDWARE);
}

int S3TCDecodeJobs(qzkt_renderer choice, int jobs) {
    if (DecodesS3TCOnCPU(choice)) return jobs;
    // Mesa's software renderer already draws on every core: several decoders, each with its
    // own context, gave the same frames no faster. On a GPU, decoders on several threads
    // overlap one frame's unpacking and read-back with another's drawing: on an H100, 1080p
    // frames went from 210 to 437 a second with two (DXT1) and from 199 to 343 with four
    // (DXT5); more gave fewer.
    constexpr int kMostGPUJobs = 4;
    return qzkt_renderer_available(QZKT_RENDERER_HARDWARE) ? std::min(jobs, kMostGPUJobs) : 1;
}

std::string PrepareRenderer(qzkt_renderer choice) {
    if (DecodesS3TCOnCPU(choice)) return "the CPU decoder";
    // auto and hardware decoders take a GPU whenever there is one.
    if (choice != QZKT_RENDERER_SOFTWARE && qzkt_renderer_available(QZKT_RENDERER_HARDWARE))
        return "the GPU (OpenGL)";
    if (choice == QZKT_RENDERER_HARDWARE)
        throw ToolError(
            "no GPU OpenGL renderer for the DXT1/DXT5 frames (--gl auto or cpu decodes them on the "
            "CPU, --gl software with Mesa's renderer)");
    if (!qzkt_renderer_available(QZKT_RENDERER_SOFTWARE))
        throw ToolError("no OpenGL renderer for the DXT1/DXT5 frames, not even a software one (install Mesa: "
                        "libegl-mesa0 and libgl1-mesa-dri; --gl cpu needs none)");
    return qzkt_renderer_available(QZKT_RENDERER_HARDWARE) ? "the GPU (OpenGL)" : "Mesa's software renderer";
}
