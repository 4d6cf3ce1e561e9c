// The library suites' helpers.
#include "api_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <ftw.h>
#include <iterator>
#include <lzf.h>
#include <stb/stb_dxt.h>
#include <sys/stat.h>
#include <unistd.h>

#include "blocks/dxt24_image.h"
#include "stream/kel_header.h"

Bytes MakePicture(int width, int height, size_t rowBytes, int frame, bool alpha) {
    if (rowBytes == 0) rowBytes = static_cast<size_t>(width) * 4;
    Bytes picture(rowBytes * height, 0xEE);
    EXPECT_EQ(qzkt_test_picture(picture.data(), width, height, rowBytes, frame, alpha), QZKT_OK);
    return picture;
}

Bytes EncodeThroughApi(const Bytes& picture, int width, int height, size_t rowBytes,
                       const qzkt_settings& settings) {
    qzkt_encoder* encoder = nullptr;
    EXPECT_EQ(qzkt_encoder_create(width, height, &settings, &encoder), QZKT_OK);
    if (encoder == nullptr) return {};
    Bytes frame(qzkt_max_frame_size(width, height, &settings));
    size_t size = 0;
    EXPECT_EQ(qzkt_encode(encoder, picture.data(), rowBytes, frame.data(), frame.size(), &size), QZKT_OK);
    qzkt_encoder_destroy(encoder);
    frame.resize(size);
    return frame;
}

namespace {

// stb_dxt blocks of the picture, each gathered as R, G, B, A with the last real row and
// column repeated past the edges.
Bytes ReferenceS3TC(const Bytes& picture, int width, int height, size_t rowBytes, bool alpha) {
    Bytes out;
    uint8_t block[64], coded[16];
    for (int by = 0; by < (height + 3) / 4; ++by)
        for (int bx = 0; bx < (width + 3) / 4; ++bx) {
            for (int i = 0; i < 16; ++i) {
                const int x = std::min(bx * 4 + i % 4, width - 1), y = std::min(by * 4 + i / 4, height - 1);
                const uint8_t* pixel = &picture[y * rowBytes + x * 4];
                for (int k = 0; k < 4; ++k)
                    block[i * 4 + k] = pixel[(k + 1) % 4];
            }
            stb_compress_dxt_block(coded, block, alpha, STB_DXT_HIGHQUAL);
            out.insert(out.end(), coded, coded + (alpha ? 16 : 8));
        }
    return out;
}

} // namespace

Bytes ReferenceFrame(const Bytes& picture, int width, int height, size_t rowBytes,
                     const qzkt_settings& settings) {
    if (rowBytes == 0) rowBytes = static_cast<size_t>(width) * 4;
    const bool dxt24 = settings.dxt24 && !settings.alpha;
    Bytes payload;
    if (dxt24) {
        payload.resize(static_cast<size_t>(KELBlockCount(width, height)) * 10);
        Bytes source = picture; // the walker takes a non-const pointer
        _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(payload.data()), source.data(), width,
                                height, static_cast<int>(rowBytes), false);
    } else {
        payload = ReferenceS3TC(picture, width, height, rowBytes, settings.alpha != 0);
    }
    Bytes packed(payload.size());
    unsigned packedSize = 0;
    if (!settings.no_lzf)
        packedSize = lzf_compress(payload.data(), static_cast<unsigned>(payload.size()), packed.data(),
                                  static_cast<unsigned>(payload.size()));
    const Bytes& stored = packedSize != 0 ? packed : payload;
    const size_t storedSize = packedSize != 0 ? packedSize : payload.size();

    Bytes frame(28 + storedSize, 0);
    frame[0] = 28;
    frame[4] = 1;
    frame[5] = static_cast<uint8_t>(settings.alpha);
    frame[6] = packedSize != 0 ? 1 : 0;
    for (int i = 0; i < 4; ++i)
        frame[16 + i] = static_cast<uint8_t>(storedSize >> (8 * i));
    frame[25] = static_cast<uint8_t>(settings.dxt24 ^ 1);
    frame[26] = dxt24 ? 1 : 0;
    std::copy(stored.begin(), stored.begin() + static_cast<long>(storedSize), frame.begin() + 28);
    return frame;
}

qzkt_settings Settings(int alpha, int dxt24, int noLZF, int threadSetting) {
    return {alpha, dxt24, noLZF, threadSetting};
}

TemporaryFolder::TemporaryFolder() {
    char pattern[] = "/tmp/qzkt-api-XXXXXX";
    if (mkdtemp(pattern) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    // Depth first, so that folders are empty when they are removed; permissions a test took
    // away are given back first.
    chmod(path_.c_str(), 0700);
    nftw(
        path_.c_str(),
        [](const char* path, const struct stat*, int type, struct FTW*) {
            if (type == FTW_DNR) chmod(path, 0700);
            return remove(path);
        },
        16, FTW_DEPTH | FTW_PHYS);
}

ScopedEnvironment::ScopedEnvironment(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    if (value != nullptr)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

ScopedEnvironment::~ScopedEnvironment() {
    if (hadOld_)
        setenv(name_.c_str(), old_.c_str(), 1);
    else
        unsetenv(name_.c_str());
}

Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}
