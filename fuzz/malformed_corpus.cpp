// The malformed-input cases, their expected outcomes and the reasons, as the manifest lists them.
//
// Frames (fuzz_frame inputs): "ok", "bad-data" (codecBadDataErr, destination untouched) or
// "no-renderer" (codecNoRendererErr). Movies: fuzz_movie's outcome, then the qzkt tool's exit
// status for `info` and `decode` ("skip": not decoded, as the picture alone would need
// gigabytes). Settings: the values a compressor reads from the input as its preferences file,
// and its answer and values after the input as a settings handle. Bitmaps: what LoadDIBitmap
// returned.
#include "malformed_corpus.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>
#include <vector>

#include "corpus_builders.h"
#include "frame_input.h"

namespace {

struct Case {
    std::string file; // <target>/<name>
    std::string size; // WxH of a frame or movie, "-" otherwise
    std::string expected;
    std::string why;
    Bytes bytes;
};

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

KELHeader Header(uint8_t blockKind, uint8_t alpha = 0, uint8_t packing = 0) {
    KELHeader header{};
    header.blockKind = blockKind;
    header.alpha = alpha;
    header.packing = packing;
    return header;
}

// 8x8 pictures have 4 blocks; 20x12 pictures 15.
Bytes DXT1Frame8x8() {
    return HandFrame(Header(0), BlockBytes(4 * 8));
}
Bytes DXT24Frame20x12() {
    return HandFrame(Header(1), BlockBytes(15 * 10));
}
Bytes DXT24PackedFrame20x12() {
    return HandFrame(Header(1, 0, kKELPackingLZF), Packed(BlockBytes(15 * 10, 30)));
}
Bytes WithPlane(KELHeader header, const Bytes& stored, uint32_t width, uint32_t height, const Bytes& plane,
                uint32_t planeStoredSize) {
    header.planeWidth = width;
    header.planeHeight = height;
    header.planeStoredSize = planeStoredSize;
    Bytes frame = HandFrame(header, stored);
    frame.insert(frame.end(), plane.begin(), plane.end());
    return frame;
}

void AddFrameCases(std::vector<Case>& cases) {
    auto add = [&cases](const std::string& name, int width, int height, const Bytes& frame,
                        const std::string& expected, const std::string& why) {
        cases.push_back(
            {"frame/" + name, SizeText(width, height), expected, why, FrameInput(width, height, 0, frame)});
    };
    const Bytes dxt1 = DXT1Frame8x8(), dxt24 = DXT24Frame20x12(), packed = DXT24PackedFrame20x12();

    // The second plane.
    add("negative_plane_dxt1", 8, 8, WithPlane(Header(0), BlockBytes(32), 0xEF000001, 59, {}, 0), "bad-data",
        "60-byte DXT1 frame, plane -285212671 x 59: the 32-bit plane size wraps to about 1.4 GB");
    add("negative_plane_dxt24", 8, 8, WithPlane(Header(1), BlockBytes(40), 0xEF000001, 59, {}, 0), "bad-data",
        "the same plane on a DXT24 frame, which never reads its plane");
    add("plane_negative_height", 8, 8, WithPlane(Header(0), BlockBytes(32), 2, 0xFFFFFFFF, {}, 0), "bad-data",
        "plane 2 x -1");
    add("plane_width_int_max", 8, 8, WithPlane(Header(0), BlockBytes(32), 0x7FFFFFFF, 1, {}, 0), "bad-data",
        "plane wider than the frame");
    KELHeader rgbPlane = Header(0);
    rgbPlane.planePixelSize = 1;
    add("plane_rgb_row_overflow", 8, 8, WithPlane(rgbPlane, BlockBytes(32), 0xA3820000, 0x6030000A, {}, 0),
        "bad-data", "RGB plane -1551761408 x 1613758474: 691 MB, and 3 x width overflows in the upload");
    add("plane_larger_than_frame", 8, 8, WithPlane(Header(0), BlockBytes(32), 9, 8, BlockBytes(288), 288),
        "bad-data", "a 9x8 plane on an 8x8 frame");
    add("plane_raw_short", 8, 8, WithPlane(Header(0), BlockBytes(32), 2, 2, BlockBytes(4), 4), "bad-data",
        "a raw 2x2 RGBA plane of 4 stored bytes instead of 16");
    add("plane_past_end", 8, 8, WithPlane(Header(0), BlockBytes(32), 2, 2, BlockBytes(16), 1000), "bad-data",
        "the plane's stored size reaches past the frame");
    add("plane_2x2_intact", 8, 8, WithPlane(Header(0), BlockBytes(32), 2, 2, BlockBytes(16), 16), "ok",
        "a raw 2x2 RGBA plane, one pixel a block: uploaded, never shown");

    // Renderer limits (Mesa's llvmpipe holds 16384 texels a side; DXT1 textures are a power of
    // two wide).
    add("dxt1_16400x8", 16400, 8,
        HandFrame(Header(0, 0, kKELPackingLZF), Packed(BlockBytes(4100 * 2 * 8, 64))), "no-renderer",
        "a DXT1 frame wider than the renderer's texture limit");
    add("dxt1_16384x8", 16384, 8,
        HandFrame(Header(0, 0, kKELPackingLZF), Packed(BlockBytes(4096 * 2 * 8, 64))), "ok",
        "a DXT1 frame exactly as wide as the texture limit");

    // Payloads that cannot unpack to the blocks' size.
    add("lzf_unpacks_short", 20, 12, HandFrame(Header(1, 0, kKELPackingLZF), Packed(BlockBytes(75, 25))),
        "bad-data", "LZF stream of 75 bytes for 150");
    add("lzf_unpacks_long", 20, 12, HandFrame(Header(1, 0, kKELPackingLZF), Packed(BlockBytes(200, 25))),
        "bad-data", "LZF stream of 200 bytes for 150");
    add("lzf_reference_before_start", 20, 12, HandFrame(Header(1, 0, kKELPackingLZF), {0x20, 0x00, 1, 2, 3}),
        "bad-data", "LZF stream that starts with a back reference");
    add("lzf_3_bytes_for_1024x1024", 1024, 1024, HandFrame(Header(1, 0, kKELPackingLZF), {0x01, 0xAA, 0xBB}),
        "bad-data", "3 stored bytes unpack to at most 264, not 655360");
    add("raw_short_dxt24", 20, 12, HandFrame(Header(1), BlockBytes(100)), "bad-data",
        "raw payload of 100 bytes for 150");
    add("raw_short_dxt1", 8, 8, HandFrame(Header(0), BlockBytes(31)), "bad-data",
        "raw payload of 31 bytes for 32");
    add("stored_size_0_raw", 20, 12, WithField(dxt24, kKELStoredSizeOffset, 0), "bad-data",
        "stored size 0, raw");
    add("stored_size_0_lzf", 20, 12, WithField(packed, kKELStoredSizeOffset, 0), "bad-data",
        "stored size 0, LZF");

    // Header fields at their extremes.
    add("header_size_0", 20, 12, WithField(dxt24, kKELHeaderSizeOffset, 0), "bad-data", "header size 0");
    add("header_size_27", 20, 12, WithField(dxt24, kKELHeaderSizeOffset, 27), "bad-data", "header size 27");
    add("header_size_ffffffff", 20, 12, WithField(dxt24, kKELHeaderSizeOffset, 0xFFFFFFFF), "bad-data",
        "header size 0xFFFFFFFF");
    KELHeader longHeader = Header(1);
    longHeader.headerSize = 32;
    Bytes fourMore = BlockBytes(4);
    const Bytes blocks = BlockBytes(150);
    fourMore.insert(fourMore.end(), blocks.begin(), blocks.end());
    longHeader.storedSize = 150;
    add("header_size_32_intact", 20, 12, HandFrame(longHeader, fourMore), "ok",
        "header size 32: the payload starts 4 bytes later");
    add("stored_size_ffffffff", 20, 12, WithField(packed, kKELStoredSizeOffset, 0xFFFFFFFF), "bad-data",
        "stored size 0xFFFFFFFF");
    add("block_kind_2", 8, 8, HandFrame(Header(2), BlockBytes(32)), "bad-data",
        "block kind 2, which no encoder writes (the GPU path would draw a stale texture)");
    add("block_kind_255_alpha", 8, 8, HandFrame(Header(255, 1), BlockBytes(64)), "bad-data",
        "block kind 255 with alpha");
    add("block_kind_69_with_plane", 8, 8, WithPlane(Header(69), BlockBytes(32), 2, 2, BlockBytes(16), 16),
        "bad-data",
        "block kind 69 with a 2x2 plane: decoded twice, black and then the plane (a fuzz finding)");
    add("dxt24_alpha_flag_short", 20, 12, WithField(dxt24, 4, 0x00000101), "bad-data",
        "alpha flag on a DXT24 frame of 10-byte blocks: 18-byte blocks need 270 bytes");
    add("dxt24_alpha_255_intact", 20, 12, HandFrame(Header(1, 255), BlockBytes(15 * 18)), "ok",
        "alpha flag 255 on a DXT24 frame of 18-byte blocks");
    add("dxt1_alpha_flag_short", 8, 8, HandFrame(Header(0, 1), BlockBytes(32)), "bad-data",
        "alpha flag on a DXT1 frame: DXT5 blocks need 64 bytes");
    add("packing_2_is_raw", 20, 12, WithField(dxt24, 4, 0x00020001), "ok", "packing byte 2 means raw");
    add("version_and_reserved_255", 20, 12, WithField(WithField(dxt24, 4, 0x000000FF), 24, 0xFF010000), "ok",
        "version 255 and reserved byte 255 are not read");

    // Cut and empty frames.
    add("empty", 20, 12, {}, "bad-data", "no bytes at all");
    add("cut_in_header", 20, 12, Bytes(dxt24.begin(), dxt24.begin() + 27), "bad-data", "27 bytes of a frame");
    add("cut_in_payload", 20, 12, Bytes(packed.begin(), packed.end() - 5), "bad-data",
        "an LZF frame without its last 5 bytes");
}

void AddMovieCases(std::vector<Case>& cases) {
    auto add = [&cases](const std::string& name, int width, int height, const std::vector<Bytes>& samples,
                        const std::string& expected, const std::string& why) {
        cases.push_back(
            {"movie/" + name, SizeText(width, height), expected, why, MovieBytes(width, height, samples)});
    };
    const Bytes good = DXT24PackedFrame20x12();
    add("huge_track_32767", 32767, 32767,
        {HandFrame(Header(1, 0, kKELPackingLZF), {0x01, 0xAA, 0xBB}), DXT1Frame8x8(),
         HandFrame(Header(0), {})},
        "frames=3 damaged=3 declined=- info=0 decode=skip",
        "an 847-byte movie whose track claims 32767x32767: no sample can hold its payload");
    add("track_32768x8", 32768, 8,
        {HandFrame(Header(1, 0, kKELPackingLZF), Packed(BlockBytes(8192 * 2 * 10, 30)))},
        "error info=1 decode=1", "a track wider than the codec's 32767 pixels");
    add("negative_plane", 8, 8,
        {HandFrame(Header(1), BlockBytes(40)), WithPlane(Header(0), BlockBytes(32), 0xEF000001, 59, {}, 0)},
        "frames=2 damaged=1 declined=1 info=0 decode=3",
        "a good frame, then the 60-byte negative-plane frame");
    add("cut_and_empty_samples", 20, 12, {good, Bytes(good.begin(), good.begin() + 40), good, {}},
        "frames=4 damaged=2 declined=2 info=0 decode=3",
        "a sample cut to 40 bytes, and an empty last sample");
    add("lzf_cannot_unpack", 20, 12, {good, HandFrame(Header(1, 0, kKELPackingLZF), {0x00})},
        "frames=2 damaged=1 declined=1 info=0 decode=3", "1 stored byte cannot unpack to 150");
    add("frames_of_another_size", 20, 12, {HandFrame(Header(1), BlockBytes(40))},
        "frames=1 damaged=1 declined=1 info=0 decode=3", "a raw 8x8 frame in a 20x12 track");
    add("dxt1_16400x8", 16400, 8,
        {HandFrame(Header(0, 0, kKELPackingLZF), Packed(BlockBytes(4100 * 2 * 8, 64)))},
        "error info=0 decode=1", "a DXT1 track wider than the renderer's texture limit");
    add("no_samples", 20, 12, {}, "error info=1 decode=1",
        "a track without samples, which the reader does not take for a QZKT track");

    const Bytes whole = MovieBytes(20, 12, {good, good, good});
    cases.push_back({"movie/cut_in_samples", "20x12", "error info=1 decode=1", "a movie cut before its index",
                     Bytes(whole.begin(), whole.begin() + 100)});
    cases.push_back(
        {"movie/not_a_movie", "-", "error info=1 decode=1", "400 bytes of text", Bytes(400, 'x')});
}

void AddSettingsCases(std::vector<Case>& cases) {
    auto add = [&cases](const std::string& name, const Bytes& bytes, const std::string& expected,
                        const std::string& why) {
        cases.push_back({"settings/" + name, "-", expected, why, bytes});
    };
    const std::string defaultsByHandle = " handle=-50:0,1,0,2";
    add("empty", {}, "file=0,1,0,2" + defaultsByHandle,
        "an empty file keeps the presets; thread 0 becomes 2");
    add("3_bytes", {1, 0, 0}, "file=0,1,0,2" + defaultsByHandle, "a partial value is not read");
    add("4_bytes", LE32s({1}), "file=1,1,0,2" + defaultsByHandle, "alpha only");
    add("8_bytes", LE32s({1, 0}), "file=1,0,0,2" + defaultsByHandle, "alpha and DXT24 only");
    add("12_bytes_handle", SettingsHandle({1, 0, 1, 9}), "file=0,0,0,2 handle=0:1,0,1,9",
        "a settings handle: as a file its words are not 1");
    add("12_bytes_handle_odd_values", SettingsHandle({255, 128, 2, -1}), "file=0,0,0,2 handle=0:255,128,2,-1",
        "a handle is taken as it is, odd values too");
    Bytes wrongTag = SettingsHandle({1, 0, 1, 9});
    wrongTag[3] = 'D';
    add("12_bytes_wrong_tag", wrongTag, "file=0,0,0,2 handle=0:0,1,0,2", "tag KELD: defaults, and noErr");
    Bytes longer = SettingsHandle({1, 0, 1, 9});
    longer.push_back(0);
    add("13_bytes_handle", longer, "file=0,0,0,2" + defaultsByHandle, "a handle one byte too long");
    Bytes cut = LE32s({1, 1, 1, 5});
    cut.pop_back();
    add("15_bytes", cut, "file=1,1,1,2" + defaultsByHandle, "the thread setting cut");
    add("16_bytes_all_set", LE32s({1, 0, 1, 9}), "file=1,0,1,9" + defaultsByHandle,
        "every value at its edge");
    add("16_bytes_not_exactly_1", LE32s({2, 1, 3, 0}), "file=0,1,0,2" + defaultsByHandle,
        "flags count only when exactly 1; thread 0 becomes 2");
    add("16_bytes_thread_10", LE32s({1, 7, 1, 10}), "file=1,0,1,2" + defaultsByHandle, "thread 10 becomes 2");
    add("16_bytes_all_ones", LE32s({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}),
        "file=0,0,0,2" + defaultsByHandle, "every bit set");
    add("20_bytes", LE32s({0, 0, 1, 4, 1}), "file=0,0,1,4" + defaultsByHandle, "a fifth value is ignored");
}

void AddBitmapCases(std::vector<Case>& cases) {
    auto add = [&cases](const std::string& name, const Bytes& bytes, const std::string& expected,
                        const std::string& why) {
        cases.push_back({"bmp/" + name, "-", expected, why, bytes});
    };
    const Bytes good = BitmapFile(3, 2, 24, 0, 0, 0, {}, BlockBytes(18));
    add("empty", {}, "none", "no bytes");
    add("type_only", {'B', 'M'}, "none", "the type and nothing else");
    add("wrong_type", WithField(good, 0, 0x00004D42 ^ 0x0F0F), "none", "not BM");
    add("no_info", Bytes(good.begin(), good.begin() + 16), "none", "a file header alone");
    add("info_39_bytes", WithField(good, 12, 16 + 39), "none",
        "an info block smaller than a BITMAPINFOHEADER");
    add("info_offset_ffffffff", WithField(good, 12, 0xFFFFFFFF), "none",
        "an info block of 4 GB in a 74-byte file");
    add("image_size_ffffffff", WithField(good, 16 + 20, 0xFFFFFFFF), "none",
        "4 GB of bits in a 74-byte file");
    Bytes overflow = WithField(WithField(good, 16 + 4, 0x7FFFFFFF), 16 + 8, 0x7FFFFFFF);
    overflow[16 + 14] = 0xFF, overflow[16 + 15] = 0xFF;
    add("image_size_overflow", overflow, "none", "2147483647 x 2147483647 pixels of 65535 bits");
    add("negative_width", WithField(good, 16 + 4, 0xFFFFFFFD), "none", "width -3");
    add("cut_in_bits", Bytes(good.begin(), good.end() - 1), "none", "the last byte of the bits missing");
    add("top_down", BitmapFile(3, -2, 24, 0, 0, 0, {}, BlockBytes(18)), "3x-2 24-bit",
        "height -2: rows top down");
    add("width_0", BitmapFile(0, 5, 24, 0, 0, 0, {}, {}), "0x5 24-bit", "no pixels at all");
}

} // namespace

