// Every result of the public API that a caller can provoke: mistakes of the calling program
// (checked before any work), a buffer one byte short, damaged DXT24 frames (the destination
// stays as it was).
#include <gtest/gtest.h>

#include <climits>
#include <regex>
#include <set>
#include <string>

#include "api_frame_checks.h"

namespace {

const uint8_t kGuard = 0x5A;

} // namespace

TEST(ApiResults, VersionAndResultTexts) {
    EXPECT_STREQ(qzkt_version(), QZKT_EXPECTED_VERSION);
    EXPECT_TRUE(std::regex_match(qzkt_version(), std::regex("[0-9]+\\.[0-9]+\\.[0-9]+")));
    std::set<std::string> texts;
    for (int r = QZKT_OK; r <= QZKT_SETTINGS_NOT_SAVED; ++r)
        texts.insert(qzkt_result_text(static_cast<qzkt_result>(r)));
    EXPECT_EQ(texts.size(), size_t(QZKT_SETTINGS_NOT_SAVED) + 1) << "every result has its own text";
    EXPECT_STREQ(qzkt_result_text(static_cast<qzkt_result>(99)), "unknown result");
}

TEST(ApiArguments, EncoderRefusesCallerMistakes) {
    const qzkt_settings good = Settings(0, 1, 0, 2);
    uint8_t somewhere = 0;
    qzkt_encoder* encoder = reinterpret_cast<qzkt_encoder*>(&somewhere); // must be reset to NULL
    EXPECT_EQ(qzkt_encoder_create(16, 16, &good, nullptr), QZKT_BAD_ARGUMENTS);
    for (const auto& size : {std::pair<int, int>{0, 16}, {16, 0}, {-1, 16}, {32768, 16}, {16, 32768}}) {
        EXPECT_EQ(qzkt_encoder_create(size.first, size.second, &good, &encoder), QZKT_BAD_ARGUMENTS)
            << size.first << "x" << size.second;
        EXPECT_EQ(encoder, nullptr);
        EXPECT_EQ(qzkt_max_frame_size(size.first, size.second, &good), 0u);
    }
    for (const qzkt_settings& bad : {Settings(2, 1, 0, 2), Settings(0, -1, 0, 2), Settings(0, 1, 2, 2),
                                     Settings(0, 1, 0, 0), Settings(0, 1, 0, 10)}) {
        EXPECT_EQ(qzkt_encoder_create(16, 16, &bad, &encoder), QZKT_BAD_ARGUMENTS);
        EXPECT_EQ(encoder, nullptr);
        EXPECT_EQ(qzkt_max_frame_size(16, 16, &bad), 0u);
    }
    // The largest side is accepted.
    ASSERT_EQ(qzkt_encoder_create(32767, 1, &good, &encoder), QZKT_OK);
    qzkt_encoder_destroy(encoder);

    const int w = 21, h = 9;
    ASSERT_EQ(qzkt_encoder_create(w, h, &good, &encoder), QZKT_OK);
    const Bytes picture = MakePicture(w, h, 0, 1, false);
    Bytes frame(qzkt_max_frame_size(w, h, &good));
    size_t size = 7;
    EXPECT_EQ(qzkt_encode(nullptr, picture.data(), 0, frame.data(), frame.size(), &size), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(qzkt_encode(encoder, nullptr, 0, frame.data(), frame.size(), &size), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_encode(encoder, picture.data(), 0, nullptr, frame.size(), &size), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_encode(encoder, picture.data(), 0, frame.data(), frame.size(), nullptr),
              QZKT_BAD_ARGUMENTS);
    size = 7;
    EXPECT_EQ(qzkt_encode(encoder, picture.data(), w * 4 - 1, frame.data(), frame.size(), &size),
              QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(qzkt_encode(encoder, picture.data(), size_t(INT_MAX) + 1, frame.data(), frame.size(), &size),
              QZKT_BAD_ARGUMENTS);
    qzkt_settings used{};
    EXPECT_EQ(qzkt_encoder_settings(nullptr, &used), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_encoder_settings(encoder, nullptr), QZKT_BAD_ARGUMENTS);
    qzkt_encoder_destroy(encoder);
    qzkt_encoder_destroy(nullptr);
}

TEST(ApiArguments, CapacityOneByteShortLeavesTheBufferAndNamesTheSize) {
    const int w = 37, h = 11;
    const Bytes picture = MakePicture(w, h, 0, 2, false);
    for (const qzkt_settings& settings : {Settings(0, 1, 0, 2), Settings(0, 0, 1, 2), Settings(1, 0, 0, 2)}) {
        const Bytes expected = EncodeThroughApi(picture, w, h, 0, settings);
        ASSERT_FALSE(expected.empty());
        EXPECT_LE(expected.size(), qzkt_max_frame_size(w, h, &settings));

        qzkt_encoder* encoder = nullptr;
        ASSERT_EQ(qzkt_encoder_create(w, h, &settings, &encoder), QZKT_OK);
        Bytes frame(expected.size() + 8, kGuard);
        size_t size = 0;
        EXPECT_EQ(qzkt_encode(encoder, picture.data(), 0, frame.data(), expected.size() - 1, &size),
                  QZKT_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, expected.size()) << "the size the frame needs";
        EXPECT_EQ(frame, Bytes(expected.size() + 8, kGuard)) << "nothing written";
        // Exactly the frame's size is enough, and the same encoder goes on working.
        EXPECT_EQ(qzkt_encode(encoder, picture.data(), 0, frame.data(), expected.size(), &size), QZKT_OK);
        EXPECT_EQ(Bytes(frame.begin(), frame.begin() + long(size)), expected);
        EXPECT_EQ(Bytes(frame.begin() + long(size), frame.end()), Bytes(8, kGuard));
        qzkt_encoder_destroy(encoder);
    }
}

TEST(ApiArguments, DecoderRefusesCallerMistakesAndLeavesTheDestination) {
    uint8_t somewhere = 0;
    qzkt_decoder* decoder = reinterpret_cast<qzkt_decoder*>(&somewhere); // must be reset to NULL
    EXPECT_EQ(qzkt_decoder_create(8, 8, QZKT_RENDERER_AUTO, nullptr), QZKT_BAD_ARGUMENTS);
    for (const auto& size : {std::pair<int, int>{0, 8}, {8, 0}, {-5, 8}, {32768, 8}, {8, 32768}}) {
        EXPECT_EQ(qzkt_decoder_create(size.first, size.second, QZKT_RENDERER_AUTO, &decoder),
                  QZKT_BAD_ARGUMENTS);
        EXPECT_EQ(decoder, nullptr);
    }
    EXPECT_EQ(qzkt_decoder_create(8, 8, static_cast<qzkt_renderer>(4), &decoder), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_decoder_create(8, 8, static_cast<qzkt_renderer>(-1), &decoder), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_renderer_available(static_cast<qzkt_renderer>(4)), 0);
    EXPECT_STREQ(qzkt_decoder_s3tc_path(nullptr), "");

    const int w = 9, h = 6;
    const Bytes frame = EncodeThroughApi(MakePicture(w, h, 0, 0, false), w, h, 0, Settings(0, 1, 0, 2));
    ASSERT_EQ(qzkt_decoder_create(w, h, QZKT_RENDERER_AUTO, &decoder), QZKT_OK);
    Bytes argb(w * 4 * h, kGuard);
    const Bytes untouched = argb;
    EXPECT_EQ(qzkt_decode(nullptr, frame.data(), frame.size(), argb.data(), 0), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_decode(decoder, nullptr, frame.size(), argb.data(), 0), QZKT_BAD_ARGUMENTS);
    // No bytes at all are a damaged frame, with or without an address (an empty buffer).
    EXPECT_EQ(qzkt_decode(decoder, nullptr, 0, argb.data(), 0), QZKT_DAMAGED_FRAME);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), 0, argb.data(), 0), QZKT_DAMAGED_FRAME);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), nullptr, 0), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), argb.data(), w * 4 - 1), QZKT_BAD_ARGUMENTS);
    EXPECT_STRNE(qzkt_decoder_problem(decoder), "");
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), size_t(INT_MAX) + 1, argb.data(), 0), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), argb.data(), size_t(INT_MAX) + 1),
              QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(argb, untouched);
    // The decoder is still usable, and a good frame clears the problem.
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), argb.data(), 0), QZKT_OK);
    EXPECT_STREQ(qzkt_decoder_problem(decoder), "");
    EXPECT_STREQ(qzkt_decoder_problem(nullptr), "");
    EXPECT_STREQ(qzkt_decoder_renderer_name(nullptr), "");
    qzkt_decoder_destroy(decoder);
    qzkt_decoder_destroy(nullptr);
}

TEST(ApiDamagedFrames, AreRefusedWithTheirProblemAndTheDestinationUntouched) {
    // DXT24 frames, packed and stored; DXT1 frames in api_opengl_tests (they decode with OpenGL).
    ExpectDamagedFramesRefused(Settings(0, 1, 0, 2));
    ExpectDamagedFramesRefused(Settings(0, 1, 1, 2));
}
