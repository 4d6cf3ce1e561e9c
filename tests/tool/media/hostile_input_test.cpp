// Movies made to hurt the decoder, and a machine that cannot give the codec what it needs:
// huge claimed sizes cost no frame-sized memory, inconsistent frames count as damaged,
// frames the GPU path cannot hold are reported, and a machine without room for the encoder's
// semaphores stops only encoding, saying why.
#include <cstdlib>
#include <fstream>
#include <string>

#include "gl/gl_context.h"
#include "platform/little_endian.h"
#include "stream/kel_header.h"
#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

namespace {

// The address-space cap the huge-movie decode runs under, and the resident memory it may
// reach (the sanitizer build's runtime alone takes tens of MB; one 32767 x 32767 picture
// would take 4 GiB).
const long kAddressSpaceCap = 1L << 30;
const long kPeakRssCapKiB = 300 * 1024;

bool SanitizerBuild() {
#if defined(__SANITIZE_ADDRESS__)
    return true;
#else
    return false;
#endif
}

} // namespace

TEST_F(ToolTest, HugeClaimedSizeCostsNoFrameSizedMemory) {
    // A 1.5 KB movie whose track claims 32767 x 32767: a valid LZF stream that unpacks to
    // 132 KB of the 671 MB the blocks need, the same bytes stored raw, and the stream again.
    Bytes stream = {0x00, 0x00};
    for (int i = 0; i < 500; ++i)
        stream.insert(stream.end(), {0xE0, 0xFF, 0x00});
    KELHeader lzf{}, raw{};
    lzf.blockKind = raw.blockKind = 1;
    lzf.packing = kKELPackingLZF;
    WriteMovie(Path("huge.mov"), kKELMaxSide, kKELMaxSide,
               {HandFrame(lzf, stream), HandFrame(raw, stream), HandFrame(lzf, stream)});
    ASSERT_LT(ReadFile(Path("huge.mov")).size(), 6000u);
    const std::vector<std::string> inputs = FolderListing();

    // Outside the sanitizer build (whose shadow memory needs terabytes of address space) the
    // decode also runs with its address space capped at 1 GiB.
    std::vector<std::string> args = {"qzkt", "decode", "huge.mov", "huge.mkv"};
    if (!SanitizerBuild())
        args = {"prlimit", "--as=" + std::to_string(kAddressSpaceCap), QZKT_TOOL, "decode", "huge.mov",
                "huge.mkv"};
    for (const char* output : {"huge.mkv", "huge_%03d.png", "-"}) {
        args.back() = output;
        const RunResult r = Run(args, "", "stdout.argb");
        EXPECT_EQ(r.status, 3) << output << ": " << r.err;
        EXPECT_EQ(r.err,
                  "qzkt decode: all 3 frames of huge.mov are damaged (the first: packed payload does not "
                  "unpack to the frame's blocks); nothing was written\n");
        EXPECT_LT(r.peakRssKiB, kPeakRssCapKiB) << output;
        EXPECT_TRUE(ReadFile(Path("stdout.argb")).empty());
        unlink(Path("stdout.argb").c_str());
        EXPECT_EQ(FolderListing(), inputs) << output;
    }

    // info calls every frame damaged, with the reason.
    const RunResult info = Run({"qzkt", "info", "huge.mov"}, "", "info.txt");
    EXPECT_EQ(info.status, 0) << info.err;
    const Bytes listing = ReadFile(Path("info.txt"));
    const std::string text(listing.begin(), listing.end());
    EXPECT_NE(text.find("QZKT video 32767x32767, 3 frames"), std::string::npos) << text;
    EXPECT_NE(text.find("damaged packed payload does not unpack to the frame's blocks"), std::string::npos);
    EXPECT_NE(text.find("damaged payload is shorter than the frame's blocks"), std::string::npos) << text;
    EXPECT_EQ(text.find("DXT24 "), std::string::npos) << text;

    // One size limit everywhere: a track one pixel wider is refused as unusable.
    WriteMovie(Path("wider.mov"), kKELMaxSide + 1, 8, {HandFrame(raw, Bytes(8))});
    const RunResult wider = Run({"qzkt", "decode", "wider.mov", "wider.mkv"});
    EXPECT_EQ(wider.status, 1);
    EXPECT_EQ(wider.err, "qzkt decode: wider.mov has a QZKT track of unusable size 32768x8\n");
}