void WriteMalformedCorpus(const std::string& folder) {
    std::vector<Case> cases;
    AddFrameCases(cases);
    AddMovieCases(cases);
    AddSettingsCases(cases);
    AddBitmapCases(cases);

    for (const char* target : {"frame", "movie", "settings", "bmp"})
        mkdir((folder + "/" + target).c_str(), 0755);
    size_t nameWidth = 0, sizeWidth = 0;
    for (const Case& c : cases) {
        WriteBytes(folder + "/" + c.file, c.bytes);
        nameWidth = std::max(nameWidth, c.file.size());
        sizeWidth = std::max(sizeWidth, c.size.size());
    }
    std::ofstream manifest(folder + "/manifest.txt");
    manifest
        << "# The malformed-input corpus: one case a line, after a comment saying what is wrong with it.\n"
           "# file, the frame's or movie's size (- for none), then the expected outcome (written by\n"
           "# fuzz_corpus malformed; fuzz/malformed_corpus.cpp explains the outcomes).\n";
    for (const Case& c : cases)
        manifest << "\n# " << c.why << "\n"
                 << c.file << std::string(nameWidth + 2 - c.file.size(), ' ') << c.size
                 << std::string(sizeWidth + 2 - c.size.size(), ' ') << c.expected << "\n";
    if (!manifest) throw std::runtime_error("cannot write the manifest");
}
