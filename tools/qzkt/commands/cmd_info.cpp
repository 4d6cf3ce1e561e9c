// qzkt info: a movie's tracks, its QZKT track and the header of every frame, as text or JSON.
#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>
#include <qzkt/qzkt.h>

#include "cli/options.h"
#include "cli/tool_error.h"
#include "codec/codec.h"
#include "commands/commands.h"
#include "media/movie_probe.h"
#include "media/qzkt_movie.h"

namespace {

using Json = nlohmann::ordered_json;

const char* kHelp =
    "usage: qzkt info [--summary] [--json] INPUT.mov...\n"
    "\n"
    "For each movie: the container (duration, size, metadata), every track (index, kind,\n"
    "codec, language, duration), and the QZKT track: size, frame count, duration and frame\n"
    "rate (the average over the samples' duration; the nominal rate too when it differs, as\n"
    "in a variable-rate movie), then for every frame its time, stored size, compression\n"
    "ratio against 32-bit ARGB and header fields (blocks: DXT1, DXT5, DXT24, or DXT24A for\n"
    "DXT24 with the alpha flag; packing: LZF or raw; payload bytes: the blocks before\n"
    "packing; header: the header's size in bytes; plane flag: header byte 25, 1 when the\n"
    "encoder's dxt24 setting was off). --summary prints totals instead of a line per frame.\n"
    "Several movies are listed one after the other, each under its own heading.\n"
    "\n"
    "Exit status: 0 when every movie is whole (damaged frames are listed, not an error);\n"
    "3 when a movie is cut short (its track lists frames that are not in the file: the frames\n"
    "that are there are listed, as qzkt decode decodes them); 1 when a movie cannot be read;\n"
    "with several movies the worst of these (1 before 3 before 0).\n"
    "\n"
    "  --summary        one summary per movie instead of a line per frame\n"
    "  --json           the same facts as one JSON document on standard output:\n"
    "                     {\"files\": [ one object per INPUT, in order:\n"
    "                       {\"filename\", \"status\" (0, 1 or 3, as above),\n"
    "                        \"error\" (only when status is not 0),\n"
    "                        \"format\": {\"format_name\", \"duration\" (s), \"size\" (bytes),\n"
    "                                   \"tags\": {...}},\n"
    "                        \"streams\": [{\"index\", \"codec_type\" (video, audio, timecode,\n"
    "                                   subtitle, data), \"codec_name\", \"language\",\n"
    "                                   \"duration\" (s, null when unknown), \"tags\": {...};\n"
    "                                   video: \"width\", \"height\", \"sample_aspect_ratio\"\n"
    "                                   (\"64:45\", \"1:1\"), \"rotation\" (degrees or null),\n"
    "                                   \"color_primaries\", \"color_transfer\" (or null);\n"
    "                                   audio: \"sample_rate\",\n"
    "                                   \"channels\"; timecode: \"timecode\"; the QZKT track:\n"
    "                                   \"qzkt\": true, \"nb_frames\" (listed),\n"
    "                                   \"avg_frame_rate\" (frames over the samples' duration),\n"
    "                                   \"nominal_frame_rate\"}],\n"
    "                        \"summary\": {\"frames\" (read), \"damaged\", \"dxt1\", \"dxt5\", \"dxt24\",\n"
    "                                   \"dxt24_alpha_flag\", \"stored_bytes\", \"smallest\",\n"
    "                                   \"largest\", \"ratio\", \"mbit_per_second\",\n"
    "                                   \"s3tc_decoder\" (with DXT1/DXT5 frames: \"cpu\" or\n"
    "                                   \"opengl\", where qzkt decode decodes them here)},\n"
    "                        \"frames\": [{\"frame\" (from 1), \"time\" (s), \"stored_size\",\n"
    "                                   \"intact\", \"problem\", \"ratio\", \"blocks\" (DXT1, DXT5,\n"
    "                                   DXT24, DXT24A), \"alpha\", \"packing\" (LZF or raw),\n"
    "                                   \"payload_size\", \"header_size\", \"version\",\n"
    "                                   \"block_colour_plane\"}] (not with --summary)}]}\n"
    "                   Members are only added in later versions, never renamed; an\n"
    "                   unreadable movie has only filename, status and error.\n"
    "  --prefs-dir DIR  folder of the settings file (not used by this command)\n";

const char* BlockName(const qzkt_frame_info& info) {
    switch (info.kind) {
    case QZKT_BLOCKS_DXT1:
        return "DXT1";
    case QZKT_BLOCKS_DXT5:
        return "DXT5";
    case QZKT_BLOCKS_DXT24:
        return "DXT24";
    default:
        return "DXT24A";
    }
}

// The worse of two exit statuses: a failure before a cut movie before a whole one.
int Worse(int a, int b) {
    auto rank = [](int status) { return status == kExitOK ? 0 : status == kExitDamagedFrames ? 1 : 2; };
    return rank(a) >= rank(b) ? a : b;
}

Json Seconds(double seconds) {
    return seconds >= 0 ? Json(seconds) : Json(nullptr);
}

Json TagsJson(const std::vector<std::pair<std::string, std::string>>& tags) {
    Json object = Json::object();
    for (const auto& [key, value] : tags)
        object[key] = value;
    return object;
}

std::string DurationText(double seconds) {
    if (seconds < 0) return "?";
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", seconds);
    return text;
}

std::string SizeText(int64_t bytes) {
    char text[48];
    if (bytes < 0) return "size unknown";
    if (bytes < 10000)
        std::snprintf(text, sizeof text, "%" PRId64 " bytes", bytes);
    else if (bytes < 10000000)
        std::snprintf(text, sizeof text, "%.1f kB", bytes / 1e3);
    else
        std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
    return text;
}

std::string TrackDetails(const TrackFacts& t) {
    std::string text;
    if (t.kind == "video") {
        text = std::to_string(t.width) + "x" + std::to_string(t.height);
        if (!t.pixelAspect.empty()) text += ", pixel aspect " + t.pixelAspect;
        if (t.rotated && t.rotation != 0) {
            char degrees[48];
            std::snprintf(degrees, sizeof degrees, ", rotation %g degrees", t.rotation);
            text += degrees;
        }
        if (!t.primaries.empty() || !t.transfer.empty())
            text += ", colours " + (t.primaries.empty() ? "?" : t.primaries) + "/" +
                    (t.transfer.empty() ? "?" : t.transfer);
    }
    if (t.kind == "audio")
        text = std::to_string(t.sampleRate) + " Hz, " + std::to_string(t.channels) +
               (t.channels == 1 ? " channel" : " channels");
    if (!t.timecode.empty()) text = "starts at " + t.timecode;
    if (t.qzkt) text += ", the QZKT frames";
    for (const auto& [key, value] : t.tags)
        if (key == "title") text += (text.empty() ? "" : ", ") + key + " \"" + value + "\"";
    return text;
}

// What one movie gives: the report on standard output (text) or into file (JSON), and the
// exit status for it. Unreadable movies throw ToolError.
class MovieReport {
  public:
    MovieReport(const std::string& path, bool summary, bool json)
        : path_(path), summary_(summary), json_(json) {}

