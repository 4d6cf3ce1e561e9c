// For hosts that decode blocks themselves: a frame's blocks (the frame check every reader makes,
// then the payload unpacked as the decoder unpacks it), and the GLSL decoders of src/blocks.
#include <cstring>
#include <vector>

#include "blocks/block_glsl.h"
#include "codec_host.h"
#include "stream/kel_frame_check.h"
#include "stream/kel_header.h"
#include "stream/lzf_unpack.h"

static_assert(sizeof(void*) != 8 || sizeof(qzkt_blocks_info) == 64, "qzkt.h gives 64 bytes on 64-bit Linux");

size_t qzkt_max_blocks_size(int width, int height) {
    if (!IsHostFrameSide(width) || !IsHostFrameSide(height)) return 0;
    return static_cast<size_t>(KELBlockCount(width, height)) * kDXT5BlockBytes;
}

qzkt_result qzkt_unpack_frame(const uint8_t* frame, size_t frame_size, int width, int height, uint8_t* blocks,
                              size_t capacity, qzkt_blocks_info* info) {
    if (info == nullptr) return QZKT_BAD_ARGUMENTS;
    std::memset(info, 0, sizeof *info);
    if ((frame == nullptr && frame_size != 0) || (blocks == nullptr && capacity != 0) ||
        !IsHostFrameSide(width) || !IsHostFrameSide(height))
        return QZKT_BAD_ARGUMENTS;
    // The whole check, LZF streams walked: an intact frame's payload yields exactly its blocks.
    if (CheckKELFrame(frame, frame_size, width, height) != KELFrameProblem::kNone) return QZKT_DAMAGED_FRAME;

    const KELHeader header = ReadKELHeader(frame);
    const bool dxt24 = header.blockKind == kKELBlockKindDXT24, alpha = header.alpha != 0;
    const size_t count = static_cast<size_t>(KELBlockCount(width, height));
    const size_t payloadSize = count * KELBytesPerBlock(dxt24, alpha); // as stored before packing
    info->kind = !dxt24 ? (alpha ? QZKT_BLOCKS_DXT5 : QZKT_BLOCKS_DXT1)
                        : (alpha ? QZKT_BLOCKS_DXT24_ALPHA_FLAG : QZKT_BLOCKS_DXT24);
    // The decoder reads DXT24 blocks 10 bytes apart whatever the alpha flag says.
    info->block_bytes = dxt24 ? kDXT24BlockBytes : KELBytesPerBlock(false, alpha);
    info->blocks_across = (width + 3) / 4;
    info->blocks_down = (height + 3) / 4;
    info->size = count * info->block_bytes;
    if (capacity < info->size) return QZKT_BUFFER_TOO_SMALL;

    const uint8_t* stored = frame + header.headerSize;
    if (header.packing != kKELPackingLZF) {
        std::memcpy(blocks, stored, info->size); // the check saw at least payloadSize stored bytes
        return QZKT_OK;
    }
    if (payloadSize == info->size) {
        LZFUnpack(stored, header.storedSize, blocks, info->size); // exactly payloadSize: checked
        return QZKT_OK;
    }
    // DXT24 with the alpha flag: the stream unpacks to 18 bytes a block, of which the first
    // 10 per block's worth are the blocks.
    std::vector<uint8_t> payload;
    try {
        payload.resize(payloadSize);
    } catch (const std::bad_alloc&) {
        std::memset(info, 0, sizeof *info);
        return QZKT_OUT_OF_MEMORY;
    }
    LZFUnpack(stored, header.storedSize, payload.data(), payload.size());
    std::memcpy(blocks, payload.data(), info->size);
    return QZKT_OK;
}

const char* qzkt_glsl_fragment_shader(qzkt_block_kind kind) {
    switch (kind) {
    case QZKT_BLOCKS_DXT1:
        return BlockFragmentShader(BlockKind::kDXT1);
    case QZKT_BLOCKS_DXT5:
        return BlockFragmentShader(BlockKind::kDXT5);
    case QZKT_BLOCKS_DXT24:
    case QZKT_BLOCKS_DXT24_ALPHA_FLAG:
        return BlockFragmentShader(BlockKind::kDXT24);
    }
    return nullptr;
}
