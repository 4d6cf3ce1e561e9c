// qzktdec and qzktenc in one process through GstHarness: every block kind, packing and thread
// setting, at sizes that are and are not whole blocks, byte for byte against libqzkt's own
// qzkt_decode and qzkt_encode on the same frames, with the buffers' times kept. (gst_tests
// checks the same elements in real pipelines with qtdemux, qtmux and the tool.)
#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gtest/gtest.h>
#include <qzkt/qzkt.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

struct Case {
    int width, height;
    qzkt_settings settings; // alpha, dxt24, no_lzf, thread_setting
    unsigned threads;       // qzktenc's threads property for thread_setting
    std::string Name() const {
        return std::to_string(width) + "x" + std::to_string(height) + " alpha " +
               std::to_string(settings.alpha) + " dxt24 " + std::to_string(settings.dxt24) + " no_lzf " +
               std::to_string(settings.no_lzf) + " threads " + std::to_string(threads);
    }
};

std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (const auto& size : {std::pair<int, int>{37, 29}, {5, 3}, {64, 8}})
        for (int alpha = 0; alpha <= 1; ++alpha)
            for (int dxt24 = 0; dxt24 <= 1; ++dxt24)
                for (int noLZF = 0; noLZF <= 1; ++noLZF)
                    if (!(alpha && dxt24)) // alpha wins over the block kind: one DXT5 case a packing
                        cases.push_back({size.first, size.second, {alpha, dxt24, noLZF, 2}, 1});
    // DXT24 with the worker pool: 4 workers, and one per physical core.
    cases.push_back({37, 29, {0, 1, 0, qzkt_thread_setting_for(4)}, 4});
    cases.push_back({37, 29, {0, 1, 0, 1}, 0});
    return cases;
}

const int kFrames = 3;
const GstClockTime kPeriod = GST_SECOND / 25;

Bytes Picture(const Case& c, int frame) {
    Bytes argb(size_t(c.width) * c.height * 4);
    EXPECT_EQ(qzkt_test_picture(argb.data(), c.width, c.height, 0, frame, c.settings.alpha), QZKT_OK);
    return argb;
}

Bytes Encode(const Case& c, const Bytes& argb) {
    qzkt_encoder* encoder = nullptr;
    EXPECT_EQ(qzkt_encoder_create(c.width, c.height, &c.settings, &encoder), QZKT_OK);
    Bytes frame(qzkt_max_frame_size(c.width, c.height, &c.settings));
    size_t size = 0;
    EXPECT_EQ(qzkt_encode(encoder, argb.data(), 0, frame.data(), frame.size(), &size), QZKT_OK);
    qzkt_encoder_destroy(encoder);
    frame.resize(size);
    return frame;
}

Bytes Decode(const Case& c, const Bytes& frame) {
    qzkt_decoder* decoder = nullptr;
    EXPECT_EQ(qzkt_decoder_create(c.width, c.height, QZKT_RENDERER_SOFTWARE, &decoder), QZKT_OK);
    Bytes argb(size_t(c.width) * c.height * 4);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), argb.data(), 0), QZKT_OK)
        << qzkt_decoder_problem(decoder);
    qzkt_decoder_destroy(decoder);
    return argb;
}

GstBuffer* BufferOf(const Bytes& bytes, int index) {
    GstBuffer* buffer = gst_buffer_new_memdup(bytes.data(), bytes.size());
    GST_BUFFER_PTS(buffer) = index * kPeriod;
    GST_BUFFER_DURATION(buffer) = kPeriod;
    return buffer;
}

// The buffer's bytes, and whether its time is frame index's.
Bytes BytesOf(GstBuffer* buffer, int index) {
    EXPECT_EQ(GST_BUFFER_PTS(buffer), GstClockTime(index * kPeriod));
    GstMapInfo map;
    EXPECT_TRUE(gst_buffer_map(buffer, &map, GST_MAP_READ));
    Bytes bytes(map.data, map.data + map.size);
    gst_buffer_unmap(buffer, &map);
    gst_buffer_unref(buffer);
    return bytes;
}

std::string Caps(const char* media, const Case& c) {
    return std::string(media) + ", width=(int)" + std::to_string(c.width) + ", height=(int)" +
           std::to_string(c.height) + ", framerate=(fraction)25/1";
}

class GstHarnessTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        // The built plugin, a registry of this suite's own, and settings no file can change.
        setenv("GST_PLUGIN_PATH", QZKT_GST_PLUGIN_DIR, 1);
        setenv("GST_REGISTRY", QZKT_GST_HARNESS_REGISTRY, 1);
        setenv("XDG_CONFIG_HOME", "/nonexistent/qzkt-gst-harness", 1);
        // Plugins load in this process, not in GStreamer's scanner helper: in a sanitizer build
        // only this process has the runtimes the plugin needs.
        setenv("GST_REGISTRY_FORK", "no", 1);
        gst_init(nullptr, nullptr);
    }
    void SetUp() override {
        for (const char* element : {"qzktdec", "qzktenc"}) {
            GstElementFactory* factory = gst_element_factory_find(element);
            ASSERT_NE(factory, nullptr) << element << " is not in " << QZKT_GST_PLUGIN_DIR;
            gst_object_unref(factory);
        }
    }
};

} // namespace

TEST_F(GstHarnessTest, QzktdecGivesQzktDecodeBytesForEveryBlockKindAndPacking) {
    for (const Case& c : Cases()) {
        if (c.threads != 1) continue; // the thread setting does not reach the decoder
        SCOPED_TRACE(c.Name());
        GstHarness* h = gst_harness_new("qzktdec");
        ASSERT_NE(h, nullptr);
        gst_util_set_object_arg(G_OBJECT(h->element), "renderer", "software");
        gst_harness_set_src_caps_str(h, Caps("video/x-qzkt", c).c_str());
        for (int i = 0; i < kFrames; ++i) {
            const Bytes frame = Encode(c, Picture(c, i));
            ASSERT_EQ(gst_harness_push(h, BufferOf(frame, i)), GST_FLOW_OK);
            GstBuffer* out = gst_harness_pull(h);
            ASSERT_NE(out, nullptr);
            // ARGB rows of any width are width * 4 bytes apart: the buffer is the picture.
            EXPECT_TRUE(BytesOf(out, i) == Decode(c, frame)) << "frame " << i;
        }
        gst_harness_teardown(h);
    }
}

TEST_F(GstHarnessTest, QzktencGivesQzktEncodeBytesForEverySetting) {
    for (const Case& c : Cases()) {
        SCOPED_TRACE(c.Name());
        GstHarness* h = gst_harness_new("qzktenc");
        ASSERT_NE(h, nullptr);
        g_object_set(h->element, "alpha", gboolean(c.settings.alpha), "dxt1", gboolean(!c.settings.dxt24),
                     "no-lzf", gboolean(c.settings.no_lzf), "threads", c.threads, nullptr);
        gst_harness_set_src_caps_str(h, Caps("video/x-raw, format=(string)ARGB", c).c_str());
        gst_harness_set_sink_caps_str(h, "video/x-qzkt");
        for (int i = 0; i < kFrames; ++i) {
            const Bytes picture = Picture(c, i);
            ASSERT_EQ(gst_harness_push(h, BufferOf(picture, i)), GST_FLOW_OK);
            GstBuffer* out = gst_harness_pull(h);
            ASSERT_NE(out, nullptr);
            EXPECT_TRUE(BytesOf(out, i) == Encode(c, picture)) << "frame " << i;
        }
        gst_harness_teardown(h);
    }
}