    int Run(Json& file) {
        const MovieFacts facts = ProbeMovie(path_);
        QZKTMovieReader movie(path_);
        width_ = movie.width();
        height_ = movie.height();
        if (!json_) PrintHeading(facts, movie);
        if (!json_ && !summary_)
            std::printf("%7s %9s %12s %8s  %-7s %5s %-7s %13s %6s %7s %10s\n", "frame", "time (s)",
                        "stored bytes", "ratio", "blocks", "alpha", "packing", "payload bytes", "header",
                        "version", "plane flag");
        Json frames = Json::array();
        QZKTSample sample;
        while (movie.Next(sample))
            AddFrame(sample, movie.timeBase(), frames);
        // A track whose sample tables were lost (a file cut short in its index) lists no samples.
        if (frames_ == 0) throw ToolError(path_ + " has no frames in its QZKT track");

        const int64_t listed = std::max<int64_t>({facts.listedSamples, movie.frameCount(), frames_});
        // A sample that runs past the file's end but still holds its whole frame (its size in
        // the index overstated) loses nothing: qzkt decode writes that frame too.
        int64_t inside = frames_;
        if (facts.listedSamples > 0) {
            inside = std::min(facts.samplesInside, frames_);
            inside += std::count(intact_.begin() + inside, intact_.end(), true);
        }
        std::string cut;
        if (inside < listed)
            cut = path_ + " is cut short: only " + std::to_string(inside) + " of its " +
                  std::to_string(listed) + " frames lie wholly inside the file";
        const double duration = facts.samplesDuration > 0 ? facts.samplesDuration : facts.duration;
        const double average = duration > 0 ? listed / duration : 0.0;
        const double nominal = av_q2d(movie.frameRate());

        if (json_) {
            file["status"] = cut.empty() ? kExitOK : kExitDamagedFrames;
            if (!cut.empty()) file["error"] = cut;
            file["format"] = {{"format_name", facts.formatName},
                              {"duration", Seconds(facts.duration)},
                              {"size", facts.fileSize},
                              {"tags", TagsJson(facts.tags)}};
            file["streams"] = StreamsJson(facts, listed, average, nominal);
            file["summary"] = SummaryJson(average);
            if (!summary_) file["frames"] = std::move(frames);
        } else if (summary_) {
            PrintSummary(average);
        }
        if (!cut.empty()) std::fprintf(stderr, "qzkt info: %s\n", cut.c_str());
        return cut.empty() ? kExitOK : kExitDamagedFrames;
    }