TEST_F(ToolTest, NegativePlaneFramesAreDamagedAndReplaced) {
    // An 8 x 8 movie: an intact DXT24 frame; the audit's 60-byte DXT1 frame with a second plane
    // of -285212671 x 59 pixels, and a DXT24 frame with that plane; another intact frame.
    const int w = 8, h = 8;
    const Bytes blocksA = ReferenceBlocks(BlockKind::kDXT24, ClipFrame(w, h, 0), w, h);
    const Bytes blocksB = ReferenceBlocks(BlockKind::kDXT24, ClipFrame(w, h, 3), w, h);
    KELHeader dxt24{}, dxt1{}, plane24{};
    dxt24.blockKind = plane24.blockKind = 1;
    plane24.planeWidth = dxt1.planeWidth = static_cast<uint32_t>(-285212671);
    plane24.planeHeight = dxt1.planeHeight = 59;
    const Bytes dxt1Frame = HandFrame(dxt1, ReferenceBlocks(BlockKind::kDXT1, ClipFrame(w, h, 1), w, h));
    ASSERT_EQ(dxt1Frame.size(), 60u);
    WriteMovie(
        Path("plane.mov"), w, h,
        {HandFrame(dxt24, blocksA), dxt1Frame, HandFrame(plane24, blocksB), HandFrame(dxt24, blocksB)});

    const RunResult r = Run({"qzkt", "decode", "--gl", "software", "plane.mov", "plane.argb"});
    EXPECT_EQ(r.status, 3);
    EXPECT_EQ(r.err, "qzkt decode: 2 of 4 frames were damaged and replaced by the previous good frame\n");
    EXPECT_LT(r.peakRssKiB, kPeakRssCapKiB);
    const Bytes a = DecodeBlocks(BlockKind::kDXT24, blocksA, w, h),
                b = DecodeBlocks(BlockKind::kDXT24, blocksB, w, h);
    Bytes expected = a;
    for (const Bytes* picture : {&a, &a, &b})
        expected.insert(expected.end(), picture->begin(), picture->end());
    EXPECT_TRUE(ReadFile(Path("plane.argb")) == expected);
}

TEST_F(ToolTest, FrameLargerThanTheRendererTakesIsReported) {
    GLContext::SetAllowSoftwareRenderer(true);
    GLContext context;
    if (!context.InitContext()) GTEST_SKIP() << "no OpenGL renderer at all";
    const int limit = context.maxTextureSize;
    const std::string renderer = context.extensions.rendererName;
    context.DeleteContext();
    if (limit + 16 > kKELMaxSide) GTEST_SKIP() << "the renderer takes every frame size";

    // A legitimate DXT1 movie one block wider than the renderer's textures: its blocks need a
    // texture twice the limit wide. It is not decoded, and not turned into black frames.
    const int w = limit + 16, h = 8;
    const Bytes frame = ClipFrame(w, h, 0);
    WriteFile(Path("wide.argb"), frame);
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--dxt1", "--raw", std::to_string(w) + "x8", "wide.argb",
                   "wide.mov"})
                  .status,
              0);
    const std::vector<std::string> inputs = FolderListing();
    for (const char* output : {"wide.mkv", "decoded.argb"}) {
        const RunResult r = Run({"qzkt", "decode", "--gl", "software", "wide.mov", output});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "qzkt decode: cannot decode the DXT1/DXT5 frames: the frame needs a " +
                             std::to_string(2 * limit) + "x8 texture (" + std::to_string(w) +
                             "x8 rounded up to powers of two); the OpenGL renderer (" + renderer +
                             ") allows at most " + std::to_string(limit) + " a side\n");
        EXPECT_EQ(FolderListing(), inputs) << output;
    }
}

TEST_F(ToolTest, WithoutDevShmOnlyEncodingStopsAndSaysWhy) {
    // /dev/shm full or read-only, made deterministic: every sem_open fails. Commands that never
    // open the compressor do not notice; an encode stops before it writes anything, with the
    // system's reason.
    WriteCutMovies(); // clip.mov, and clip.argb its source frames
    ASSERT_EQ(Run({"qzkt", "decode", "clip.mov", "reference.argb"}).status, 0);
    const char* previous = std::getenv("ASAN_OPTIONS");
    const std::string asan = std::string(previous != nullptr ? previous : "") + ":verify_asan_link_order=0";
    setenv("ASAN_OPTIONS", asan.c_str(), 1); // the shim is preloaded ahead of the sanitizer runtime
    setenv("LD_PRELOAD", SEM_OPEN_FAILS_LIBRARY, 1);
    std::vector<RunResult> fine, encodes;
    for (const char* error : {"28", "30"}) { // ENOSPC, EROFS
        setenv("SEM_OPEN_FAILS_WITH", error, 1);
        fine.push_back(Run({"qzkt", "--version"}, "", "version.txt"));
        fine.push_back(Run({"qzkt", "info", "clip.mov"}, "", "info.txt"));
        fine.push_back(Run({"qzkt", "decode", "-y", "clip.mov", "decoded.argb"}));
        encodes.push_back(Run({"qzkt", "encode", prefsArg_, "--raw", "20x12", "clip.argb", "again.mov"}));
    }
    unsetenv("LD_PRELOAD");
    unsetenv("SEM_OPEN_FAILS_WITH");
    previous != nullptr ? setenv("ASAN_OPTIONS", previous, 1) : unsetenv("ASAN_OPTIONS");

    for (const RunResult& r : fine) {
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
    }
    EXPECT_EQ(ReadFile(Path("decoded.argb")), ReadFile(Path("reference.argb")));
    const char* reasons[] = {"No space left on device", "Read-only file system"};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(encodes[i].status, 1);
        EXPECT_EQ(encodes[i].err, std::string("qzkt encode: cannot open the QZKT compressor: cannot create "
                                              "the DXT24 encoder's named semaphores in /dev/shm: ") +
                                      reasons[i] + "\n");
    }
    EXPECT_FALSE(std::ifstream(Path("again.mov")).good());
}

