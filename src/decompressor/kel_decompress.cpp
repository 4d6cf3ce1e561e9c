// The frame reader: header decisions, working buffers, LZF or copy, and the CPU path.
#include "kel_decompress.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "blocks/block_coders.h"
#include "gl_frame_render.h"
#include "platform/little_endian.h"
#include "platform/mac_types.h"
#include "stream/kel_header.h"
#include "stream/lzf_unpack.h"

namespace {

const unsigned char kLZF = 1;

// The main block buffer, kept per thread from one frame to the next and cleared before each.
// A host decodes frame after frame of one size on a thread; a fresh 1.3 MB block per 1080p
// frame was a fresh mapping each time (glibc returns blocks that large to the kernel), so the
// kernel faulted in and cleared its pages on every frame: a quarter of the decoding threads'
// time in qzkt decode. Clearing a block already in place costs a tenth of that. The block
// grows to the largest frame seen on the thread and is freed when the thread ends.
class BlockBuffer {
  public:
    ~BlockBuffer() { std::free(bytes_); }

    // `size` zeroed bytes, or null when they cannot be allocated.
    unsigned char* Zeroed(size_t size) {
        if (size > capacity_) {
            std::free(bytes_);
            capacity_ = 0;
            bytes_ = static_cast<unsigned char*>(std::malloc(size));
            if (bytes_ == nullptr) return nullptr;
            capacity_ = size;
        }
        std::memset(bytes_, 0, size);
        return bytes_;
    }

  private:
    unsigned char* bytes_ = nullptr;
    size_t capacity_ = 0;
};

thread_local BlockBuffer t_blockBuffer;

// Unpacks (LZF) or copies one stored part into a buffer of `capacity` bytes. A failed or short
// unpack is not detected: the rest of the zeroed buffer stays zero. A stored size that is
// negative as a signed field copies nothing.
void UnpackPart(unsigned char packing, const unsigned char* source, int32_t storedSize, unsigned char* buffer,
                int32_t capacity) {
    if (packing == kLZF) {
        // Writes what lzf_decompress writes into the zeroed buffer, three times as fast. A
        // negative stored size is taken as the huge unsigned one lzf_decompress was given.
        LZFUnpackIntoZeroed(source, static_cast<unsigned int>(storedSize), buffer,
                            static_cast<unsigned int>(capacity));
        return;
    }
    const int32_t count = std::min(storedSize, capacity);
    if (count > 0) std::memcpy(buffer, source, static_cast<size_t>(count));
}

// The signed 32-bit product of the plane's fields, computed without overflow and wrapped to
// 32 bits as the field arithmetic defines it.
int32_t PlaneSize(int32_t width, int32_t height, bool rgb) {
    const uint64_t product = static_cast<uint64_t>(static_cast<int64_t>(width)) *
                             static_cast<uint64_t>(static_cast<int64_t>(height)) * (rgb ? 3u : 4u);
    return static_cast<int32_t>(static_cast<uint32_t>(product));
}

} // namespace

int KEL_DecompressImageData(GLDecompressorResources* resources, int width, int height,
                            const unsigned char* frame, void* destination, int rowBytes) {
    // Whole 4x4 blocks: sizes rounded up in signed arithmetic, block counts by shifts.
    const int blockWidth = (width + 3) / 4 * 4;
    const int blockHeight = (height + 3) / 4 * 4;
    const int32_t blocks = (blockWidth >> 2) * (blockHeight >> 2);

    const unsigned char alpha = frame[kKELAlphaOffset];
    const unsigned char blockKind = frame[kKELBlockKindOffset];
    const uint32_t bytesPerBlock = KELBytesPerBlock(blockKind == kKELBlockKindDXT24, alpha != 0);
    const int32_t mainSize = blocks * static_cast<int32_t>(bytesPerBlock);

    const int32_t planeWidth = static_cast<int32_t>(ReadLE32(frame + kKELPlaneWidthOffset));
    const int32_t planeHeight = static_cast<int32_t>(ReadLE32(frame + kKELPlaneHeightOffset));
    const bool planeIsRGB = frame[kKELPlanePixelSizeOffset] != 0;
    const int32_t planeSize = PlaneSize(planeWidth, planeHeight, planeIsRGB);

    // Block kinds other than 0 and 1 go to the GPU as integer blocks of 10 bytes, more than
    // their 8-byte blocks hold; the buffer is made large enough for what the upload reads.
    int32_t capacity = mainSize;
    if (blockKind > kKELBlockKindDXT24 && alpha == 0)
        capacity = blocks * static_cast<int32_t>(kDXT24BlockBytes);

    unsigned char* blocksBuffer = t_blockBuffer.Zeroed(static_cast<size_t>(std::max(capacity, 1)));
    if (blocksBuffer == nullptr) return memFullErr;
    unsigned char* planeBuffer = nullptr;
    if (planeSize > 0) {
        planeBuffer = static_cast<unsigned char*>(std::calloc(static_cast<size_t>(planeSize), 1));
        if (planeBuffer == nullptr) return memFullErr; // the block buffer is kept, as on every path
    }

    const uint32_t headerSize = ReadLE32(frame + kKELHeaderSizeOffset);
    const int32_t storedSize = static_cast<int32_t>(ReadLE32(frame + kKELStoredSizeOffset));
    const unsigned char* payload = frame + headerSize;
    UnpackPart(frame[kKELPackingOffset], payload, storedSize, blocksBuffer, mainSize);

    if (blockKind == kKELBlockKindDXT24) {
        // CPU path: the alpha flag is not passed on; DXT24 frames with alpha are read with the
        // decoder's own 10-byte block stride. The plane is not unpacked and GL is not touched.
        CodersFor(BlockKind::kDXT24)
            .decode(blocksBuffer, static_cast<unsigned char*>(destination), width, height, rowBytes);
    } else {
        if (planeBuffer != nullptr) {
            const int32_t planeStored = static_cast<int32_t>(ReadLE32(frame + kKELPlaneStoredSizeOffset));
            UnpackPart(frame[kKELPlanePackingOffset], payload + static_cast<uint32_t>(storedSize),
                       planeStored, planeBuffer, planeSize);
        }
        const UnpackedFrame unpacked = {width,        height,      blockWidth, blockHeight, blockKind, alpha,
                                        blocksBuffer, planeBuffer, planeWidth, planeHeight, planeIsRGB};
        RenderFrameWithGL(resources, unpacked, destination, rowBytes);
    }

    std::free(planeBuffer);
    return 0;
}
