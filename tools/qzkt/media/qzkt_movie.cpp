// QZKT movie writing and reading through libavformat's QuickTime muxer and demuxer.
#include "media/qzkt_movie.h"

#include <qzkt/qzkt.h>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "cli/tool_error.h"

extern "C" {
#include <libavutil/opt.h>
}

QZKTMovieWriter::QZKTMovieWriter(const std::string& path, int width, int height, AVRational timeBase,
                                 AVRational frameRate, const CarryOver* carry, bool faststart)
    : path_(path), file_(path), io_(file_), timeBase_(timeBase) {
    AVFormatContext* format = nullptr;
    if (avformat_alloc_output_context2(&format, nullptr, "mov", nullptr) < 0 || format == nullptr)
        throw ToolError("out of memory");
    format_.reset(format);
    format_->pb = io_.get();
    format_->flags |= AVFMT_FLAG_CUSTOM_IO;
    if (faststart) {
        AllowReadingBack(format_.get(), path); // the muxer's second pass reads the samples back
        av_opt_set(format_->priv_data, "movflags", "+faststart", 0);
    }

    stream_ = avformat_new_stream(format_.get(), nullptr);
    if (stream_ == nullptr) throw ToolError("out of memory");
    // The QuickTime muxer takes any four-character code for a codec it does not know.
    stream_->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream_->codecpar->codec_id = AV_CODEC_ID_NONE;
    stream_->codecpar->codec_tag = kQZKTCodecTag;
    stream_->codecpar->width = width;
    stream_->codecpar->height = height;
    stream_->time_base = timeBase;
    stream_->avg_frame_rate = frameRate;
    stream_->r_frame_rate = frameRate;
    frameDuration_ = av_rescale_q(1, av_inv_q(frameRate), timeBase);
    if (frameDuration_ < 1) frameDuration_ = 1;
    copier_ = WriteHeaderCarrying(format_.get(), stream_, carry, path);
}

void QZKTMovieWriter::WriteFrame(const uint8_t* data, size_t size, int64_t pts) {
    AVPacket* packet = packet_.get();
    // Alone in the movie, the samples go to the muxer as they come: the packet borrows the
    // caller's bytes (the muxer only reads them, and is done with them when the call returns).
    // With copied streams the muxer interleaves by time and keeps packets for later, so the
    // bytes are copied into a packet of its own. (The copy cost 3% of a 1080p encode.)
    const bool alone = format_->nb_streams == 1;
    if (alone) {
        packet->data = const_cast<uint8_t*>(data);
        packet->size = static_cast<int>(size);
    } else {
        if (av_new_packet(packet, static_cast<int>(size)) < 0) throw ToolError("out of memory");
        std::memcpy(packet->data, data, size);
    }
    packet->pts = packet->dts = pts;
    packet->duration = frameDuration_;
    packet->flags = AV_PKT_FLAG_KEY;
    packet->stream_index = stream_->index;
    // The muxer may have chosen its own track time base.
    av_packet_rescale_ts(packet, timeBase_, stream_->time_base);
    const int written =
        alone ? av_write_frame(format_.get(), packet) : av_interleaved_write_frame(format_.get(), packet);
    av_packet_unref(packet);
    if (written < 0) throw ToolError("cannot write " + path_ + ": " + AvErrorText(written));
}

void QZKTMovieWriter::Finish() {
    WriteTrailerCarrying(format_.get(), copier_, path_);
    file_.Commit();
}

int FindStreamInfo(AVFormatContext* format) {
    bool othersToLearn = false;
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVCodecParameters* track = format->streams[i]->codecpar;
        othersToLearn = othersToLearn || (!IsQZKTTrack(track) && track->codec_type != AVMEDIA_TYPE_DATA);
    }
    if (!othersToLearn) format->probesize = 32; // FFmpeg's smallest: no sample is read
    return avformat_find_stream_info(format, nullptr);
}

