// The checks shared by the DXT24 and the OpenGL library suites.
#include "api_frame_checks.h"

#include <set>
#include <string>

namespace {

const uint8_t kGuard = 0xA5;

struct Case {
    int width, height;
    size_t rowBytes; // 0: tight
};

const Case kCases[] = {{1, 1, 0}, {5, 3, 0}, {13, 7, 13 * 4 + 12}, {64, 64, 0}, {257, 131, 257 * 4 + 6}};

// Decodes frame into a guarded buffer with wide rows; checks nothing outside the picture is
// written and returns the visible picture.
Bytes DecodeThroughApi(const Bytes& frame, int w, int h, qzkt_renderer renderer) {
    qzkt_decoder* decoder = nullptr;
    EXPECT_EQ(qzkt_decoder_create(w, h, renderer, &decoder), QZKT_OK);
    const size_t rowBytes = size_t(w) * 4 + 20;
    Bytes buffer(rowBytes * h + 32, kGuard);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), buffer.data(), rowBytes), QZKT_OK)
        << qzkt_decoder_problem(decoder);
    qzkt_decoder_destroy(decoder);
    EXPECT_EQ(TouchedOutside(buffer, rowBytes, w, h, kGuard), 0u);
    return Visible(buffer.data(), rowBytes, w, h);
}

} // namespace

void ExpectFormatBytesAndRoundTrip(const qzkt_settings& settings, int tolerance) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " rowBytes " << c.rowBytes);
        const Bytes picture = MakePicture(c.width, c.height, c.rowBytes, 3, settings.alpha != 0);
        const Bytes frame = EncodeThroughApi(picture, c.width, c.height, c.rowBytes, settings);
        EXPECT_EQ(frame, ReferenceFrame(picture, c.width, c.height, c.rowBytes, settings));
        const Bytes decoded = DecodeThroughApi(frame, c.width, c.height, QZKT_RENDERER_SOFTWARE);
        EXPECT_LE(LargestDifference(decoded, ExpectedPicture(frame, c.width, c.height)), tolerance);
    }
}

void ExpectDamagedFramesRefused(const qzkt_settings& settings) {
    const int w = 30, h = 17;
    const Bytes good = EncodeThroughApi(MakePicture(w, h, 0, 4, false), w, h, 0, settings);
    ASSERT_GT(good.size(), 40u);
    struct Damage {
        Bytes frame;
        const char* what;
    };
    std::vector<Damage> damaged;
    damaged.push_back({Bytes(good.begin(), good.begin() + 27), "27 bytes"});
    damaged.push_back({Bytes(good.begin(), good.end() - 1), "payload one byte short"});
    Bytes header = good;
    header[0] = 0xE8, header[1] = 0x03; // header size 1000
    damaged.push_back({header, "header size past the end"});
    Bytes plane = good;
    plane[20] = 1; // one second-plane byte after the payload, which the frame does not have
    damaged.push_back({plane, "second plane past the end"});
    Bytes planeSize = good;
    planeSize[8] = 33, planeSize[12] = 33; // 33 x 33 plane pixels for a 32 x 20 block grid
    damaged.push_back({planeSize, "second plane larger than the frame"});

    qzkt_decoder* decoder = nullptr;
    ASSERT_EQ(qzkt_decoder_create(w, h, QZKT_RENDERER_SOFTWARE, &decoder), QZKT_OK);
    const size_t rowBytes = w * 4 + 8;
    std::set<std::string> problems;
    for (const Damage& damage : damaged) {
        SCOPED_TRACE(damage.what);
        Bytes argb(rowBytes * h, kGuard);
        EXPECT_EQ(qzkt_decode(decoder, damage.frame.data(), damage.frame.size(), argb.data(), rowBytes),
                  QZKT_DAMAGED_FRAME);
        EXPECT_EQ(argb, Bytes(rowBytes * h, kGuard)) << "the destination was written";
        // The decoder names the problem the frame check finds, and inspection agrees.
        const std::string problem = qzkt_decoder_problem(decoder);
        qzkt_frame_info info;
        EXPECT_EQ(qzkt_inspect_frame(damage.frame.data(), damage.frame.size(), w, h, &info),
                  QZKT_DAMAGED_FRAME);
        EXPECT_EQ(info.problem, problem);
        EXPECT_EQ(info.intact, 0);
        EXPECT_NE(problem, "");
        EXPECT_NE(problem, "intact");
        problems.insert(problem);
    }
    EXPECT_EQ(problems.size(), damaged.size()) << "each damage has its own line";
    // Trailing bytes after a whole frame are not damage.
    Bytes longer = good;
    longer.resize(good.size() + 100, 0);
    Bytes argb(rowBytes * h, kGuard);
    EXPECT_EQ(qzkt_decode(decoder, longer.data(), longer.size(), argb.data(), rowBytes), QZKT_OK);
    qzkt_decoder_destroy(decoder);
}
