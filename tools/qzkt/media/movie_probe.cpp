// Movie facts from libavformat's reading of the movie's index.
#include "media/movie_probe.h"

#include <cstring>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/pixdesc.h>
}

#include "cli/tool_error.h"
#include "media/ffmpeg_util.h"
#include "media/qzkt_movie.h"
#include "media/video_geometry.h"

namespace {

std::vector<std::pair<std::string, std::string>> Tags(const AVDictionary* dictionary, const char* skip) {
    std::vector<std::pair<std::string, std::string>> tags;
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr)
        if (skip == nullptr || std::strcmp(entry->key, skip) != 0)
            tags.emplace_back(entry->key, entry->value);
    return tags;
}

std::string FourCCText(uint32_t tag) {
    std::string text;
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>((tag >> (8 * i)) & 0xFF);
        text += (c >= 0x20 && c < 0x7F) ? c : '.';
    }
    return text;
}

double Seconds(int64_t duration, AVRational timeBase) {
    return duration == AV_NOPTS_VALUE || duration < 0 ? -1.0 : duration * av_q2d(timeBase);
}

TrackFacts FactsOf(const AVStream* stream) {
    const AVCodecParameters* p = stream->codecpar;
    TrackFacts track;
    track.index = stream->index;
    track.qzkt = IsQZKTTrack(p);
    const bool timecode = p->codec_tag == MKTAG('t', 'm', 'c', 'd');
    switch (p->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        track.kind = "video";
        track.width = p->width;
        track.height = p->height;
        {
            const VideoGeometry geometry = GeometryOf(nullptr, stream);
            track.pixelAspect = PixelAspectText(geometry.pixelAspect);
            track.rotated = geometry.rotated;
            track.rotation = geometry.rotation;
            if (geometry.primaries != AVCOL_PRI_UNSPECIFIED)
                track.primaries = av_color_primaries_name(geometry.primaries);
            if (geometry.transfer != AVCOL_TRC_UNSPECIFIED)
                track.transfer = av_color_transfer_name(geometry.transfer);
        }
        break;
    case AVMEDIA_TYPE_AUDIO:
        track.kind = "audio";
        track.sampleRate = p->sample_rate;
        track.channels = p->ch_layout.nb_channels;
        break;
    case AVMEDIA_TYPE_SUBTITLE:
        track.kind = "subtitle";
        break;
    default:
        track.kind = timecode ? "timecode" : "data";
        break;
    }
    track.codec = p->codec_id != AV_CODEC_ID_NONE ? avcodec_get_name(p->codec_id) : FourCCText(p->codec_tag);
    const AVDictionaryEntry* language = av_dict_get(stream->metadata, "language", nullptr, 0);
    track.language = language != nullptr && language->value[0] != '\0' ? language->value : "und";
    track.duration = Seconds(stream->duration, stream->time_base);
    const AVDictionaryEntry* start = av_dict_get(stream->metadata, "timecode", nullptr, 0);
    if (timecode && start != nullptr) track.timecode = start->value;
    track.tags = Tags(stream->metadata, "language");
    return track;
}

} // namespace

MovieFacts ProbeMovie(const std::string& path) {
    AVFormatContext* opened = nullptr;
    const int status = avformat_open_input(&opened, path.c_str(), nullptr, nullptr);
    if (status < 0) {
        if (status == AVERROR(ENOENT)) throw ToolError("cannot open " + path + ": " + AvErrorText(status));
        throw ToolError(path + " is not a readable QuickTime movie (" + AvErrorText(status) + ")");
    }
    AvInputPtr format(opened);
    const int found = FindStreamInfo(format.get());
    if (found < 0) throw ToolError(path + " is not a readable QuickTime movie (" + AvErrorText(found) + ")");

    MovieFacts movie;
    movie.formatName = format->iformat->name;
    movie.duration = format->duration == AV_NOPTS_VALUE ? -1.0 : format->duration / double(AV_TIME_BASE);
    movie.fileSize = format->pb != nullptr ? avio_size(format->pb) : -1;
    movie.tags = Tags(format->metadata, nullptr);
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        movie.tracks.push_back(FactsOf(stream));
        if (!movie.tracks.back().qzkt || movie.listedSamples > 0) continue;

        // The sample tables as the demuxer read them: where each sample lies, and when.
        const int count = avformat_index_get_entries_count(stream);
        movie.listedSamples = count;
        for (int s = 0; s < count; ++s) {
            const AVIndexEntry* entry = avformat_index_get_entry(const_cast<AVStream*>(stream), s);
            if (entry == nullptr) continue;
            if (movie.fileSize < 0 || entry->pos + entry->size <= movie.fileSize) ++movie.samplesInside;
        }
        // The track's duration: the sum of its sample durations.
        if (count > 0) movie.samplesDuration = Seconds(stream->duration, stream->time_base);
    }
    return movie;
}
