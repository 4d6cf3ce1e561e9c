// The malformed-input corpus's manifest (fuzz/corpus/manifest.txt): every file with the size it
// is read at and its expected outcome, one line each.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

struct Entry {
    std::string file; // <target>/<name>
    std::string size; // WxH or -
    std::string expected;
};

// Every entry of the manifest, in its order.
std::vector<Entry> Manifest();
// The entries of one target's folder ("frame", "movie", "settings", "bmp"); a test failure
// when there are none.
std::vector<Entry> ManifestOf(const std::string& target);
// The bytes of an entry's file.
Bytes CorpusFile(const Entry& entry);
// "WxH".
std::string SizeText(int width, int height);
// Named values of an expected movie outcome ("frames=2 ... decode=3"); "error" maps to "".
std::map<std::string, std::string> Fields(const std::string& text);
