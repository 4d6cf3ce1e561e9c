// The frame source of anything FFmpeg reads: demuxing and decoding with conversion to ARGB.
#include "media/frame_source.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

#include "cli/tool_error.h"
#include "media/ffmpeg_util.h"
#include "media/image_sequence.h"
#include "media/qzkt_movie.h"
#include "media/stream_copy.h"

extern "C" {
#include <libavutil/parseutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

class MediaSource : public FrameSource {
  public:
    MediaSource(const std::string& path, const MediaOptions& options) : path_(path), matrix_(options.matrix) {
        AVFormatContext* format = nullptr;
        AVDictionary* demuxerOptions = nullptr;
        const bool rateGiven = options.rate.num > 0 && options.rate.den > 0;
        if (rateGiven) {
            const std::string rate =
                std::to_string(options.rate.num) + "/" + std::to_string(options.rate.den);
            av_dict_set(&demuxerOptions, "framerate", rate.c_str(), 0);
        }
        sequence_ = FindImageSequence(path, options.startNumber);
        AddDemuxerOptions(sequence_, &demuxerOptions);
        // A glob names no file whose extension could pick the image demuxer: it is named here.
        const AVInputFormat* demuxer = sequence_.glob ? av_find_input_format("image2") : nullptr;
        const int opened = avformat_open_input(&format, path.c_str(), demuxer, &demuxerOptions);
        // A demuxer that took the rate removed it from the dictionary; others get retimed frames.
        retime_ = rateGiven && av_dict_get(demuxerOptions, "framerate", nullptr, 0) != nullptr;
        av_dict_free(&demuxerOptions);
        if (opened < 0) throw ToolError("cannot open " + path + ": " + AvErrorText(opened));
        format_.reset(format);

        const int found = avformat_find_stream_info(format, nullptr);
        if (found < 0) throw ToolError("cannot read " + path + ": " + AvErrorText(found));
        const int index = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        if (index < 0) throw ToolError(path + " has no video");
        stream_ = format->streams[index];

        const AVCodecParameters* par = stream_->codecpar;
        const AVCodec* codec = avcodec_find_decoder(par->codec_id);
        if (codec == nullptr) {
            if (IsQZKTTrack(par))
                throw ToolError(path + " is already a QZKT movie; decode it with 'qzkt decode'");
            throw ToolError("no decoder for the " + std::string(avcodec_get_name(par->codec_id)) +
                            " video in " + path);
        }
        decoder_.reset(avcodec_alloc_context3(codec));
        if (!decoder_ || avcodec_parameters_to_context(decoder_.get(), par) < 0)
            throw ToolError("out of memory");
        decoder_->thread_count = 0; // as many decoding threads as FFmpeg sees fit
        const int ready = avcodec_open2(decoder_.get(), codec, nullptr);
        if (ready < 0) throw ToolError("cannot decode " + path + ": " + AvErrorText(ready));

        width_ = par->width;
        height_ = par->height;
        if (width_ <= 0 || height_ <= 0) throw ToolError(path + " has a video of unknown size");
        scaled_ = options.width > 0 && options.height > 0;
        if (scaled_) {
            width_ = options.width;
            height_ = options.height;
        }
        timeBase_ = stream_->time_base;
        const AVRational rate = av_guess_frame_rate(format, stream_, nullptr);
        if (rate.num > 0 && rate.den > 0) frameRate_ = rate;
        ReadAnnouncedLength(format);
        if (stream_->start_time != AV_NOPTS_VALUE) startTime_ = stream_->start_time;
        const AVPixFmtDescriptor* pixels = av_pix_fmt_desc_get(decoder_->pix_fmt);
        hasAlpha_ = pixels != nullptr && (pixels->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
        if (retime_) {
            frameRate_ = options.rate;
            timeBase_ = av_inv_q(options.rate);
            startTime_ = 0;
        }
        argb_.resize(static_cast<size_t>(width_) * height_ * 4);
        ListFiles(format);
    }

    // Damage does not end the input: a damaged packet goes to the decoder, which may still make
    // a picture of it; a packet or frame the decoder rejects is skipped; a read error ends the
    // input as its end would. All of it is counted for Damage().
    bool Next(ArgbFrame& out) override {
        while (!stopped_) {
            const int got = avcodec_receive_frame(decoder_.get(), frame_.get());
            if (got == 0) {
                errorsInARow_ = 0;
                if (frame_->decode_error_flags != 0 || (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0)
                    ++flawedFrames_;
                Deliver(out);
                av_frame_unref(frame_.get());
                ++delivered_;
                return true;
            }
            if (got == AVERROR_EOF) break;
            if (got != AVERROR(EAGAIN))
                DecodeFailed(got);
            else if (flushed_)
                break; // the decoder wants more after the end: nothing more will come
            else
                Feed();
        }
        return false;
    }

    const AVFormatContext* format() const override { return format_.get(); }
    int videoIndex() const override { return stream_->index; }
    void CopyOthersTo(StreamCopier* copier) override { copier_ = copier; }
    bool retimed() const override { return retime_; }

    std::string Damage() const override {
        std::vector<std::string> parts;
        if (!readError_.empty())
            parts.push_back("reading failed after " + Counted(delivered_, "frame") + " (" + readError_ + ")");
        if (exactCount_ && delivered_ < expectedFrames_)
            parts.push_back("it ends after " + std::to_string(delivered_) + " of its " +
                            std::to_string(expectedFrames_) + " frames");
        if (!exactCount_ && announcedSeconds_ - SecondsRead() > framePeriod_) {
            char text[100];
            std::snprintf(text, sizeof text, "it ends after %.2f of its %.2f seconds", SecondsRead(),
                          announcedSeconds_);
            parts.push_back(text);
        }
        if (damagedPackets_ > 0)
            parts.push_back(Counted(damagedPackets_, "packet") + (damagedPackets_ == 1 ? " was" : " were") +
                            " cut short or damaged");
        if (failedFrames_ > 0)
            parts.push_back(Counted(failedFrames_, "frame") + " could not be decoded (" + firstDecodeError_ +
                            ")");
        if (flawedFrames_ > 0)
            parts.push_back(Counted(flawedFrames_, "frame") + (flawedFrames_ == 1 ? " was" : " were") +
                            " decoded with errors");
        if (stopped_)
            parts.push_back("decoding gave up after " + std::to_string(kMostErrorsInARow) +
                            " errors in a row");
        std::string text;
        for (const std::string& part : parts)
            text += (text.empty() ? "" : ", ") + part;
        return text;
    }

  private:
    // The input's name, and for an image sequence every image FFmpeg will read.
    void ListFiles(const AVFormatContext* format) {
        files_.push_back(path_);
        if (std::strcmp(format->iformat->name, "image2") != 0) return;
        files_.insert(files_.end(), sequence_.files.begin(), sequence_.files.end());
    }

    // How long the container says the stream is: the frame count it stores, or else its
    // duration: the stream's own, the one matroska keeps in a tag, or the file's when the video
    // is its only stream; never a guess from the bit rate. A duration is compared in time, not
    // in frames, since frames of a variable rate have no fixed length.
    void ReadAnnouncedLength(const AVFormatContext* format) {
        const AVRational average = stream_->avg_frame_rate;
        const double rate = av_q2d(average.num > 0 && average.den > 0 ? average : frameRate_);
        framePeriod_ = 1.0 / rate;
        if (stream_->nb_frames > 0) {
            expectedFrames_ = stream_->nb_frames;
            exactCount_ = true;
            return;
        }
        double seconds = 0;
        const AVDictionaryEntry* tag = av_dict_get(stream_->metadata, "DURATION", nullptr, 0);
        int64_t microseconds = 0;
        if (stream_->duration > 0)
            seconds = static_cast<double>(stream_->duration) * av_q2d(stream_->time_base);
        else if (tag != nullptr && av_parse_time(&microseconds, tag->value, 1) == 0)
            // Matroska's tag is where the track ends on the file's clock, not how long it
            // lasts: a video that starts after the audio (as ffmpeg often writes it) is shorter.
            seconds = static_cast<double>(microseconds) / 1e6 - StartSeconds();
        else if (format->nb_streams == 1 && format->duration > 0 &&
                 format->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE)
            seconds = static_cast<double>(format->duration) / AV_TIME_BASE;
        announcedSeconds_ = seconds;
        expectedFrames_ = std::llround(seconds * rate); // for the progress line
    }

    // Where the stream starts on the file's clock (0 when the container does not say).
    double StartSeconds() const {
        return stream_->start_time != AV_NOPTS_VALUE && stream_->start_time > 0
                   ? static_cast<double>(stream_->start_time) * av_q2d(stream_->time_base)
                   : 0.0;
    }

    // From the stream's start to the end of the last packet read (its time and duration, or
    // one frame period where it has none). Packets, not pictures, since pictures carry no
    // duration, and a variable rate's last frame may be long.
    double SecondsRead() const {
        if (!haveEnd_) return 0;
        const int64_t start = stream_->start_time != AV_NOPTS_VALUE ? stream_->start_time : firstTime_;
        return static_cast<double>(end_ - start) * av_q2d(timeBase_);
    }

    void NotePacketTime(const AVPacket* packet) {
        const int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        if (time == AV_NOPTS_VALUE) return;
        const int64_t period = std::max<int64_t>(1, std::llround(framePeriod_ / av_q2d(timeBase_)));
        const int64_t end = time + (packet->duration > 0 ? packet->duration : period);
        firstTime_ = haveEnd_ ? std::min(firstTime_, time) : time;
        end_ = haveEnd_ ? std::max(end_, end) : end;
        haveEnd_ = true;
    }

    // Hands the decoder the next packet of our stream, or the end-of-stream signal.
    void Feed() {
        for (;;) {
            const int read = av_read_frame(format_.get(), packet_.get());
            if (read < 0) {
                if (read != AVERROR_EOF) readError_ = AvErrorText(read);
                avcodec_send_packet(decoder_.get(), nullptr);
                flushed_ = true;
                return;
            }
            if (packet_->stream_index != stream_->index) {
                if (copier_ != nullptr) copier_->Take(packet_.get());
                av_packet_unref(packet_.get());
                continue;
            }
            if ((packet_->flags & AV_PKT_FLAG_CORRUPT) != 0) ++damagedPackets_;
            NotePacketTime(packet_.get());
            const int sent = avcodec_send_packet(decoder_.get(), packet_.get());
            av_packet_unref(packet_.get());
            if (sent < 0 && sent != AVERROR(EAGAIN)) DecodeFailed(sent);
            return;
        }
    }

    // A packet or frame the decoder rejected: skipped, unless the decoder rejects everything.
    void DecodeFailed(int error) {
        if (failedFrames_++ == 0) firstDecodeError_ = AvErrorText(error);
        if (++errorsInARow_ >= kMostErrorsInARow) stopped_ = true;
    }

    void Deliver(ArgbFrame& out) {
        AVFrame* f = frame_.get();
        if (!scaled_ && (f->width != width_ || f->height != height_))
            throw ToolError(path_ + " changes its picture size from " + std::to_string(width_) + "x" +
                            std::to_string(height_) + " to " + std::to_string(f->width) + "x" +
                            std::to_string(f->height) + "; a QZKT movie keeps one size (--size " +
                            std::to_string(width_) + "x" + std::to_string(height_) +
                            " scales every frame to it)");
        argb_.resize(static_cast<size_t>(width_) * height_ * 4); // it may have been swapped away
        uint8_t* dst[4] = {argb_.data(), nullptr, nullptr, nullptr};
        const int dstLinesize[4] = {width_ * 4, 0, 0, 0};
        const AVColorSpace space = ConversionColorSpace(matrix_, f->colorspace, f->height);
        if (f->width == width_ && f->height == height_)
            converter_.Convert(f->data, f->linesize, static_cast<AVPixelFormat>(f->format), dst, dstLinesize,
                               AV_PIX_FMT_ARGB, width_, height_, space, f->color_range);
        else
            converter_.Scale(f->data, f->linesize, static_cast<AVPixelFormat>(f->format), f->width, f->height,
                             dst, dstLinesize, AV_PIX_FMT_ARGB, width_, height_, space, f->color_range);

        // Frames without a timestamp follow the previous one by one frame period; a rate given
        // for an input that has its own times numbers the frames at that rate.
        int64_t pts = retime_ ? delivered_ : f->best_effort_timestamp;
        const int64_t period = av_rescale_q(1, av_inv_q(frameRate_), timeBase_);
        if (pts == AV_NOPTS_VALUE) pts = times_.started() ? times_.last() + (period > 0 ? period : 1) : 0;
        pts = times_.Next(pts); // timestamps must keep increasing

        out.data = argb_.data();
        out.rowBytes = width_ * 4;
        out.pts = pts;
        out.buffer = &argb_;
    }

    ImageSequence sequence_; // when the input is an image pattern or a glob
    std::string path_;
    MatrixChoice matrix_;
    bool retime_ = false;
    bool scaled_ = false; // --size: every frame is scaled to width_ x height_
    StreamCopier* copier_ = nullptr;
    AvInputPtr format_;
    AVStream* stream_ = nullptr;
    AvCodecContextPtr decoder_;
    AvFramePtr frame_ = NewFrame();
    AvPacketPtr packet_ = NewPacket();
    PixelConverter converter_;
    FrameBytes argb_;
    IncreasingTimes times_;

    static const int kMostErrorsInARow = 100;
    bool exactCount_ = false;         // expectedFrames_ is a stored count, not from a duration
    double announcedSeconds_ = 0;     // the duration, when there is no count
    double framePeriod_ = 0;          // seconds, at the average rate
    int64_t firstTime_ = 0, end_ = 0; // of the packets read, in the stream's time base
    bool haveEnd_ = false;
    bool flushed_ = false; // the decoder has been told the input ended
    bool stopped_ = false; // too many decoding errors in a row
    int errorsInARow_ = 0;
    int64_t delivered_ = 0;
    int64_t damagedPackets_ = 0; // marked by the demuxer as cut short or damaged
    int64_t failedFrames_ = 0;   // packets or frames the decoder rejected
    int64_t flawedFrames_ = 0;   // pictures the decoder made despite errors
    std::string firstDecodeError_;
    std::string readError_;
};

} // namespace

std::unique_ptr<FrameSource> OpenMediaSource(const std::string& path, const MediaOptions& options) {
    return std::make_unique<MediaSource>(path, options);
}