  private:
    double RawFrameBytes() const { return 4.0 * width_ * height_; }

    void PrintHeading(const MovieFacts& facts, const QZKTMovieReader& movie) {
        const double duration = facts.samplesDuration > 0 ? facts.samplesDuration : facts.duration;
        const int64_t listed = std::max(facts.listedSamples, movie.frameCount());
        const double average = duration > 0 ? listed / duration : 0.0;
        const double nominal = av_q2d(movie.frameRate());
        std::printf("%s: QZKT video %dx%d, %" PRId64 " frame%s, %s, %.3f fps", path_.c_str(), width_, height_,
                    listed, listed == 1 ? "" : "s", DurationText(duration).c_str(),
                    average > 0 ? average : nominal);
        if (average > 0 && std::fabs(average - nominal) > 0.0005 * nominal)
            std::printf(" on average (nominal rate %.3f fps: the frames are not evenly spaced)", nominal);
        std::printf("\n  movie: %s, %s", DurationText(facts.duration).c_str(),
                    SizeText(facts.fileSize).c_str());
        for (const auto& [key, value] : facts.tags)
            if (key == "title" || key == "creation_time")
                std::printf(", %s \"%s\"", key.c_str(), value.c_str());
        std::printf("\n  %5s  %-8s  %-6s  %-8s  %10s  %s\n", "track", "kind", "codec", "language", "duration",
                    "details");
        for (const TrackFacts& t : facts.tracks)
            std::printf("  %5d  %-8s  %-6s  %-8s  %10s  %s\n", t.index, t.kind.c_str(), t.codec.c_str(),
                        t.language.c_str(), DurationText(t.duration).c_str(), TrackDetails(t).c_str());
    }

