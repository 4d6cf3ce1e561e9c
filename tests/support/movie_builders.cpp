// Movies through the tool's QZKTMovieWriter and QZKTMovieReader.
#include "movie_builders.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <unistd.h>

#include "media/qzkt_movie.h"
#include "platform/little_endian.h"

namespace {

Bytes ReadWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

} // namespace

size_t AtomOffset(const Bytes& movie, const char* tag) {
    const auto at = std::search(movie.begin(), movie.end(), tag, tag + 4);
    if (at == movie.end() || at - movie.begin() < 4) throw std::runtime_error(std::string("no atom ") + tag);
    return static_cast<size_t>(at - movie.begin()) - 4;
}

Bytes MovieBytes(int width, int height, const std::vector<Bytes>& samples) {
    char path[] = "/tmp/qzkt_movie_XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) throw std::runtime_error("cannot make a scratch file");
    close(fd);
    {
        QZKTMovieWriter movie(path, width, height, AVRational{1, 10}, AVRational{10, 1});
        for (size_t i = 0; i < samples.size(); ++i) {
            const Bytes sample = samples[i].empty() ? Bytes(1) : samples[i];
            movie.WriteFrame(sample.data(), sample.size(), static_cast<int64_t>(i));
        }
        movie.Finish();
    }
    Bytes movie = ReadWhole(path);
    std::remove(path);
    // stsz: size, type, version and flags, sample size, sample count, then one size a sample.
    for (size_t i = 0; i < samples.size(); ++i)
        if (samples[i].empty()) WriteLE32(&movie.at(AtomOffset(movie, "stsz") + 20 + 4 * i), 0);
    return movie;
}

void WriteMovie(const std::string& path, int width, int height, const std::vector<Bytes>& samples) {
    const Bytes movie = MovieBytes(width, height, samples);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(movie.data()), static_cast<std::streamsize>(movie.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

std::vector<Bytes> MovieSamples(const std::string& movie) {
    std::vector<Bytes> samples;
    QZKTMovieReader reader(movie);
    QZKTSample sample;
    while (reader.Next(sample))
        samples.emplace_back(sample.data, sample.data + sample.size);
    return samples;
}
