// Audio decoded to PCM for containers that cannot hold it as it is.
#include "media/audio_convert.h"

#include <algorithm>
#include <cmath>

#include "cli/tool_error.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
}

namespace {

// The decoded sample of channel c at index i, as a fraction of full scale: exact for every
// integer format up to 32 bits and for floats, so that a conversion to the same format
// gives back the same sample.
double ReadSample(const AVFrame* frame, int c, int i) {
    const auto format = static_cast<AVSampleFormat>(frame->format);
    const int channels = frame->ch_layout.nb_channels;
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const uint8_t* base = frame->extended_data[planar ? c : 0];
    const int index = planar ? i : i * channels + c;
    switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_U8:
        return (base[index] - 128) / 128.0;
    case AV_SAMPLE_FMT_S16:
        return reinterpret_cast<const int16_t*>(base)[index] / 32768.0;
    case AV_SAMPLE_FMT_S32:
        return reinterpret_cast<const int32_t*>(base)[index] / 2147483648.0;
    case AV_SAMPLE_FMT_S64:
        return static_cast<double>(reinterpret_cast<const int64_t*>(base)[index]) / 9223372036854775808.0;
    case AV_SAMPLE_FMT_FLT:
        return reinterpret_cast<const float*>(base)[index];
    case AV_SAMPLE_FMT_DBL:
        return reinterpret_cast<const double*>(base)[index];
    default:
        return 0;
    }
}

template <typename T> T Scaled(double x, double scale) {
    const double v = std::nearbyint(x * scale);
    return static_cast<T>(std::clamp(v, -scale, scale - 1));
}

// The PCM encoder that keeps a decoder's precision.
AVCodecID PCMFor(const AVCodecContext* decoder) {
    switch (av_get_packed_sample_fmt(decoder->sample_fmt)) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_S16:
        return AV_CODEC_ID_PCM_S16LE;
    case AV_SAMPLE_FMT_S32:
        return decoder->bits_per_raw_sample > 0 && decoder->bits_per_raw_sample <= 24 ? AV_CODEC_ID_PCM_S24LE
                                                                                      : AV_CODEC_ID_PCM_S32LE;
    case AV_SAMPLE_FMT_S64:
        return AV_CODEC_ID_PCM_S32LE;
    default: // floats, and a format the decoder names only with its first frame
        return AV_CODEC_ID_PCM_F32LE;
    }
}

AVSampleFormat SampleFormatOf(AVCodecID pcm) {
    switch (pcm) {
    case AV_CODEC_ID_PCM_S16LE:
        return AV_SAMPLE_FMT_S16;
    case AV_CODEC_ID_PCM_F32LE:
        return AV_SAMPLE_FMT_FLT;
    default:
        return AV_SAMPLE_FMT_S32;
    }
}

} // namespace

bool MuxerTakes(const AVOutputFormat* format, const AVCodecParameters* parameters) {
    AVFormatContext* output = nullptr;
    if (avformat_alloc_output_context2(&output, format, nullptr, nullptr) < 0) return false;
    bool takes = false;
    AVStream* stream = avformat_new_stream(output, nullptr);
    if (stream != nullptr && avcodec_parameters_copy(stream->codecpar, parameters) >= 0 &&
        avio_open_dyn_buf(&output->pb) >= 0) {
        stream->codecpar->codec_tag = 0;
        stream->time_base = AVRational{1, parameters->sample_rate > 0 ? parameters->sample_rate : 48000};
        // The muxer says why it refuses; the caller's note says it in the tool's words.
        const int level = av_log_get_level();
        av_log_set_level(AV_LOG_QUIET);
        takes = avformat_write_header(output, nullptr) >= 0;
        av_log_set_level(level);
        uint8_t* bytes = nullptr;
        avio_close_dyn_buf(output->pb, &bytes);
        av_free(bytes);
        output->pb = nullptr;
    }
    avformat_free_context(output);
    return takes;
}

