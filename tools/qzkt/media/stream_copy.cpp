// Stream copy between containers through libavformat.
#include "media/stream_copy.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cli/tool_error.h"
#include "media/video_geometry.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/timecode.h>
}

namespace {

std::string Describe(const AVStream* stream) {
    const char* kind = av_get_media_type_string(stream->codecpar->codec_type);
    return std::string(kind != nullptr ? kind : "unknown") + " " +
           avcodec_get_name(stream->codecpar->codec_id);
}

// Metadata the output gets from its own muxer, not from the input.
bool WriterOwned(const char* key) {
    return std::strcmp(key, "encoder") == 0 || std::strcmp(key, "major_brand") == 0 ||
           std::strcmp(key, "minor_version") == 0 || std::strcmp(key, "compatible_brands") == 0 ||
           std::strcmp(key, "handler_name") == 0 || std::strcmp(key, "vendor_id") == 0;
}

void CopyMetadata(const AVDictionary* from, AVDictionary** to) {
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr)
        if (!WriterOwned(entry->key)) av_dict_set(to, entry->key, entry->value, 0);
}

bool IsTimecodeTrack(const AVStream* stream) {
    return stream->codecpar->codec_type == AVMEDIA_TYPE_DATA &&
           stream->codecpar->codec_tag == MKTAG('t', 'm', 'c', 'd');
}

// A cut that starts later starts the timecode later: the video's "timecode" tag moved on by the
// frames skipped, at the video's rate (a drop-frame timecode stays one).
void ShiftTimecode(const AVFormatContext* input, const AVStream* video, int64_t startMicros,
                   AVStream* outVideo) {
    const AVDictionaryEntry* tag = av_dict_get(outVideo->metadata, "timecode", nullptr, 0);
    if (tag == nullptr) return;
    const AVRational rate =
        av_guess_frame_rate(const_cast<AVFormatContext*>(input), const_cast<AVStream*>(video), nullptr);
    AVTimecode timecode{};
    if (rate.num <= 0 || rate.den <= 0 ||
        av_timecode_init_from_string(&timecode, rate, tag->value, nullptr) < 0)
        return;
    // The first frame taken is the first at or after the start.
    const int64_t frames = av_rescale_q_rnd(startMicros, AV_TIME_BASE_Q, av_inv_q(rate), AV_ROUND_UP);
    char text[AV_TIMECODE_STR_SIZE];
    av_dict_set(&outVideo->metadata, "timecode",
                av_timecode_make_string(&timecode, text, static_cast<int>(frames)), 0);
}

} // namespace

