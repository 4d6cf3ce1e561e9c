// qzktdec's GL path in one process through GstHarness, on the GL context GStreamer makes on the
// display (Xvfb in the suite's runs): where downstream asks for RGBA textures, every block kind
// and packing at whole and partial block sizes up to nearly full HD comes out as GL memory whose
// pixels are qzkt_decode's (DXT24 exactly, by the shader and by the CPU into the texture, the CPU
// decoder's bytes; DXT1/DXT5 within the bound
// the format document states for GPU sampling, 2 a channel), with the frames' times; a size
// change re-opens it; a damaged frame is dropped and the stream goes on; gl-memory=false keeps
// system memory.
#include <gst/check/gstharness.h>
#include <gst/gl/gl.h>
#include <gst/gst.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>
#include <qzkt/qzkt.h>

#include "support/reference_pictures.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

const GstClockTime kPeriod = GST_SECOND / 25;
const char kGLCaps[] = "video/x-raw(memory:GLMemory), format=(string)RGBA, texture-target=(string)2D";

Bytes Encode(int width, int height, const qzkt_settings& settings, int frame) {
    Bytes argb(size_t(width) * height * 4);
    EXPECT_EQ(qzkt_test_picture(argb.data(), width, height, 0, frame, settings.alpha), QZKT_OK);
    qzkt_encoder* encoder = nullptr;
    EXPECT_EQ(qzkt_encoder_create(width, height, &settings, &encoder), QZKT_OK);
    Bytes encoded(qzkt_max_frame_size(width, height, &settings));
    size_t size = 0;
    EXPECT_EQ(qzkt_encode(encoder, argb.data(), 0, encoded.data(), encoded.size(), &size), QZKT_OK);
    qzkt_encoder_destroy(encoder);
    encoded.resize(size);
    return encoded;
}

// qzkt_decode's picture as RGBA bytes.
Bytes DecodedRGBA(const Bytes& frame, int width, int height) {
    qzkt_decoder* decoder = nullptr;
    EXPECT_EQ(qzkt_decoder_create(width, height, QZKT_RENDERER_SOFTWARE, &decoder), QZKT_OK);
    Bytes argb(size_t(width) * height * 4);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), argb.data(), 0), QZKT_OK);
    qzkt_decoder_destroy(decoder);
    return ARGBToRGBA(argb);
}

std::string SizeCaps(const char* media, int width, int height) {
    return std::string(media) + ", width=(int)" + std::to_string(width) + ", height=(int)" +
           std::to_string(height) + ", framerate=(fraction)25/1";
}

GstBuffer* BufferOf(const Bytes& bytes, int index) {
    GstBuffer* buffer = gst_buffer_new_memdup(bytes.data(), bytes.size());
    GST_BUFFER_PTS(buffer) = index * kPeriod;
    GST_BUFFER_DURATION(buffer) = kPeriod;
    return buffer;
}

struct Picture {
    bool glMemory = false;
    GstClockTime pts = GST_CLOCK_TIME_NONE;
    Bytes rgba; // width * 4 bytes a row, whatever the buffer's stride
};

// The buffer's pixels read back (GstGLMemory downloads them for a CPU map).
Picture Read(GstBuffer* buffer, int width, int height, GstVideoFormat format) {
    Picture picture;
    picture.glMemory = gst_is_gl_memory(gst_buffer_peek_memory(buffer, 0));
    picture.pts = GST_BUFFER_PTS(buffer);
    GstVideoInfo info;
    gst_video_info_set_format(&info, format, width, height);
    GstVideoFrame frame;
    EXPECT_TRUE(gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ));
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = static_cast<const uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)) +
                             y * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0);
        picture.rgba.insert(picture.rgba.end(), row, row + width * 4);
    }
    gst_video_frame_unmap(&frame);
    gst_buffer_unref(buffer);
    return picture;
}

// qzktdec's decode-path property: how the last frame went.
std::string DecodePath(GstHarness* harness) {
    gchar* text = nullptr;
    g_object_get(harness->element, "decode-path", &text, nullptr);
    std::string path = text != nullptr ? text : "";
    g_free(text);
    return path;
}

GstHarness* GLDecoder(const char* decoding = "auto") {
    GstHarness* h = gst_harness_new("qzktdec");
    gst_util_set_object_arg(G_OBJECT(h->element), "dxt24-decoding", decoding);
    gst_util_set_object_arg(G_OBJECT(h->element), "s3tc-decoding", decoding);
    gst_harness_set_sink_caps_str(h, kGLCaps);
    return h;
}

class GstGLPathTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        setenv("GST_PLUGIN_PATH", QZKT_GST_PLUGIN_DIR, 1);
        setenv("GST_REGISTRY", QZKT_GST_GL_REGISTRY, 1);
        setenv("GST_REGISTRY_FORK", "no", 1); // see gst_harness_test.cpp
        setenv("XDG_CONFIG_HOME", "/nonexistent/qzkt-gst-gl", 1);
        gst_init(nullptr, nullptr);
    }
    void SetUp() override {
        GstElementFactory* factory = gst_element_factory_find("qzktdec");
        ASSERT_NE(factory, nullptr) << "qzktdec is not in " << QZKT_GST_PLUGIN_DIR;
        gst_object_unref(factory);
        ASSERT_NE(getenv("DISPLAY"), nullptr)
            << "GStreamer's GL contexts need a display: run under xvfb-run -a";
    }
};

} // namespace

TEST_F(GstGLPathTest, TexturesHoldTheDecodersPicturesForEveryKindAndSize) {
    // Mesa's llvmpipe: every kind on auto decodes on the CPU; shader draws on the "GPU".
    const char* const drawn = "drawn on the GPU into OpenGL textures";
    const char* const cpu = "decoded on the CPU into OpenGL textures";
    const struct Kind {
        const char* name;
        qzkt_settings settings;
        const char* decoding; // dxt24-/s3tc-decoding: shader, the CPU into the texture, or auto
        int bound;            // largest difference a channel from qzkt_decode
        std::string path;     // decode-path afterwards
    } kinds[] = {{"DXT24 shader", {0, 1, 0, 2}, "shader", 0, std::string("DXT24 ") + drawn},
                 {"DXT24 raw shader", {0, 1, 1, 2}, "shader", 0, std::string("DXT24 ") + drawn},
                 {"DXT24 cpu", {0, 1, 0, 2}, "cpu", 0, std::string("DXT24 ") + cpu},
                 {"DXT24 auto", {0, 1, 1, 2}, "auto", 0, std::string("DXT24 ") + cpu},
                 {"DXT1 shader", {0, 0, 0, 2}, "shader", 2, std::string("DXT1 ") + drawn},
                 {"DXT5 shader", {1, 0, 0, 2}, "shader", 2, std::string("DXT5 ") + drawn},
                 {"DXT1 auto", {0, 0, 1, 2}, "auto", 0, std::string("DXT1 ") + cpu},
                 {"DXT5 cpu", {1, 0, 0, 2}, "cpu", 0, std::string("DXT5 ") + cpu}};
    for (const auto& size : {std::pair<int, int>{1, 1}, {5, 3}, {37, 29}, {1918, 1078}})
        for (const Kind& kind : kinds) {
            const int w = size.first, h = size.second;
            SCOPED_TRACE(std::string(kind.name) + " " + std::to_string(w) + "x" + std::to_string(h));
            GstHarness* harness = GLDecoder(kind.decoding);
            EXPECT_EQ(DecodePath(harness), "none yet");
            gst_harness_set_src_caps_str(harness, SizeCaps("video/x-qzkt", w, h).c_str());
            const int frames = w > 100 ? 2 : 3;
            for (int i = 0; i < frames; ++i) {
                const Bytes frame = Encode(w, h, kind.settings, i);
                ASSERT_EQ(gst_harness_push(harness, BufferOf(frame, i)), GST_FLOW_OK);
                const Picture picture = Read(gst_harness_pull(harness), w, h, GST_VIDEO_FORMAT_RGBA);
                EXPECT_TRUE(picture.glMemory);
                EXPECT_EQ(picture.pts, GstClockTime(i * kPeriod));
                EXPECT_LE(LargestDifference(picture.rgba, DecodedRGBA(frame, w, h)), kind.bound)
                    << "frame " << i;
            }
            EXPECT_EQ(DecodePath(harness), kind.path);
            gst_harness_teardown(harness);
        }
}

TEST_F(GstGLPathTest, ASizeChangeReopensAndADamagedFrameIsDropped) {
    GstHarness* harness = GLDecoder("shader");
    const qzkt_settings dxt24 = {0, 1, 0, 2};
    gst_harness_set_src_caps_str(harness, SizeCaps("video/x-qzkt", 37, 29).c_str());
    const Bytes first = Encode(37, 29, dxt24, 0);
    ASSERT_EQ(gst_harness_push(harness, BufferOf(first, 0)), GST_FLOW_OK);
    EXPECT_EQ(Read(gst_harness_pull(harness), 37, 29, GST_VIDEO_FORMAT_RGBA).rgba,
              DecodedRGBA(first, 37, 29));

    // Cut short: within max-errors the frame is dropped and the stream goes on.
    const Bytes cut(first.begin(), first.end() - 5);
    EXPECT_EQ(gst_harness_push(harness, BufferOf(cut, 1)), GST_FLOW_OK);
    EXPECT_EQ(gst_harness_buffers_in_queue(harness), 0u);

    gst_harness_set_src_caps_str(harness, SizeCaps("video/x-qzkt", 5, 3).c_str());
    const Bytes small = Encode(5, 3, dxt24, 2);
    ASSERT_EQ(gst_harness_push(harness, BufferOf(small, 2)), GST_FLOW_OK);
    const Picture picture = Read(gst_harness_pull(harness), 5, 3, GST_VIDEO_FORMAT_RGBA);
    EXPECT_TRUE(picture.glMemory);
    EXPECT_EQ(picture.pts, GstClockTime(2 * kPeriod));
    EXPECT_EQ(picture.rgba, DecodedRGBA(small, 5, 3));

    // Larger again: the blocks' buffer grows with the frames.
    gst_harness_set_src_caps_str(harness, SizeCaps("video/x-qzkt", 64, 48).c_str());
    const Bytes large = Encode(64, 48, dxt24, 3);
    ASSERT_EQ(gst_harness_push(harness, BufferOf(large, 3)), GST_FLOW_OK);
    EXPECT_EQ(Read(gst_harness_pull(harness), 64, 48, GST_VIDEO_FORMAT_RGBA).rgba,
              DecodedRGBA(large, 64, 48));
    gst_harness_teardown(harness);
}

