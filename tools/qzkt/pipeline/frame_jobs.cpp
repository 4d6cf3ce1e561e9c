// Filling and running the encode and decode jobs.
#include "pipeline/frame_jobs.h"

#include <cstring>

void FillEncodeJob(EncodeJob& job, ArgbFrame& frame, int width, int height) {
    const size_t rowBytes = static_cast<size_t>(width) * 4;
    job.pts = frame.pts;
    job.mapped.reset();
    if (frame.mapped != nullptr) {
        // A raw file's frames are read where the kernel keeps them: no copy at all.
        job.mapped = frame.mapped;
        job.pixels = frame.data;
        return;
    }
    if (frame.buffer != nullptr && frame.buffer->size() == rowBytes * height) {
        // A 1080p frame's copy cost as much as reading it (5% of an encode).
        job.argb.swap(*frame.buffer);
        frame.buffer = nullptr;
        frame.data = nullptr;
    } else {
        job.argb.resize(rowBytes * height);
        for (int y = 0; y < height; ++y)
            std::memcpy(&job.argb[rowBytes * y], frame.data + static_cast<size_t>(frame.rowBytes) * y,
                        rowBytes);
    }
    job.pixels = job.argb.data();
}

void RunEncodeJob(FrameEncoder& encoder, EncodeJob& job, int width) {
    encoder.EncodeInto(job.pixels, width * 4, job.encoded);
}

std::vector<std::unique_ptr<FrameEncoder>> OpenEncoders(int jobs, int width, int height,
                                                        SettingsChoice choice) {
    if (jobs > 1) choice.threadSetting = ThreadSettingFor("1");
    // Without options the compressor reads the machine-wide settings itself, as for any host.
    const auto settings = ResolveSettings(choice);
    std::vector<std::unique_ptr<FrameEncoder>> encoders;
    for (int i = 0; i < jobs; ++i)
        encoders.push_back(std::make_unique<FrameEncoder>(width, height, choice.Any() ? &settings : nullptr));
    return encoders;
}

void FillDecodeJob(DecodeJob& job, QZKTSample& sample) {
    av_packet_unref(job.sample.get());
    av_packet_move_ref(job.sample.get(), sample.packet);
    sample.data = nullptr;
    sample.packet = nullptr;
    job.pts = sample.pts;
}

void RunDecodeJob(FrameDecoder& decoder, DecodeJob& job, int width, int height) {
    job.picture.resize(static_cast<size_t>(width) * height * 4);
    job.decoded = decoder.Decode(job.sample->data, static_cast<size_t>(job.sample->size), job.picture.data(),
                                 width * 4);
}

std::vector<std::unique_ptr<FrameDecoder>> OpenDecoders(int jobs, int width, int height,
                                                        qzkt_renderer renderer) {
    std::vector<std::unique_ptr<FrameDecoder>> decoders;
    for (int i = 0; i < jobs; ++i)
        decoders.push_back(std::make_unique<FrameDecoder>(width, height, renderer));
    return decoders;
}
