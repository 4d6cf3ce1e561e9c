// The worked examples of docs/format.md are the encoder's bytes: each `qzkt-frame` block is
// encoded from its stated picture and settings through the public API and compared byte for
// byte, and its stated decoded pixels are checked through the decoder.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "api_fixture.h"

namespace {

struct Example {
    std::map<std::string, std::string> fields; // width=4 ... from the fence line
    Bytes frame;                               // the block's hex bytes
};

std::vector<Example> ReadExamples(const std::string& path) {
    std::ifstream file(path);
    std::vector<Example> examples;
    std::string line;
    bool inside = false;
    while (std::getline(file, line)) {
        if (!inside && line.rfind("```qzkt-frame", 0) == 0) {
            inside = true;
            examples.emplace_back();
            std::istringstream words(line.substr(13));
            for (std::string word; words >> word;) {
                const size_t equals = word.find('=');
                examples.back().fields[word.substr(0, equals)] = word.substr(equals + 1);
            }
        } else if (inside && line.rfind("```", 0) == 0) {
            inside = false;
        } else if (inside) {
            std::istringstream hex(line.substr(0, line.find('#')));
            for (std::string byte; hex >> byte;)
                examples.back().frame.push_back(static_cast<uint8_t>(std::stoul(byte, nullptr, 16)));
        }
    }
    return examples;
}

// One AARRGGBB value for all pixels, one per column for every row, or every pixel.
Bytes Pixels(const std::string& list, int width, int height) {
    std::vector<uint32_t> values;
    std::istringstream items(list);
    for (std::string item; std::getline(items, item, ',');)
        values.push_back(static_cast<uint32_t>(std::stoul(item, nullptr, 16)));
    Bytes argb;
    for (int i = 0; i < width * height; ++i) {
        const size_t n = values.size();
        const uint32_t v = n == 1 ? values[0] : n == size_t(width) ? values[i % width] : values.at(i);
        for (int shift = 24; shift >= 0; shift -= 8)
            argb.push_back(static_cast<uint8_t>(v >> shift));
    }
    return argb;
}

} // namespace

TEST(FormatDocument, WorkedExamplesAreTheEncodersBytes) {
    const std::vector<Example> examples = ReadExamples(QZKT_SOURCE_DIR "/docs/format.md");
    ASSERT_GE(examples.size(), 6u) << "the examples of docs/format.md were not found";
    for (const Example& example : examples) {
        auto field = [&](const char* name) { return std::stoi(example.fields.at(name)); };
        const int w = field("width"), h = field("height");
        SCOPED_TRACE(example.fields.at("pixels"));
        const qzkt_settings settings = Settings(field("alpha"), field("dxt24"), field("no_lzf"), 2);
        const Bytes picture = Pixels(example.fields.at("pixels"), w, h);
        EXPECT_EQ(EncodeThroughApi(picture, w, h, 0, settings), example.frame);

        const auto decoded = example.fields.find("decoded");
        if (decoded == example.fields.end()) continue;
        qzkt_decoder* decoder = nullptr;
        ASSERT_EQ(qzkt_decoder_create(w, h, QZKT_RENDERER_AUTO, &decoder), QZKT_OK);
        Bytes argb(picture.size());
        EXPECT_EQ(qzkt_decode(decoder, example.frame.data(), example.frame.size(), argb.data(), 0), QZKT_OK);
        EXPECT_EQ(argb, Pixels(decoded->second, w, h));
        qzkt_decoder_destroy(decoder);
    }
}