TEST_F(GstGLPathTest, GLMemoryFalseKeepsARGBInSystemMemory) {
    GstHarness* harness = gst_harness_new("qzktdec");
    g_object_set(harness->element, "gl-memory", FALSE, nullptr);
    gst_harness_set_sink_caps_str(harness,
                                  (std::string(kGLCaps) + "; video/x-raw, format=(string)ARGB").c_str());
    gst_harness_set_src_caps_str(harness, SizeCaps("video/x-qzkt", 37, 29).c_str());
    const Bytes frame = Encode(37, 29, {0, 1, 0, 2}, 0);
    ASSERT_EQ(gst_harness_push(harness, BufferOf(frame, 0)), GST_FLOW_OK);
    const Picture picture = Read(gst_harness_pull(harness), 37, 29, GST_VIDEO_FORMAT_ARGB);
    EXPECT_FALSE(picture.glMemory);
    EXPECT_EQ(DecodePath(harness), "ARGB in system memory");
    gst_harness_teardown(harness);
}

namespace {

// Runs the pipeline to EOS or an error; returns the error's text, "" at EOS, "timeout".
std::string RunToEnd(GstElement* pipeline, GstClockTime timeout = 60 * GST_SECOND) {
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* message =
        gst_bus_timed_pop_filtered(bus, timeout, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    std::string result = message == nullptr ? "timeout" : "";
    if (message != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        result = error != nullptr ? error->message : "error";
        g_clear_error(&error);
    }
    if (message != nullptr) gst_message_unref(message);
    gst_object_unref(bus);
    return result;
}

} // namespace

TEST_F(GstGLPathTest, PlaybinWithGlimagesinkPlaysSeeksAndEnds) {
    char folder[] = "/tmp/qzkt-gst-gl-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string movie = std::string(folder) + "/clip.mov";
    GstElement* record = gst_parse_launch(("videotestsrc num-buffers=50 ! video/x-raw,width=64,height=48,"
                                           "framerate=25/1 ! videoconvert ! qzktenc dxt1=true ! qtmux ! "
                                           "filesink location=" +
                                           movie)
                                              .c_str(),
                                          nullptr);
    ASSERT_NE(record, nullptr);
    gst_element_set_state(record, GST_STATE_PLAYING);
    EXPECT_EQ(RunToEnd(record), "");
    gst_element_set_state(record, GST_STATE_NULL);
    gst_object_unref(record);

    GstElement* playbin = gst_element_factory_make("playbin", nullptr);
    GstElement* sink = gst_element_factory_make("glimagesink", nullptr);
    ASSERT_NE(playbin, nullptr);
    ASSERT_NE(sink, nullptr);
    g_object_set(sink, "sync", FALSE, nullptr);
    g_object_set(playbin, "uri", ("file://" + movie).c_str(), "video-sink", sink, nullptr);
    // Paused, then a flushing seek to the middle, then to the end.
    ASSERT_NE(gst_element_set_state(playbin, GST_STATE_PAUSED), GST_STATE_CHANGE_FAILURE);
    ASSERT_EQ(gst_element_get_state(playbin, nullptr, nullptr, 30 * GST_SECOND), GST_STATE_CHANGE_SUCCESS);
    EXPECT_TRUE(gst_element_seek_simple(
        playbin, GST_FORMAT_TIME, GstSeekFlags(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE), GST_SECOND));
    ASSERT_EQ(gst_element_get_state(playbin, nullptr, nullptr, 30 * GST_SECOND), GST_STATE_CHANGE_SUCCESS);
    gint64 position = -1;
    EXPECT_TRUE(gst_element_query_position(playbin, GST_FORMAT_TIME, &position));
    EXPECT_GE(position, gint64(GST_SECOND) - gint64(kPeriod));
    gst_element_set_state(playbin, GST_STATE_PLAYING);
    EXPECT_EQ(RunToEnd(playbin), "");
    gst_element_set_state(playbin, GST_STATE_NULL);
    gst_object_unref(playbin);
    std::system((std::string("rm -rf ") + folder).c_str());
}
