// Reading the malformed corpus's manifest.
#include "corpus_manifest.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

static std::string Target(const Entry& entry) {
    return entry.file.substr(0, entry.file.find('/'));
}

std::vector<Entry> Manifest() {
    std::vector<Entry> entries;
    std::ifstream in(std::string(QZKT_FUZZ_CORPUS) + "/manifest.txt");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        Entry entry;
        fields >> entry.file >> entry.size >> std::ws;
        std::getline(fields, entry.expected);
        entries.push_back(entry);
    }
    return entries;
}

std::vector<Entry> ManifestOf(const std::string& target) {
    std::vector<Entry> entries;
    for (const Entry& entry : Manifest())
        if (Target(entry) == target) entries.push_back(entry);
    EXPECT_FALSE(entries.empty()) << target;
    return entries;
}

Bytes CorpusFile(const Entry& entry) {
    std::ifstream in(std::string(QZKT_FUZZ_CORPUS) + "/" + entry.file, std::ios::binary);
    EXPECT_TRUE(in.good()) << entry.file;
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

std::map<std::string, std::string> Fields(const std::string& text) {
    std::map<std::string, std::string> fields;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        fields[word.substr(0, equals)] = equals == std::string::npos ? "" : word.substr(equals + 1);
    }
    return fields;
}
