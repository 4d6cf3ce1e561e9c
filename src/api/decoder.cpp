// Decoders: a decompression of the decompressor component with this decoder's renderer
// choice (DXT1/DXT5 on the CPU decoder or an OpenGL renderer), and the line that says why the
// last frame was not decoded.
#include <cstdint>
#include <new>
#include <string>

#include "codec_host.h"
#include "host/host_decompression.h"

struct qzkt_decoder {
    HostDecompression* decompression = nullptr;
    std::string problem;
};

namespace {

bool RendererChoiceFor(qzkt_renderer renderer, HostRendererChoice* choice) {
    switch (renderer) {
    case QZKT_RENDERER_AUTO:
        *choice = kHostRendererAuto;
        return true;
    case QZKT_RENDERER_HARDWARE:
        *choice = kHostRendererHardware;
        return true;
    case QZKT_RENDERER_SOFTWARE:
        *choice = kHostRendererSoftware;
        return true;
    case QZKT_RENDERER_CPU:
        *choice = kHostRendererCPU;
        return true;
    }
    return false;
}

} // namespace

int qzkt_renderer_available(qzkt_renderer renderer) {
    HostRendererChoice choice;
    if (!RendererChoiceFor(renderer, &choice)) return 0;
    // AUTO falls back to the CPU decoder, which every machine has.
    if (choice == kHostRendererAuto || choice == kHostRendererCPU) return 1;
    return HostDecompressionRendererAvailable(choice != kHostRendererHardware) ? 1 : 0;
}

qzkt_result qzkt_decoder_create(int width, int height, qzkt_renderer renderer, qzkt_decoder** decoder) {
    if (decoder == nullptr) return QZKT_BAD_ARGUMENTS;
    *decoder = nullptr;
    HostRendererChoice choice;
    if (!RendererChoiceFor(renderer, &choice)) return QZKT_BAD_ARGUMENTS;

    auto* created = new (std::nothrow) qzkt_decoder();
    if (created == nullptr) return QZKT_OUT_OF_MEMORY;
    HostRegisterComponents();
    const qzkt_result result =
        ResultOfStatus(HostDecompressionCreate(width, height, &created->decompression));
    if (result != QZKT_OK) {
        qzkt_decoder_destroy(created);
        return result;
    }
    HostDecompressionSetRenderer(created->decompression, choice);
    *decoder = created;
    return QZKT_OK;
}

qzkt_result qzkt_decode(qzkt_decoder* decoder, const uint8_t* frame, size_t frame_size, uint8_t* argb,
                        size_t row_bytes) {
    if (decoder == nullptr) return QZKT_BAD_ARGUMENTS;
    decoder->problem.clear();
    // The adapter checks the arguments and names a mistake in its problem line.
    const qzkt_result result = ResultOfStatus(
        HostDecompressionDecodeFrame(decoder->decompression, frame, frame_size, argb, row_bytes));
    if (result != QZKT_OK) {
        decoder->problem = HostDecompressionProblem(decoder->decompression);
        if (decoder->problem.empty()) decoder->problem = qzkt_result_text(result);
    }
    return result;
}

const char* qzkt_decoder_problem(const qzkt_decoder* decoder) {
    return decoder != nullptr ? decoder->problem.c_str() : "";
}

const char* qzkt_decoder_renderer_name(const qzkt_decoder* decoder) {
    return decoder != nullptr ? HostDecompressionRendererName(decoder->decompression) : "";
}

const char* qzkt_decoder_s3tc_path(const qzkt_decoder* decoder) {
    if (decoder == nullptr) return "";
    return HostDecompressionDecodesS3TCOnCPU(decoder->decompression) ? "cpu" : "opengl";
}

void qzkt_decoder_destroy(qzkt_decoder* decoder) {
    if (decoder == nullptr) return;
    HostDecompressionClose(decoder->decompression);
    delete decoder;
}
