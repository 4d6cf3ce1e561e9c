// Frame inspection: the header as the decoder reads it and the bounds check every reader makes.
#include <cstring>

#include "codec_host.h"
#include "stream/kel_frame_check.h"
#include "stream/kel_header.h"

static_assert(sizeof(void*) != 8 || sizeof(qzkt_frame_info) == 88, "qzkt.h gives 88 bytes on 64-bit Linux");
static_assert(sizeof(qzkt_settings) == 16, "qzkt.h gives 16 bytes");

namespace {

qzkt_block_kind KindOf(const KELHeader& header) {
    if (header.blockKind == kKELBlockKindDXT24)
        return header.alpha != 0 ? QZKT_BLOCKS_DXT24_ALPHA_FLAG : QZKT_BLOCKS_DXT24;
    return header.alpha != 0 ? QZKT_BLOCKS_DXT5 : QZKT_BLOCKS_DXT1;
}

} // namespace

qzkt_result qzkt_inspect_frame(const uint8_t* frame, size_t frame_size, int width, int height,
                               qzkt_frame_info* info) {
    if (info == nullptr) return QZKT_BAD_ARGUMENTS;
    std::memset(info, 0, sizeof *info);
    if ((frame == nullptr && frame_size != 0) || !IsHostFrameSide(width) || !IsHostFrameSide(height)) {
        info->problem = "bad arguments";
        return QZKT_BAD_ARGUMENTS;
    }
    const KELFrameProblem problem = CheckKELFrame(frame, frame_size, width, height);
    info->intact = problem == KELFrameProblem::kNone;
    info->problem = KELFrameProblemText(problem);
    if (problem != KELFrameProblem::kShorterThanHeader) {
        const KELHeader h = ReadKELHeader(frame);
        info->has_header = 1;
        info->header_size = h.headerSize;
        info->plane_width = h.planeWidth;
        info->plane_height = h.planeHeight;
        info->stored_size = h.storedSize;
        info->plane_stored_size = h.planeStoredSize;
        info->version = h.version;
        info->alpha = h.alpha;
        info->packing = h.packing;
        info->plane_packing = h.planePacking;
        info->plane_pixel_size = h.planePixelSize;
        info->block_colour_plane = h.blockColourPlane;
        info->block_kind_byte = h.blockKind;
        info->reserved_byte = h.reserved;
        info->kind = KindOf(h);
        info->payload_size = static_cast<size_t>(KELBlockCount(width, height)) *
                             KELBytesPerBlock(h.blockKind == kKELBlockKindDXT24, h.alpha != 0);
    }
    return info->intact ? QZKT_OK : QZKT_DAMAGED_FRAME;
}
