// The unpackers against lzf_decompress on one fuzz input.
#include "lzf_input.h"

#include <lzf.h>

#include <algorithm>
#include <vector>

#include "platform/little_endian.h"
#include "stream/lzf_pack.h"
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

std::string RunLZFPackInput(const uint8_t* data, size_t size) {
    if (size < 2) return "";
    const size_t outSize = ReadLE16(data);
    const uint8_t* bytes = data + 2;
    const size_t count = size - 2;
    std::vector<uint8_t> reference = Buffer(outSize, false), ours = Buffer(outSize, false);
    // lzf_compress reads one byte past a one-byte input (its first hash takes two): give it one.
    std::vector<uint8_t> input(bytes, bytes + count);
    input.push_back(0);
    const unsigned expected = lzf_compress(input.data(), static_cast<unsigned>(count), reference.data(),
                                           static_cast<unsigned>(outSize));
    const size_t got = LZFPack(input.data(), count, ours.data(), outSize);
    if (got != expected)
        return "LZFPack gave " + std::to_string(got) + ", lzf_compress " + std::to_string(expected) +
               " for " + std::to_string(count) + " bytes into " + std::to_string(outSize);
    if (!std::equal(ours.begin(), ours.begin() + static_cast<long>(got), reference.begin()))
        return "LZFPack wrote other bytes than lzf_compress";
    for (size_t i = outSize; i < ours.size(); ++i)
        if (ours[i] != static_cast<uint8_t>(0xA5 ^ i)) return "LZFPack wrote past the output buffer";
    return "";
}
