// Times that do not increase, repaired as ffmpeg repairs them instead of failing the run: an
// audio packet whose time goes backwards in an input (encode), and frames whose presentation
// times go back and forth in a movie (decode to a video).
#include <cstdint>
#include <string>
#include <vector>

#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

// Decodes the 33-bit time of a PES header's 5 time bytes, and writes one back.
int64_t ReadPesTime(const uint8_t* b) {
    return int64_t((b[0] >> 1) & 7) << 30 | int64_t(b[1]) << 22 | int64_t(b[2] >> 1) << 15 |
           int64_t(b[3]) << 7 | int64_t(b[4] >> 1);
}
void WritePesTime(uint8_t* b, int64_t time) {
    b[0] = static_cast<uint8_t>((b[0] & 0xF0) | ((time >> 30) & 7) << 1 | 1);
    b[1] = static_cast<uint8_t>(time >> 22);
    b[2] = static_cast<uint8_t>(((time >> 15) & 0x7F) << 1 | 1);
    b[3] = static_cast<uint8_t>(time >> 7);
    b[4] = static_cast<uint8_t>((time & 0x7F) << 1 | 1);
}

// Moves the time of the n-th audio PES packet (stream id 0xC0) of an MPEG-TS file back by
// `back` 90 kHz ticks: what a damaged or badly cut recording holds.
Bytes MoveAudioTimeBack(Bytes ts, int n, int64_t back) {
    int seen = 0;
    for (size_t at = 0; at + 188 <= ts.size(); at += 188) {
        uint8_t* packet = &ts[at];
        if ((packet[1] & 0x40) == 0) continue; // no PES starts here
        size_t pes = 4;
        if (packet[3] & 0x20) pes += 1 + packet[4]; // adaptation field
        if (pes + 19 > 188 || packet[pes] != 0 || packet[pes + 1] != 0 || packet[pes + 2] != 1 ||
            packet[pes + 3] != 0xC0 || ++seen != n)
            continue;
        const int flags = packet[pes + 7];
        const int64_t time = ReadPesTime(packet + pes + 9) - back;
        WritePesTime(packet + pes + 9, time);
        if (flags & 0x40) WritePesTime(packet + pes + 14, time); // a decoding time too
        return ts;
    }
    ADD_FAILURE() << "no audio packet " << n;
    return ts;
}

// Rewrites a QZKT movie with the given presentation times (decoding times 0, 1, 2..., none
// after its presentation time), as a movie whose frames were reordered would have them.
void WriteMovieWithTimes(const std::string& from, const std::string& to, const std::vector<int64_t>& pts) {
    AVFormatContext* in = nullptr;
    ASSERT_EQ(avformat_open_input(&in, from.c_str(), nullptr, nullptr), 0);
    ASSERT_GE(avformat_find_stream_info(in, nullptr), 0);
    AVFormatContext* out = nullptr;
    ASSERT_GE(avformat_alloc_output_context2(&out, nullptr, "mov", to.c_str()), 0);
    AVStream* stream = avformat_new_stream(out, nullptr);
    avcodec_parameters_copy(stream->codecpar, in->streams[0]->codecpar);
    stream->time_base = AVRational{1, 10};
    ASSERT_GE(avio_open(&out->pb, to.c_str(), AVIO_FLAG_WRITE), 0);
    ASSERT_GE(avformat_write_header(out, nullptr), 0);
    AVPacket* packet = av_packet_alloc();
    for (int64_t i = 0; av_read_frame(in, packet) >= 0 && i < static_cast<int64_t>(pts.size()); ++i) {
        packet->stream_index = 0;
        packet->dts = i;
        packet->pts = pts[i];
        packet->duration = 1;
        packet->pos = -1;
        ASSERT_GE(av_write_frame(out, packet), 0);
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    av_write_trailer(out);
    avio_closep(&out->pb);
    avformat_free_context(out);
    avformat_close_input(&in);
}

} // namespace

TEST_F(ToolTest, BackwardAudioTimeIsRepairedNotFatal) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=frequency=440:duration=2", "-f", "lavfi",
             "-i", "testsrc2=size=64x48:rate=10:duration=2", "-c:a", "mp2", "-c:v", "mpeg2video", "-shortest",
             "in.ts"});
    WriteFile(Path("back.ts"), MoveAudioTimeBack(ReadFile(Path("in.ts")), 10, 30000)); // a third of a second
    const RunResult r = Run({"qzkt", "encode", prefsArg_, "back.ts", "back.mov"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("audio packet times did not increase and were moved forward, as ffmpeg does"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(r.ErrLines(), 1) << r.err;
    // The movie's audio times increase.
    MustRun({"ffprobe", "-v", "error", "-select_streams", "a", "-show_entries", "packet=dts", "-of",
             "csv=p=0", "back.mov"},
            "dts.txt");
    const Bytes text = ReadFile(Path("dts.txt"));
    std::vector<long long> dts;
    for (const char *p = reinterpret_cast<const char*>(text.data()), *end = p + text.size(); p < end;) {
        char* next = nullptr;
        dts.push_back(std::strtoll(p, &next, 10));
        p = next + 1;
    }
    ASSERT_GT(dts.size(), 10u);
    for (size_t i = 1; i < dts.size(); ++i)
        EXPECT_GT(dts[i], dts[i - 1]) << i;
}

TEST_F(ToolTest, FrameTimesThatGoBackAreRepairedInADecodedVideo) {
    WriteCutMovies(); // clip.mov: six frames
    WriteMovieWithTimes(Path("clip.mov"), Path("reordered.mov"), {2, 5, 3, 4, 7, 6});
    for (const char* output : {"out.mkv", "out.mov"}) {
        const RunResult r = Run({"qzkt", "decode", "reordered.mov", output});
        EXPECT_EQ(r.status, 0) << output << ": " << r.err;
        EXPECT_NE(
            r.err.find("qzkt decode: 4 frame times did not increase and were moved forward, as ffmpeg does"),
            std::string::npos)
            << output << ": " << r.err;
    }
}