QZKTMovieReader::QZKTMovieReader(const std::string& path) : path_(path) {
    AVFormatContext* format = nullptr;
    const int opened = avformat_open_input(&format, path.c_str(), nullptr, nullptr);
    if (opened < 0) {
        if (opened == AVERROR(ENOENT)) throw ToolError("cannot open " + path + ": " + AvErrorText(opened));
        throw ToolError(path + " is not a readable QuickTime movie (" + AvErrorText(opened) + ")");
    }
    format_.reset(format);
    if (std::strstr(format_->iformat->name, "mov") == nullptr)
        throw ToolError(path + " is not a QuickTime movie");
    const int found = FindStreamInfo(format_.get());
    if (found < 0) throw ToolError(path + " is not a readable QuickTime movie (" + AvErrorText(found) + ")");

    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        AVStream* s = format_->streams[i];
        if (IsQZKTTrack(s->codecpar)) {
            stream_ = s;
            break;
        }
    }
    if (stream_ == nullptr) throw ToolError(path + " has no QZKT video track");
    for (unsigned i = 0; i < format_->nb_streams; ++i)
        if (format_->streams[i] != stream_) format_->streams[i]->discard = AVDISCARD_ALL;

    width_ = stream_->codecpar->width;
    height_ = stream_->codecpar->height;
    if (width_ <= 0 || height_ <= 0 || width_ > QZKT_MAX_SIDE || height_ > QZKT_MAX_SIDE)
        throw ToolError(path + " has a QZKT track of unusable size " + std::to_string(width_) + "x" +
                        std::to_string(height_));
    timeBase_ = stream_->time_base;
    const AVRational rate = av_guess_frame_rate(format_.get(), stream_, nullptr);
    if (rate.num > 0 && rate.den > 0) frameRate_ = rate;
    frameCount_ = stream_->nb_frames;
}

bool QZKTMovieReader::VisitSampleHeads(size_t bytes, const std::function<bool(const uint8_t*)>& visit) const {
    const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    std::vector<uint8_t> head(bytes);
    bool whole = true;
    const int entries = avformat_index_get_entries_count(stream_);
    for (int i = 0; i < entries && whole; ++i) {
        const AVIndexEntry* entry = avformat_index_get_entry(stream_, i);
        whole = entry != nullptr && entry->size >= 0 && static_cast<size_t>(entry->size) >= bytes &&
                pread(fd, head.data(), bytes, entry->pos) == static_cast<ssize_t>(bytes) &&
                visit(head.data());
    }
    close(fd);
    return whole && entries > 0;
}

void QZKTMovieReader::ReadAudio(std::function<void(const AVPacket*)> handle) {
    handleAudio_ = std::move(handle);
    for (unsigned i = 0; i < format_->nb_streams; ++i)
        if (format_->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            format_->streams[i]->discard = AVDISCARD_DEFAULT;
}

bool QZKTMovieReader::Next(QZKTSample& sample) {
    int64_t pts = 0;
    for (;;) {
        av_packet_unref(packet_.get());
        const int read = av_read_frame(format_.get(), packet_.get());
        if (read == AVERROR_EOF) return false;
        if (read < 0) throw ToolError("cannot read " + path_ + ": " + AvErrorText(read));
        if (packet_->stream_index != stream_->index) {
            if (handleAudio_) handleAudio_(packet_.get());
            continue;
        }
        pts = packet_->pts != AV_NOPTS_VALUE ? packet_->pts : packet_->dts;
        const FrameWindow::Verdict verdict = window_.Judge(pts);
        if (verdict == FrameWindow::kStop) return false;
        ++samplesRead_;
        if (verdict == FrameWindow::kTake) break;
    }
    sample.data = packet_->data;
    sample.size = static_cast<size_t>(packet_->size);
    sample.pts = window_.Shift(pts);
    sample.keyFrame = (packet_->flags & AV_PKT_FLAG_KEY) != 0;
    sample.packet = packet_.get();
    return true;
}
