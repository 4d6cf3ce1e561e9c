// Finding an image sequence's files.
#include "media/image_sequence.h"

#include <dirent.h>
#include <glob.h>
#include <sys/stat.h>

#include <cctype>
#include <climits>
#include <cstdlib>

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

bool Exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

std::string FileOfNumber(const std::string& pattern, int number) {
    char name[4096];
    return av_get_frame_filename(name, sizeof name, pattern.c_str(), number) == 0 ? name : "";
}

// The lowest number whose image exists: the folder's names are matched against the text
// around the pattern's one conversion (%d, %04d), as ffmpeg would number them.
int LowestNumber(const std::string& pattern) {
    const size_t slash = pattern.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : pattern.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? pattern : pattern.substr(slash + 1);
    const size_t percent = name.find('%');
    size_t end = percent + 1;
    while (end < name.size() && std::isdigit(static_cast<unsigned char>(name[end])))
        ++end;
    if (percent == std::string::npos || end >= name.size() || name[end] != 'd') return -1;
    const std::string prefix = name.substr(0, percent), suffix = name.substr(end + 1);
    int lowest = -1;
    if (DIR* dir = opendir(folder.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string candidate = entry->d_name;
            if (candidate.size() <= prefix.size() + suffix.size() ||
                candidate.compare(0, prefix.size(), prefix) != 0 ||
                candidate.compare(candidate.size() - suffix.size(), suffix.size(), suffix) != 0)
                continue;
            const std::string digits =
                candidate.substr(prefix.size(), candidate.size() - prefix.size() - suffix.size());
            if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos) continue;
            const int number = std::atoi(digits.c_str());
            // Only names the pattern itself gives (the padding included) belong to it.
            if (FileOfNumber(name, number) == candidate && (lowest < 0 || number < lowest)) lowest = number;
        }
        closedir(dir);
    }
    return lowest;
}

} // namespace

ImageSequence FindImageSequence(const std::string& path, int startNumber) {
    ImageSequence sequence;
    if (Exists(path)) return sequence;
    char probe[4096];
    if (av_get_frame_filename(probe, sizeof probe, path.c_str(), 1) == 0) {
        sequence.pattern = true;
        sequence.startNumber = startNumber >= 0 ? startNumber : LowestNumber(path);
        // ffmpeg reads on from the first number up to the first missing image.
        for (int number = sequence.startNumber; number >= 0 && number < INT_MAX; ++number) {
            const std::string file = FileOfNumber(path, number);
            if (file.empty() || !Exists(file)) break;
            sequence.files.push_back(file);
        }
        return sequence;
    }
    if (path.find_first_of("*?[") != std::string::npos) {
        glob_t matches{};
        if (glob(path.c_str(), 0, nullptr, &matches) == 0) {
            sequence.glob = true;
            for (size_t i = 0; i < matches.gl_pathc; ++i)
                sequence.files.push_back(matches.gl_pathv[i]); // sorted, as the demuxer reads them
        }
        globfree(&matches);
    }
    return sequence;
}

void AddDemuxerOptions(const ImageSequence& sequence, AVDictionary** options) {
    if (sequence.pattern && sequence.startNumber >= 0)
        av_dict_set_int(options, "start_number", sequence.startNumber, 0);
    if (sequence.glob) av_dict_set(options, "pattern_type", "glob", 0);
}
