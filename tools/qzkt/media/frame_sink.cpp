// Frame sinks: raw ARGB, image sequences and lossless video.
#include "media/frame_sink.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

#include "cli/tool_error.h"
#include "media/ffmpeg_util.h"
#include "media/qzkt_movie.h"
#include "media/stream_copy.h"
#include "output/atomic_output_file.h"
#include "output/interrupt_cleanup.h"
#include "output/output_check.h"
#include "output/output_file_io.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace {

bool EndsWith(const std::string& s, const char* suffix) {
    const size_t n = std::strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

// ---------------------------------------------------------------------------------------
// Raw ARGB, to standard output or to a file.

class RawSink : public FrameSink {
  public:
    RawSink(const std::string& output, int width, int height) : width_(width), height_(height) {
        if (output == "-")
            CheckStandardOutput();
        else
            file_ = std::make_unique<AtomicOutputFile>(output);
        description_ = "raw " + std::to_string(width) + "x" + std::to_string(height) + " ARGB frames to " +
                       (output == "-" ? std::string("standard output") : output);
    }

    void Write(const uint8_t* argb, int rowBytes, int64_t) override {
        // Packed rows go out in one call: a write per row costs more than the decode.
        if (rowBytes == width_ * 4) return Put(argb, static_cast<size_t>(rowBytes) * height_);
        for (int y = 0; y < height_; ++y)
            Put(argb + static_cast<long>(y) * rowBytes, static_cast<size_t>(width_) * 4);
    }

    void Finish() override {
        if (file_) file_->Commit();
    }

    std::string Description() const override { return description_; }

  private:
    void Put(const uint8_t* data, size_t size) {
        if (file_) {
            file_->Write(data, size);
            return;
        }
        const int error = WriteFully(STDOUT_FILENO, data, size, EIO);
        if (error != 0) throw ToolError("cannot write to standard output: " + SystemErrorText(error));
    }

    int width_, height_;
    std::unique_ptr<AtomicOutputFile> file_;
    std::string description_;
};

// ---------------------------------------------------------------------------------------
// Pictures through one of FFmpeg's encoders, shared by image sequences and videos.

class PictureEncoder {
  public:
    PictureEncoder(const AVCodec* codec, int width, int height, AVRational timeBase, AVRational frameRate,
                   bool globalHeader, bool opaque = false)
        : width_(width), height_(height) {
        context_.reset(avcodec_alloc_context3(codec));
        if (!context_) throw ToolError("out of memory");
        context_->width = width;
        context_->height = height;
        context_->time_base = timeBase;
        context_->framerate = frameRate;
        context_->pix_fmt = ChooseFormat(codec, opaque);
        context_->thread_count = 0;
        if (codec->id == AV_CODEC_ID_MJPEG) {
            // JPEG stores full-range Y'CbCr with the BT.601 matrix; a fixed high quality.
            context_->color_range = AVCOL_RANGE_JPEG;
            context_->colorspace = AVCOL_SPC_BT470BG;
            context_->flags |= AV_CODEC_FLAG_QSCALE;
            context_->global_quality = FF_QP2LAMBDA * 2;
        }
        if (codec->id == AV_CODEC_ID_FFV1) {
            context_->level = 3; // version 3: multithreaded slices, CRCs
            context_->slices = 16;
            av_opt_set_int(context_->priv_data, "slicecrc", 1, 0);
        }
        if (globalHeader) context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        const int opened = avcodec_open2(context_.get(), codec, nullptr);
        if (opened < 0)
            throw ToolError(std::string("cannot start the ") + codec->name +
                            " encoder: " + AvErrorText(opened));

        frame_->format = context_->pix_fmt;
        frame_->width = width;
        frame_->height = height;
        if (av_frame_get_buffer(frame_.get(), 0) < 0) throw ToolError("out of memory");
    }

    AVCodecContext* context() const { return context_.get(); }

    // Sends one picture (or, with argb null, the end of the stream) and hands every packet
    // the encoder returns to consume.
    template <typename Consume> void Encode(const uint8_t* argb, int rowBytes, int64_t pts, Consume consume) {
        AVFrame* frame = nullptr;
        if (argb != nullptr) {
            if (av_frame_make_writable(frame_.get()) < 0) throw ToolError("out of memory");
            const uint8_t* src[4] = {argb, nullptr, nullptr, nullptr};
            const int srcLinesize[4] = {rowBytes, 0, 0, 0};
            converter_.Convert(src, srcLinesize, AV_PIX_FMT_ARGB, frame_->data, frame_->linesize,
                               context_->pix_fmt, width_, height_, context_->colorspace);
            frame_->pts = pts;
            frame_->quality = context_->global_quality;
            frame = frame_.get();
        }
        const int sent = avcodec_send_frame(context_.get(), frame);
        if (sent < 0) throw ToolError("cannot encode: " + AvErrorText(sent));
        for (;;) {
            const int got = avcodec_receive_packet(context_.get(), packet_.get());
            if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
            if (got < 0) throw ToolError("cannot encode: " + AvErrorText(got));
            consume(packet_.get());
            av_packet_unref(packet_.get());
        }
    }

  private:
    // The first lossless format with alpha that the encoder takes (for opaque pictures, the
    // first without: a quarter less to code); for encoders without RGB (JPEG) full-range
    // Y'CbCr without subsampling, else with.
    static AVPixelFormat ChooseFormat(const AVCodec* codec, bool opaque) {
        static const std::vector<AVPixelFormat> withAlpha = {
            AV_PIX_FMT_ARGB,  AV_PIX_FMT_BGRA,   AV_PIX_FMT_RGBA, AV_PIX_FMT_GBRAP,    AV_PIX_FMT_RGB24,
            AV_PIX_FMT_BGR24, AV_PIX_FMT_0RGB32, AV_PIX_FMT_BGR0, AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUVJ420P};
        static const std::vector<AVPixelFormat> withoutAlpha = {
            AV_PIX_FMT_GBRP,  AV_PIX_FMT_RGB24,    AV_PIX_FMT_BGR24,   AV_PIX_FMT_0RGB32,
            AV_PIX_FMT_BGR0,  AV_PIX_FMT_ARGB,     AV_PIX_FMT_BGRA,    AV_PIX_FMT_RGBA,
            AV_PIX_FMT_GBRAP, AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUVJ420P};
        if (codec->pix_fmts == nullptr) return AV_PIX_FMT_ARGB;
        for (AVPixelFormat want : opaque ? withoutAlpha : withAlpha)
            for (const AVPixelFormat* f = codec->pix_fmts; *f != AV_PIX_FMT_NONE; ++f)
                if (*f == want) return want;
        throw ToolError(std::string("the ") + codec->name + " encoder takes no RGB pictures");
    }

    int width_, height_;
    AvCodecContextPtr context_;
    AvFramePtr frame_ = NewFrame();
    AvPacketPtr packet_ = NewPacket();
    PixelConverter converter_;
};

// ---------------------------------------------------------------------------------------
// One image file per frame.

// Shows the signal handler (interrupt_cleanup.h) the file of an image that is taking its name,
// through a descriptor of its own that stays valid whatever Commit() closes.
class ImageNameWatch {
  public:
    explicit ImageNameWatch(int fd) : fd_(dup(fd)) { SetImageTakingName(fd_); }
    ~ImageNameWatch() {
        SetImageTakingName(-1);
        if (fd_ >= 0) close(fd_);
    }
    ImageNameWatch(const ImageNameWatch&) = delete;
    ImageNameWatch& operator=(const ImageNameWatch&) = delete;

  private:
    int fd_;
};

class ImageSequenceSink : public FrameSink {
  public:
    // single: pattern is the name of the one image to write.
    ImageSequenceSink(const std::string& pattern, int width, int height, AVRational timeBase,
                      AVRational frameRate, int64_t expectedFrames, bool single = false)
        : pattern_(pattern), single_(single) {
        char first[4096];
        if (single)
            std::snprintf(first, sizeof first, "%s", pattern.c_str());
        else if (av_get_frame_filename(first, sizeof first, pattern.c_str(), 1) < 0)
            throw ToolError("bad image-sequence pattern " + pattern + " (use one %d, such as out_%04d.png)");
        if (single)
            CheckOutputName(pattern);
        else
            CheckNames(expectedFrames);
        const AVOutputFormat* image2 = av_guess_format("image2", nullptr, nullptr);
        const AVCodecID id = av_guess_codec(image2, nullptr, first, nullptr, AVMEDIA_TYPE_VIDEO);
        const AVCodec* codec = avcodec_find_encoder(id);
        if (id == AV_CODEC_ID_NONE || codec == nullptr)
            throw ToolError("cannot tell the image format of " + pattern + " from its extension (try .png)");
        encoder_ = std::make_unique<PictureEncoder>(codec, width, height, timeBase, frameRate, false);
        description_ = std::string(codec->name) + (single ? " image " : " images ") + pattern;
        RegisterImageSequence(pattern); // an interrupted decode says how far it got
    }

    // A decode that stops early keeps the images it wrote (each is whole) and says so.
    ~ImageSequenceSink() override {
        ForgetImageSequence();
        if (!finished_ && !written_.empty())
            std::fprintf(stderr, "qzkt decode: %s stopped early; %s%s%s %s\n", pattern_.c_str(),
                         written_.front().c_str(), written_.size() > 1 ? " to " : "",
                         written_.size() > 1 ? written_.back().c_str() : "",
                         written_.size() > 1 ? "were written and are kept" : "was written and is kept");
    }

    void Write(const uint8_t* argb, int rowBytes, int64_t pts) override {
        encoder_->Encode(argb, rowBytes, pts, [&](AVPacket* packet) { Save(packet); });
    }

    void Finish() override {
        encoder_->Encode(nullptr, 0, 0, [&](AVPacket* packet) { Save(packet); });
        finished_ = true;
        ForgetImageSequence();
    }

    std::string Description() const override { return description_; }

  private:
    // Refuses a sequence before its first image is written when one of its images would
    // replace an input or a non-file, or, without -y, any existing file. Each image is
    // checked again as it takes its name (see AtomicOutputFile), which covers images beyond
    // this many, a movie whose frame count is unknown, and names that appear meanwhile.
    void CheckNames(int64_t count) const {
        const int64_t kMostChecked = 100000; // a few milliseconds of stat calls
        char name[4096];
        for (int64_t n = 1; n <= std::min(count, kMostChecked); ++n)
            if (av_get_frame_filename(name, sizeof name, pattern_.c_str(), static_cast<int>(n)) == 0) {
                CheckOutputName(name);
                CheckOverwrite(name);
            }
    }

    void Save(AVPacket* packet) {
        char name[4096];
        if (single_) {
            if (!written_.empty()) throw ToolError(SingleImageRefusal(pattern_, 2));
            std::snprintf(name, sizeof name, "%s", pattern_.c_str());
        } else if (av_get_frame_filename(name, sizeof name, pattern_.c_str(),
                                         static_cast<int>(written_.size()) + 1) < 0)
            throw ToolError("the pattern " + pattern_ + " cannot number frame " +
                            std::to_string(written_.size() + 1));
        AtomicOutputFile file(name);
        file.Write(packet->data, static_cast<size_t>(packet->size));
        {
            // A signal while the image takes its name asks the file itself whether it has it.
            const ImageNameWatch watch(file.fd());
            file.Commit();
            SetImagesWritten(static_cast<int>(written_.size()) + 1);
        }
        written_.push_back(name);
    }

    std::string pattern_;
    bool single_ = false;
    std::unique_ptr<PictureEncoder> encoder_;
    std::vector<std::string> written_;
    bool finished_ = false;
    std::string description_;
};

// ---------------------------------------------------------------------------------------
// A lossless video file.

// What follows the last ": " of an error ("cannot start the ffv1 encoder: Function not
// implemented" gives "Function not implemented").
std::string Reason(const std::string& error) {
    const size_t colon = error.rfind(": ");
    return colon == std::string::npos ? error : error.substr(colon + 2);
}

class VideoSink : public FrameSink {
  public:
    VideoSink(const std::string& output, int width, int height, AVRational timeBase, AVRational frameRate,
              const CarryOver* carry, const VideoCoding& coding)
        : path_(output) {
        const AVOutputFormat* container = av_guess_format(nullptr, output.c_str(), nullptr);
        if (container == nullptr)
            throw ToolError("cannot tell what to write from the name " + output +
                            " (use .argb, an image pattern such as out_%04d.png, or a video such as .mkv)");
        std::vector<const AVCodec*> codecs;
        if (!coding.codec.empty()) {
            const AVCodec* asked = avcodec_find_encoder_by_name(coding.codec.c_str());
            if (avformat_query_codec(container, asked->id, FF_COMPLIANCE_UNOFFICIAL) != 1)
                throw ToolError(std::string("the ") + container->name + " container cannot hold " +
                                coding.codec + " video");
            codecs.push_back(asked);
        }
        // UT Video first: lossless, and five times as fast as FFV1 at 1080p for a sixth more
        // bytes, so that writing the video costs about what decoding the movie does.
        for (AVCodecID id : {AV_CODEC_ID_UTVIDEO, AV_CODEC_ID_FFV1, AV_CODEC_ID_PNG, AV_CODEC_ID_RAWVIDEO}) {
            if (!coding.codec.empty()) break;
            const AVCodec* candidate = avcodec_find_encoder(id);
            // Matroska stores UT Video and PNG in its compatibility (VFW) mode, which it reports
            // as unofficial.
            const int compliance = id == AV_CODEC_ID_UTVIDEO || id == AV_CODEC_ID_PNG
                                       ? FF_COMPLIANCE_UNOFFICIAL
                                       : FF_COMPLIANCE_NORMAL;
            if (candidate != nullptr && avformat_query_codec(container, id, compliance) == 1)
                codecs.push_back(candidate);
        }
        if (codecs.empty())
            throw ToolError(std::string("the ") + container->name +
                            " container takes no lossless video codec; use .mkv");

        AVFormatContext* format = nullptr;
        if (avformat_alloc_output_context2(&format, container, nullptr, nullptr) < 0 || format == nullptr)
            throw ToolError("out of memory");
        format_.reset(format);
        file_ = std::make_unique<AtomicOutputFile>(output);
        io_ = std::make_unique<OutputFileIO>(*file_);
        format_->pb = io_->get();
        format_->flags |= AVFMT_FLAG_CUSTOM_IO;

        // An encoder that refuses the size (FFV1 cannot cut 3x5 into 16 slices) leaves it to the
        // next lossless codec.
        const AVCodec* codec = nullptr;
        for (size_t i = 0; i < codecs.size() && codec == nullptr; ++i) {
            try {
                encoder_ = std::make_unique<PictureEncoder>(codecs[i], width, height, timeBase, frameRate,
                                                            (container->flags & AVFMT_GLOBALHEADER) != 0,
                                                            coding.opaque);
                codec = codecs[i];
            } catch (const ToolError& e) {
                if (i + 1 == codecs.size()) throw;
                // The encoder's own words: FFV1, for one, refuses to cut a small picture into
                // its 16 slices, not the picture's size or format as such.
                note_ = std::string("the ") + codecs[i]->name + " encoder refused " + std::to_string(width) +
                        "x" + std::to_string(height) + " pictures (" + Reason(e.what()) +
                        "); writing lossless " + codecs[i + 1]->name + " video instead";
            }
        }
        stream_ = avformat_new_stream(format_.get(), nullptr);
        if (stream_ == nullptr) throw ToolError("out of memory");
        // AVI has no times, only a frame rate: a frame's place is its index at the track's rate,
        // and a fine time base (a movie's 1/12288) became that many frames a second, nearly
        // all of them empty.
        stream_->time_base = std::strcmp(container->name, "avi") == 0 ? av_inv_q(frameRate) : timeBase;
        stream_->avg_frame_rate = frameRate;
        if (avcodec_parameters_from_context(stream_->codecpar, encoder_->context()) < 0)
            throw ToolError("out of memory");
        copier_ = WriteHeaderCarrying(format_.get(), stream_, carry, output);
        description_ = std::string(codec->name) + " video in " + container->name + " to " + output;
    }

    StreamCopier* copier() override { return &copier_; }

    void Write(const uint8_t* argb, int rowBytes, int64_t pts) override {
        encoder_->Encode(argb, rowBytes, pts, [&](AVPacket* packet) { Mux(packet); });
    }

    void Finish() override {
        encoder_->Encode(nullptr, 0, 0, [&](AVPacket* packet) { Mux(packet); });
        WriteTrailerCarrying(format_.get(), copier_, path_);
        file_->Commit();
    }

    std::string Description() const override { return description_; }

  private:
    void Mux(AVPacket* packet) {
        packet->stream_index = stream_->index;
        av_packet_rescale_ts(packet, encoder_->context()->time_base, stream_->time_base);
        const int written = av_interleaved_write_frame(format_.get(), packet);
        if (written < 0) throw ToolError("cannot write " + path_ + ": " + AvErrorText(written));
    }

    std::string path_;
    std::unique_ptr<AtomicOutputFile> file_;
    std::unique_ptr<OutputFileIO> io_;
    std::unique_ptr<PictureEncoder> encoder_;
    AvOutputPtr format_; // freed before the encoder, io_ and file_
    AVStream* stream_ = nullptr;
    StreamCopier copier_;
    std::string description_;
};

} // namespace