void CopyDisplayMatrix(const AVStream* from, AVStream* to) {
    size_t size = 0;
    const uint8_t* matrix = av_stream_get_side_data(from, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (matrix == nullptr || size == 0) return;
    uint8_t* copy = av_stream_new_side_data(to, AV_PKT_DATA_DISPLAYMATRIX, size);
    if (copy == nullptr) throw ToolError("out of memory");
    std::memcpy(copy, matrix, size);
}

StreamCopier::StreamCopier(const AVFormatContext* input, int videoIndex, AVFormatContext* output,
                           AVStream* outVideo, bool keepAudio, const std::string& who, int64_t startMicros)
    : input_(input), output_(output), map_(input->nb_streams, -1), converters_(input->nb_streams),
      timeBase_(input->nb_streams) {
    CopyMetadata(input->metadata, &output->metadata);
    const AVStream* video = input->streams[videoIndex];
    // The timecode travels as the video stream's "timecode" tag, from which the QuickTime and
    // Matroska muxers write their own timecode track or tag.
    CopyMetadata(video->metadata, &outVideo->metadata);
    if (startMicros > 0) ShiftTimecode(input, video, startMicros, outVideo);
    CopyDisplayMatrix(video, outVideo);
    VideoGeometry geometry = GeometryOf(input, video);
    FitPixelAspect(geometry, video->codecpar->width, video->codecpar->height, outVideo->codecpar->width,
                   outVideo->codecpar->height);
    CopyGeometry(geometry, outVideo);
    if (geometry.rotated && geometry.rotation != 0 && !MuxerKeepsRotation(output->oformat)) {
        char degrees[32];
        std::snprintf(degrees, sizeof degrees, "%g", geometry.rotation);
        notes_.push_back(who + ": the video's rotation (" + degrees + " degrees) is not kept: the " +
                         output->oformat->name + " container cannot hold it (a .mov can)");
    }

    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream* in = input->streams[i];
        if (static_cast<int>(i) == videoIndex || IsTimecodeTrack(in)) continue;
        if (in->disposition & AV_DISPOSITION_ATTACHED_PIC) continue; // cover art is part of the video
        const std::string note =
            who + ": dropping stream #" + std::to_string(i) + " (" + Describe(in) + "): ";
        if (in->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
            notes_.push_back(note + "only audio and the timecode are carried over");
            continue;
        }
        if (!keepAudio) continue;
        timeBase_[i] = in->time_base;
        const AVCodecParameters* parameters = in->codecpar;
        if (!MuxerTakes(output->oformat, in->codecpar)) {
            const std::string cannot =
                std::string("the ") + output->oformat->name + " container cannot hold it";
            try {
                converters_[i] = std::make_unique<AudioConverter>(in, output->oformat);
            } catch (const ToolError& error) {
                notes_.push_back(note + cannot + " and " + error.what());
                continue;
            }
            parameters = converters_[i]->parameters();
            timeBase_[i] = converters_[i]->timeBase();
            notes_.push_back(who + ": converting stream #" + std::to_string(i) + " (" + Describe(in) +
                             ") to " + converters_[i]->name() + ": " + cannot +
                             " as it is; the decoded sound is kept exactly");
        }
        AVStream* out = avformat_new_stream(output, nullptr);
        if (out == nullptr || avcodec_parameters_copy(out->codecpar, parameters) < 0)
            throw ToolError("out of memory");
        out->codecpar->codec_tag = 0; // the output container's own tag for the codec
        out->time_base = timeBase_[i];
        out->disposition = in->disposition;
        CopyMetadata(in->metadata, &out->metadata);
        map_[i] = out->index;
    }
}

bool StreamCopier::CopiesAny() const {
    return std::any_of(map_.begin(), map_.end(), [](int out) { return out >= 0; });
}

bool StreamCopier::Copies(int index) const {
    return index >= 0 && index < static_cast<int>(map_.size()) && map_[index] >= 0;
}

void StreamCopier::SetWindow(int64_t fromMicros, int64_t toMicros, int64_t shiftMicros) {
    from_ = fromMicros;
    to_ = toMicros;
    shift_ = shiftMicros;
}

void StreamCopier::Take(const AVPacket* packet) {
    if (!Copies(packet->stream_index)) return;
    if (AudioConverter* converter = converters_[packet->stream_index].get()) {
        std::vector<AvPacketPtr> converted;
        converter->Convert(packet, converted);
        for (AvPacketPtr& out : converted) {
            out->stream_index = packet->stream_index;
            Pass(std::move(out));
        }
        return;
    }
    AvPacketPtr copy(av_packet_clone(packet));
    if (!copy) throw ToolError("out of memory");
    Pass(std::move(copy));
}

void StreamCopier::Pass(AvPacketPtr packet) {
    if (!started_ || holdAll_) {
        held_.push_back(std::move(packet));
        return;
    }
    Write(packet.get());
}

void StreamCopier::Finish() {
    for (size_t i = 0; i < converters_.size(); ++i) {
        if (converters_[i] == nullptr) continue;
        std::vector<AvPacketPtr> converted;
        converters_[i]->Convert(nullptr, converted);
        for (AvPacketPtr& out : converted) {
            out->stream_index = static_cast<int>(i);
            Pass(std::move(out));
        }
    }
    Flush();
}