TEST_F(ToolTest, SemaphoreNamesTakenByAnotherProcessAreSkipped) {
    // A process with the same id in another PID namespace that shares /dev/shm takes
    // "kelstart_<pid>_<n>" names too. Three names found taken at the open: the encoder moves
    // on to the next numbers, and the movie is the same.
    WriteCutMovies(); // clip.mov, and clip.argb its source frames
    const std::vector<std::string> encode = {"qzkt", "encode", prefsArg_, "--threads", "4", "--raw", "20x12"};
    auto with = [&](std::vector<std::string> args, const std::string& input, const std::string& output) {
        args.push_back(input);
        args.push_back(output);
        return args;
    };
    ASSERT_EQ(Run(with(encode, "clip.argb", "plain.mov")).status, 0);
    const char* previous = std::getenv("ASAN_OPTIONS");
    const std::string asan = std::string(previous != nullptr ? previous : "") + ":verify_asan_link_order=0";
    setenv("ASAN_OPTIONS", asan.c_str(), 1);
    setenv("LD_PRELOAD", SEM_OPEN_FAILS_LIBRARY, 1);
    setenv("SEM_OPEN_FAILS_WITH", "17", 1); // EEXIST
    setenv("SEM_OPEN_FAILS_PREFIX", "kelstart_", 1);
    setenv("SEM_OPEN_FAILS_TIMES", "3", 1);
    const RunResult taken = Run(with(encode, "clip.argb", "taken.mov"));
    for (const char* name :
         {"LD_PRELOAD", "SEM_OPEN_FAILS_WITH", "SEM_OPEN_FAILS_PREFIX", "SEM_OPEN_FAILS_TIMES"})
        unsetenv(name);
    previous != nullptr ? setenv("ASAN_OPTIONS", previous, 1) : unsetenv("ASAN_OPTIONS");

    EXPECT_EQ(taken.status, 0);
    EXPECT_EQ(taken.err, "");
    EXPECT_EQ(ReadFile(Path("taken.mov")), ReadFile(Path("plain.mov")));
}

TEST_F(ToolTest, EncodersInPidNamespacesSharingDevShmAllSucceed) {
    // Each `unshare --pid --fork` runs the tool as pid 1 of a namespace of its own, so twelve
    // at once all make "kelstart_1_<n>" in the one /dev/shm: the names collide, as they do for
    // containers that share it.
    if (Run({"unshare", "--pid", "--fork", "true"}).status != 0) GTEST_SKIP() << "no PID namespaces here";
    WriteCutMovies(); // clip.argb: six 20x12 frames
    const std::vector<std::string> encode = {"qzkt", "encode", prefsArg_, "--threads",
                                             "4",    "--raw",  "20x12",   "clip.argb"};
    std::vector<std::string> plain = encode;
    plain.push_back("plain.mov");
    ASSERT_EQ(Run(plain).status, 0);
    for (int round = 0; round < 3; ++round) {
        std::vector<pid_t> pids;
        for (int i = 0; i < 12; ++i) {
            std::vector<std::string> args = {"unshare", "--pid", "--fork", QZKT_TOOL, "encode", "-y"};
            args.insert(args.end(), encode.begin() + 2, encode.end());
            args.push_back("ns" + std::to_string(i) + ".mov");
            pids.push_back(Spawn(args));
        }
        for (int i = 0; i < 12; ++i) {
            const RunResult r = Wait(pids[i]);
            EXPECT_EQ(r.status, 0) << "round " << round << ", encoder " << i << ": " << r.err;
            EXPECT_EQ(ReadFile(Path("ns" + std::to_string(i) + ".mov")), ReadFile(Path("plain.mov")));
        }
    }
}

TEST_F(ToolTest, RawFramesAboveTwoToTheTwentyEightPixelsAreAUsageError) {
    // Each side may reach 32767, but a raw frame has at most 2^28 pixels (1 GiB): said before
    // anything is read, as the help says.
    const RunResult r = Run({"qzkt", "encode", prefsArg_, "--raw", "16385x16385", "-", "x.mov"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err,
              "qzkt encode: --raw 16385x16385 is more than 2^28 pixels (268435456), the most a raw frame "
              "may have (see qzkt encode --help)\n");
    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "--raw", "16384x16384", "/dev/null", "x.mov"}).status, 1)
        << "2^28 pixels exactly is a size, and an empty input then has no frames";
}