bool IsImageSequencePattern(const std::string& name) {
    char probe[4096];
    return av_get_frame_filename(probe, sizeof probe, name.c_str(), 1) == 0;
}

bool IsSingleImageName(const std::string& name) {
    if (IsImageSequencePattern(name)) return false;
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    for (const char* extension : {".png", ".tif", ".tiff", ".jpg", ".jpeg", ".bmp"})
        if (EndsWith(lower, extension)) return true;
    return false;
}

std::string SingleImageRefusal(const std::string& name, int64_t frames) {
    const size_t dot = name.rfind('.');
    const std::string pattern = name.substr(0, dot) + "%04d" + name.substr(dot);
    return name + " is one image, but the movie has " +
           (frames > 1 ? std::to_string(frames) + " frames" : std::string("more than one frame")) +
           "; use a pattern such as " + pattern + " (or --frames 1)";
}

std::unique_ptr<FrameSink> OpenFrameSink(const std::string& output, int width, int height,
                                         AVRational timeBase, AVRational frameRate, int64_t expectedFrames,
                                         const CarryOver* carry, const VideoCoding& coding) {
    if (output == "-" || EndsWith(output, ".argb")) return std::make_unique<RawSink>(output, width, height);
    if (IsImageSequencePattern(output))
        return std::make_unique<ImageSequenceSink>(output, width, height, timeBase, frameRate,
                                                   expectedFrames);
    if (IsSingleImageName(output))
        return std::make_unique<ImageSequenceSink>(output, width, height, timeBase, frameRate, 1, true);
    return std::make_unique<VideoSink>(output, width, height, timeBase, frameRate, carry, coding);
}