AudioConverter::AudioConverter(const AVStream* in, const AVOutputFormat* format)
    : inTimeBase_(in->time_base) {
    const AVCodec* decoder = avcodec_find_decoder(in->codecpar->codec_id);
    if (decoder == nullptr) throw ToolError("this FFmpeg cannot decode it");
    decoder_ = avcodec_alloc_context3(decoder);
    decoded_ = av_frame_alloc();
    packed_ = av_frame_alloc();
    parameters_ = avcodec_parameters_alloc();
    if (decoder_ == nullptr || decoded_ == nullptr || packed_ == nullptr || parameters_ == nullptr ||
        avcodec_parameters_to_context(decoder_, in->codecpar) < 0)
        throw ToolError("out of memory");
    decoder_->pkt_timebase = in->time_base;
    if (avcodec_open2(decoder_, decoder, nullptr) < 0 || decoder_->sample_rate <= 0)
        throw ToolError("its decoder does not open");

    const AVCodecID wanted = PCMFor(decoder_);
    for (const AVCodecID pcm : {wanted, AV_CODEC_ID_PCM_S24LE, AV_CODEC_ID_PCM_S16LE}) {
        avcodec_free_context(&encoder_);
        const AVCodec* encoder = avcodec_find_encoder(pcm);
        encoder_ = encoder != nullptr ? avcodec_alloc_context3(encoder) : nullptr;
        if (encoder_ == nullptr) continue;
        encoder_->sample_fmt = SampleFormatOf(pcm);
        encoder_->sample_rate = decoder_->sample_rate;
        encoder_->time_base = AVRational{1, decoder_->sample_rate};
        if (av_channel_layout_copy(&encoder_->ch_layout, &decoder_->ch_layout) < 0 ||
            encoder_->ch_layout.nb_channels < 1 || avcodec_open2(encoder_, encoder, nullptr) < 0 ||
            avcodec_parameters_from_context(parameters_, encoder_) < 0)
            continue;
        if (MuxerTakes(format, parameters_)) return;
    }
    throw ToolError(std::string("the ") + format->name + " container holds none of its PCM forms");
}

AudioConverter::~AudioConverter() {
    avcodec_free_context(&decoder_);
    avcodec_free_context(&encoder_);
    avcodec_parameters_free(&parameters_);
    av_frame_free(&decoded_);
    av_frame_free(&packed_);
}

AVRational AudioConverter::timeBase() const {
    return encoder_->time_base;
}

std::string AudioConverter::name() const {
    return avcodec_get_name(encoder_->codec_id);
}

void AudioConverter::Convert(const AVPacket* packet, std::vector<AvPacketPtr>& out) {
    // A packet the decoder refuses (damaged) is counted and its sound left out; the rest of
    // the stream goes on.
    if (avcodec_send_packet(decoder_, packet) < 0 && packet != nullptr) ++refused_;
    for (;;) {
        const int got = avcodec_receive_frame(decoder_, decoded_);
        if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) break;
        if (got < 0) {
            ++refused_;
            break;
        }
        EncodeFrame(decoded_, out);
        av_frame_unref(decoded_);
    }
    if (packet != nullptr) return;
    avcodec_send_frame(encoder_, nullptr);
    TakePackets(out);
}

void AudioConverter::TakePackets(std::vector<AvPacketPtr>& out) {
    for (;;) {
        AvPacketPtr encoded(av_packet_alloc());
        if (!encoded) throw ToolError("out of memory");
        if (avcodec_receive_packet(encoder_, encoded.get()) < 0) break;
        out.push_back(std::move(encoded));
    }
}

void AudioConverter::EncodeFrame(const AVFrame* decoded, std::vector<AvPacketPtr>& out) {
    const int channels = encoder_->ch_layout.nb_channels;
    if (decoded->ch_layout.nb_channels != channels || decoded->sample_rate != encoder_->sample_rate) {
        ++refused_; // the stream changed its layout or rate midway: not carried on
        return;
    }
    av_frame_unref(packed_);
    packed_->format = encoder_->sample_fmt;
    packed_->nb_samples = decoded->nb_samples;
    packed_->sample_rate = encoder_->sample_rate;
    if (av_channel_layout_copy(&packed_->ch_layout, &encoder_->ch_layout) < 0 ||
        av_frame_get_buffer(packed_, 0) < 0)
        throw ToolError("out of memory");
    uint8_t* data = packed_->data[0];
    for (int i = 0; i < decoded->nb_samples; ++i)
        for (int c = 0; c < channels; ++c) {
            const double x = ReadSample(decoded, c, i);
            const int at = i * channels + c;
            switch (encoder_->sample_fmt) {
            case AV_SAMPLE_FMT_S16:
                reinterpret_cast<int16_t*>(data)[at] = Scaled<int16_t>(x, 32768.0);
                break;
            case AV_SAMPLE_FMT_S32:
                reinterpret_cast<int32_t*>(data)[at] = Scaled<int32_t>(x, 2147483648.0);
                break;
            default:
                reinterpret_cast<float*>(data)[at] = static_cast<float>(x);
                break;
            }
        }
    const int64_t time = decoded->best_effort_timestamp;
    packed_->pts = time != AV_NOPTS_VALUE ? av_rescale_q(time, inTimeBase_, encoder_->time_base) : nextPts_;
    nextPts_ = packed_->pts + decoded->nb_samples;
    if (avcodec_send_frame(encoder_, packed_) < 0) throw ToolError("the PCM encoder failed");
    TakePackets(out);
}