std::string StreamCopier::RefusedNote() const {
    int64_t refused = 0;
    for (const auto& converter : converters_)
        if (converter != nullptr) refused += converter->refused();
    if (refused == 0) return "";
    return std::to_string(refused) + " audio packet" + (refused == 1 ? "" : "s") +
           " could not be decoded for conversion; their sound is missing from the output";
}

StreamCopier WriteHeaderCarrying(AVFormatContext* output, AVStream* video, const CarryOver* carry,
                                 const std::string& path) {
    StreamCopier copier;
    if (carry != nullptr)
        copier = StreamCopier(carry->input, carry->videoIndex, output, video, carry->keepAudio, carry->who,
                              carry->startMicros);
    const int written = avformat_write_header(output, nullptr);
    if (written < 0) throw ToolError("cannot write " + path + ": " + AvErrorText(written));
    copier.Start();
    return copier;
}

void WriteTrailerCarrying(AVFormatContext* output, StreamCopier& copier, const std::string& path) {
    copier.Finish();
    const int finished = av_write_trailer(output);
    avio_flush(output->pb);
    if (finished < 0 || output->pb->error < 0)
        throw ToolError("cannot write " + path + ": " +
                        AvErrorText(finished < 0 ? finished : output->pb->error));
}

void StreamCopier::Start() {
    started_ = true;
    if (!holdAll_) Flush();
}

void StreamCopier::Flush() {
    while (!held_.empty()) {
        AvPacketPtr packet = std::move(held_.front());
        held_.pop_front();
        Write(packet.get());
    }
}

// The muxers refuse a decoding time that goes backwards (and, unless the container allows
// equal ones, one that stands still): such a packet is moved just past the one before, its
// presentation time with it, as ffmpeg's muxing does. A decoding time after the presentation
// time first becomes the median of the two and the last decoding time written.
void StreamCopier::RepairTimes(AVPacket* packet) {
    if (lastDts_.size() < output_->nb_streams) lastDts_.resize(output_->nb_streams, AV_NOPTS_VALUE);
    int64_t& last = lastDts_[packet->stream_index];
    bool changed = false;
    if (packet->dts != AV_NOPTS_VALUE && packet->pts != AV_NOPTS_VALUE && packet->dts > packet->pts) {
        const int64_t a = packet->pts, b = packet->dts, c = last != AV_NOPTS_VALUE ? last + 1 : INT64_MIN;
        packet->pts = packet->dts = std::max(std::min(a, b), std::min(std::max(a, b), c)); // the median
        changed = true;
    }
    if (packet->dts != AV_NOPTS_VALUE && last != AV_NOPTS_VALUE) {
        const int64_t least = last + ((output_->oformat->flags & AVFMT_TS_NONSTRICT) ? 0 : 1);
        if (packet->dts < least) {
            if (packet->pts >= packet->dts) packet->pts = std::max(packet->pts, least);
            packet->dts = least;
            changed = true;
        }
    }
    if (packet->dts != AV_NOPTS_VALUE) last = packet->dts;
    repaired_ += changed;
}

void StreamCopier::Write(AVPacket* packet) {
    const AVStream* in = input_->streams[packet->stream_index];
    const AVRational timeBase = timeBase_[packet->stream_index];
    const int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if (time != AV_NOPTS_VALUE) {
        const int64_t micros = av_rescale_q(time, timeBase, AV_TIME_BASE_Q);
        if (micros < from_ || micros >= to_) return;
    }
    const int64_t shift = av_rescale_q(shift_, AV_TIME_BASE_Q, timeBase);
    if (packet->pts != AV_NOPTS_VALUE) packet->pts -= shift;
    if (packet->dts != AV_NOPTS_VALUE) packet->dts -= shift;
    AVStream* out = output_->streams[map_[packet->stream_index]];
    packet->stream_index = out->index;
    packet->pos = -1;
    av_packet_rescale_ts(packet, timeBase, out->time_base);
    RepairTimes(packet);
    const int written = av_interleaved_write_frame(output_, packet);
    if (written < 0) throw ToolError("cannot copy the " + Describe(in) + " stream: " + AvErrorText(written));
}
