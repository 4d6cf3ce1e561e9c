// Sample inspection through the library's frame check.
#include "codec/frame_check.h"

#include <qzkt/qzkt.h>

#include "media/qzkt_movie.h"

FrameLayout CheckFrame(const uint8_t* data, size_t size, int width, int height) {
    FrameLayout layout;
    qzkt_frame_info info{};
    const qzkt_result checked = qzkt_inspect_frame(data, size, width, height, &info);
    layout.intact = checked == QZKT_OK;
    layout.problem = info.problem != nullptr ? info.problem : "";
    if (!info.has_header) {
        // Shorter than a header: say how short.
        if (checked == QZKT_DAMAGED_FRAME)
            layout.problem = std::to_string(size) + " bytes, " + layout.problem;
        return layout;
    }
    layout.header.headerSize = info.header_size;
    layout.header.version = info.version;
    layout.header.alpha = info.alpha;
    layout.header.packing = info.packing;
    layout.header.storedSize = info.stored_size;
    layout.header.blockColourPlane = info.block_colour_plane;
    layout.header.blockKind = info.block_kind_byte;
    layout.payloadSize = static_cast<uint32_t>(info.payload_size);
    return layout;
}

bool NeedsRenderer(const uint8_t* data, size_t size, int width, int height) {
    // The header alone decides, and the decoder checks the whole frame anyway: inspecting only
    // the header's bytes reads its fields without walking the payload (asked of every frame
    // of a DXT24 movie).
    const size_t kHeaderBytes = 28;
    qzkt_frame_info info{};
    qzkt_inspect_frame(data, size < kHeaderBytes ? size : kHeaderBytes, width, height, &info);
    return info.has_header && (info.kind == QZKT_BLOCKS_DXT1 || info.kind == QZKT_BLOCKS_DXT5);
}

bool EveryFrameOpaque(const QZKTMovieReader& movie) {
    constexpr size_t kHeaderBytes = 28;
    return movie.VisitSampleHeads(kHeaderBytes, [&](const uint8_t* header) {
        // Only the header is at hand: the frame is "damaged" to the check, but its kind is read.
        qzkt_frame_info info{};
        qzkt_inspect_frame(header, kHeaderBytes, movie.width(), movie.height(), &info);
        return info.has_header &&
               (info.kind == QZKT_BLOCKS_DXT24 || info.kind == QZKT_BLOCKS_DXT24_ALPHA_FLAG);
    });
}