    void AddFrame(const QZKTSample& sample, AVRational timeBase, Json& frames) {
        ++frames_;
        qzkt_frame_info info;
        qzkt_inspect_frame(sample.data, sample.size, width_, height_, &info);
        const int64_t size = static_cast<int64_t>(sample.size);
        totalBytes_ += size;
        smallest_ = std::min(smallest_, size);
        largest_ = std::max(largest_, size);
        if (!info.intact)
            ++damaged_;
        else
            ++kinds_[info.kind];
        intact_.push_back(info.intact != 0);
        if (summary_) return;

        const double seconds = sample.pts * av_q2d(timeBase);
        const double ratio = size > 0 ? RawFrameBytes() / size : 0.0;
        std::string problem = info.problem;
        if (!info.has_header) problem = std::to_string(size) + " bytes, " + problem;
        if (json_) {
            Json frame = {{"frame", frames_},           {"time", seconds},    {"stored_size", size},
                          {"intact", info.intact != 0}, {"problem", problem}, {"ratio", ratio}};
            if (info.has_header) {
                frame["blocks"] = BlockName(info);
                frame["alpha"] = info.alpha;
                frame["packing"] = info.packing == 1 ? "LZF" : "raw";
                frame["payload_size"] = info.payload_size;
                frame["header_size"] = info.header_size;
                frame["version"] = info.version;
                frame["block_colour_plane"] = info.block_colour_plane;
            }
            frames.push_back(std::move(frame));
            return;
        }
        if (!info.intact) {
            std::printf("%7" PRId64 " %9.3f %12" PRId64 " %8s  %-7s %s\n", frames_, seconds, size, "-",
                        "damaged", problem.c_str());
            return;
        }
        std::printf("%7" PRId64 " %9.3f %12" PRId64 " %6.2f:1  %-7s %5u %-7s %13zu %6u %7u %10u\n", frames_,
                    seconds, size, ratio, BlockName(info), info.alpha, info.packing == 1 ? "LZF" : "raw",
                    info.payload_size, info.header_size, info.version, info.block_colour_plane);
    }

    Json StreamsJson(const MovieFacts& facts, int64_t listed, double average, double nominal) const {
        Json streams = Json::array();
        for (const TrackFacts& t : facts.tracks) {
            Json s = {{"index", t.index},
                      {"codec_type", t.kind},
                      {"codec_name", t.codec},
                      {"language", t.language},
                      {"duration", Seconds(t.duration)}};
            if (t.kind == "video") {
                s["width"] = t.width;
                s["height"] = t.height;
                s["sample_aspect_ratio"] = t.pixelAspect.empty() ? "1:1" : t.pixelAspect;
                s["rotation"] = t.rotated ? Json(t.rotation) : Json(nullptr);
                s["color_primaries"] = t.primaries.empty() ? Json(nullptr) : Json(t.primaries);
                s["color_transfer"] = t.transfer.empty() ? Json(nullptr) : Json(t.transfer);
            }
            if (t.kind == "audio") {
                s["sample_rate"] = t.sampleRate;
                s["channels"] = t.channels;
            }
            if (t.kind == "timecode") s["timecode"] = t.timecode;
            if (t.qzkt) {
                s["qzkt"] = true;
                s["nb_frames"] = listed;
                s["avg_frame_rate"] = average;
                s["nominal_frame_rate"] = nominal;
            }
            s["tags"] = TagsJson(t.tags);
            streams.push_back(std::move(s));
        }
        return streams;
    }

    // Where this machine decodes the movie's DXT1/DXT5 frames (qzkt decode's default), "" for a
    // movie without any: "cpu" or "opengl".
    std::string S3TCDecoder() const {
        if (kinds_[QZKT_BLOCKS_DXT1] + kinds_[QZKT_BLOCKS_DXT5] == 0) return "";
        return DecodesS3TCOnCPU(QZKT_RENDERER_AUTO) ? "cpu" : "opengl";
    }

