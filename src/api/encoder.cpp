// Encoders: a compression session of the compressor component, with the frame it emits copied
// straight into the caller's buffer.
#include <cstdint>
#include <cstring>
#include <new>

#include "codec_host.h"
#include "host/host_checks.h"
#include "host/host_compression.h"

struct qzkt_encoder {
    HostCompression* compression = nullptr;
    qzkt_settings settings{};
    // Where the frame being encoded goes, and what the compressor delivered.
    uint8_t* destination = nullptr;
    size_t capacity = 0;
    size_t delivered = 0;
    bool received = false;
};

namespace {

// The compressor emits inside HostCompressionEncodeFrame, on the calling thread; its bytes are
// lent for the length of this call only.
void ReceiveFrame(void* refCon, const uint8_t* data, size_t size) {
    auto* encoder = static_cast<qzkt_encoder*>(refCon);
    encoder->received = true;
    encoder->delivered = size;
    if (size <= encoder->capacity) std::memcpy(encoder->destination, data, size);
}

} // namespace

qzkt_result qzkt_encoder_create(int width, int height, const qzkt_settings* settings,
                                qzkt_encoder** encoder) {
    if (encoder == nullptr) return QZKT_BAD_ARGUMENTS;
    *encoder = nullptr;
    // Sizes before the settings are read: a wrong size costs no file access.
    if (!IsHostFrameSide(width) || !IsHostFrameSide(height)) return QZKT_BAD_ARGUMENTS;
    if (settings != nullptr && !AreValidSettings(*settings)) return QZKT_BAD_ARGUMENTS;

    auto* created = new (std::nothrow) qzkt_encoder();
    if (created == nullptr) return QZKT_OUT_OF_MEMORY;
    qzkt_result result = QZKT_OK;
    if (settings != nullptr) {
        created->settings = *settings;
    } else {
        // Read once through the compressor and handed to the session like chosen settings:
        // the encoder knows what it uses, and a file changed later does not change it.
        result = qzkt_read_settings(&created->settings);
    }
    if (result == QZKT_OK) {
        HostRegisterComponents();
        const KELSettingsValues values = ToCodecSettings(created->settings);
        result = ResultOfCompressorStatus(
            HostCompressionCreate(width, height, &values, ReceiveFrame, created, &created->compression));
    }
    if (result != QZKT_OK) {
        qzkt_encoder_destroy(created);
        return result;
    }
    *encoder = created;
    return QZKT_OK;
}

qzkt_result qzkt_encoder_settings(const qzkt_encoder* encoder, qzkt_settings* settings) {
    if (encoder == nullptr || settings == nullptr) return QZKT_BAD_ARGUMENTS;
    *settings = encoder->settings;
    return QZKT_OK;
}

qzkt_result qzkt_encode(qzkt_encoder* encoder, const uint8_t* argb, size_t row_bytes, uint8_t* frame,
                        size_t capacity, size_t* frame_size) {
    if (frame_size != nullptr) *frame_size = 0;
    if (encoder == nullptr || argb == nullptr || frame == nullptr || frame_size == nullptr)
        return QZKT_BAD_ARGUMENTS;
    // The adapter checks the row stride.
    encoder->destination = frame;
    encoder->capacity = capacity;
    encoder->delivered = 0;
    encoder->received = false;
    const qzkt_result result =
        ResultOfStatus(HostCompressionEncodeFrame(encoder->compression, argb, row_bytes));
    encoder->destination = nullptr;
    if (result != QZKT_OK) return result;
    if (!encoder->received) return QZKT_CODEC_ERROR;
    *frame_size = encoder->delivered;
    return encoder->delivered <= capacity ? QZKT_OK : QZKT_BUFFER_TOO_SMALL;
}

void qzkt_encoder_destroy(qzkt_encoder* encoder) {
    if (encoder == nullptr) return;
    HostCompressionClose(encoder->compression);
    delete encoder;
}
