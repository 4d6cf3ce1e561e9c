// The unpackers against lzf_decompress on one fuzz input.
#include "lzf_input.h"

#include <lzf.h>

#include <vector>

#include "platform/little_endian.h"
#include "stream/lzf_unpack.h"

namespace {

const size_t kGuardBytes = 48;

// The output buffer (outSize bytes, zero or patterned) and guard bytes after it.
std::vector<uint8_t> Buffer(size_t outSize, bool zeroed) {
    std::vector<uint8_t> buffer(outSize + kGuardBytes);
    for (size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = zeroed && i < outSize ? 0 : static_cast<uint8_t>(0xA5 ^ i);
    return buffer;
}

} // namespace

std::string RunLZFInput(const uint8_t* data, size_t size) {
    if (size < 3) return "";
    const size_t outSize = ReadLE16(data);
    const uint8_t* stream = data + 2;
    const size_t streamSize = size - 2;
    for (const bool zeroed : {false, true}) {
        std::vector<uint8_t> reference = Buffer(outSize, zeroed), fast = Buffer(outSize, zeroed);
        const unsigned expected = lzf_decompress(stream, static_cast<unsigned>(streamSize), reference.data(),
                                                 static_cast<unsigned>(outSize));
        const size_t got = zeroed ? LZFUnpackIntoZeroed(stream, streamSize, fast.data(), outSize)
                                  : LZFUnpack(stream, streamSize, fast.data(), outSize);
        const char* which = zeroed ? "LZFUnpackIntoZeroed" : "LZFUnpack";
        if (got != expected)
            return std::string(which) + " gave " + std::to_string(got) + ", lzf_decompress " +
                   std::to_string(expected);
        if (fast != reference) return std::string(which) + " wrote other bytes than lzf_decompress";
    }
    return "";
}