    Json SummaryJson(double rate) const {
        Json summary = {{"frames", frames_},
                        {"damaged", damaged_},
                        {"dxt1", kinds_[QZKT_BLOCKS_DXT1]},
                        {"dxt5", kinds_[QZKT_BLOCKS_DXT5]},
                        {"dxt24", kinds_[QZKT_BLOCKS_DXT24]},
                        {"dxt24_alpha_flag", kinds_[QZKT_BLOCKS_DXT24_ALPHA_FLAG]},
                        {"stored_bytes", totalBytes_},
                        {"smallest", smallest_},
                        {"largest", largest_},
                        {"ratio", totalBytes_ > 0 ? RawFrameBytes() * frames_ / totalBytes_ : 0.0},
                        {"mbit_per_second", totalBytes_ * 8.0 * rate / frames_ / 1e6}};
        const std::string decoder = S3TCDecoder();
        if (!decoder.empty()) summary["s3tc_decoder"] = decoder;
        return summary;
    }

    void PrintSummary(double rate) const {
        std::printf("frames      %" PRId64 " (DXT1 %" PRId64 ", DXT5 %" PRId64 ", DXT24 %" PRId64
                    ", DXT24 with alpha flag %" PRId64 ", damaged %" PRId64 ")\n",
                    frames_, kinds_[0], kinds_[1], kinds_[2], kinds_[3], damaged_);
        std::printf("stored      %" PRId64 " bytes, %.0f per frame (smallest %" PRId64 ", largest %" PRId64
                    ")\n",
                    totalBytes_, static_cast<double>(totalBytes_) / frames_, smallest_, largest_);
        std::printf("ratio       %.2f:1 against 32-bit ARGB\n",
                    totalBytes_ > 0 ? RawFrameBytes() * frames_ / totalBytes_ : 0.0);
        if (rate > 0)
            std::printf("data rate   %.1f Mbit/s at %.3f fps\n", totalBytes_ * 8.0 * rate / frames_ / 1e6,
                        rate);
        const std::string decoder = S3TCDecoder();
        if (!decoder.empty())
            std::printf("decoding    DXT1/DXT5 frames on %s here\n",
                        decoder == "cpu" ? "the CPU decoder (no GPU)" : "the GPU (OpenGL)");
    }

    std::string path_;
    bool summary_, json_;
    int width_ = 0, height_ = 0;
    int64_t frames_ = 0, damaged_ = 0, totalBytes_ = 0, smallest_ = INT64_MAX, largest_ = 0;
    int64_t kinds_[4] = {};    // by qzkt_block_kind
    std::vector<bool> intact_; // each frame read, in order
};

} // namespace

int RunInfo(const Args& args) {
    const Options options(args, {"--help", "--summary", "--json"}, {"--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.positional().empty()) throw UsageError("give one or more INPUT.mov");
    ApplyPrefsDir(options.Value("--prefs-dir"));
    const bool json = options.Has("--json"), summary = options.Has("--summary");
    const std::vector<std::string>& paths = options.positional();

    // One movie: its failure is the command's, reported as any command reports one.
    if (paths.size() == 1 && !json) {
        Json unused;
        return MovieReport(paths[0], summary, false).Run(unused);
    }

    int status = kExitOK;
    Json document = {{"files", Json::array()}};
    for (size_t i = 0; i < paths.size(); ++i) {
        Json file = {{"filename", paths[i]}};
        if (!json && i > 0) std::printf("\n");
        try {
            status = Worse(status, MovieReport(paths[i], summary, json).Run(file));
        } catch (const ToolError& e) {
            std::fflush(stdout);
            std::fprintf(stderr, "qzkt info: %s\n", e.what());
            file["status"] = kExitFailure;
            file["error"] = e.what();
            status = Worse(status, kExitFailure);
        }
        if (json) document["files"].push_back(std::move(file));
    }
    // Titles, tags and file names need not be UTF-8 (a Latin-1 title, a name with byte 0xff):
    // such bytes are written as U+FFFD, so that the document is always written and valid.
    if (json) std::printf("%s\n", document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
    return status;
}
