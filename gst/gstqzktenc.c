/* qzktenc: a GstVideoEncoder that turns each ARGB picture into one QZKT key frame through
   qzkt_encode, with the same settings as `qzkt encode` (alpha, dxt1, no-lzf, threads). */
#include "gstqzktenc.h"

#include <gst/video/video.h>

#include "gstqzktcaps.h"

GST_DEBUG_CATEGORY_STATIC(gst_qzkt_enc_debug);
#define GST_CAT_DEFAULT gst_qzkt_enc_debug

enum { PROP_0, PROP_ALPHA, PROP_DXT1, PROP_NO_LZF, PROP_THREADS };

/* The codec's defaults: DXT24 blocks, LZF, one thread. */
#define DEFAULT_ALPHA FALSE
#define DEFAULT_DXT1 FALSE
#define DEFAULT_NO_LZF FALSE
#define DEFAULT_THREADS 1
#define MAX_THREADS 1024

#define QZKT_FOURCC GST_MAKE_FOURCC('Q', 'Z', 'K', 'T')

static GstStaticPadTemplate sink_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS,
                            GST_STATIC_CAPS("video/x-raw, format = (string) ARGB, " QZKT_CAPS_FIELDS));

/* video/x-qzkt for any consumer; qtmux writes a video/x-qt-part stream as a track whose
   sample entry is the four-character code in "format" (GST_MAKE_FOURCC ('Q', 'Z', 'K', 'T') = 1414224465). */
static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("video/x-qzkt, " QZKT_CAPS_FIELDS "; "
                    "video/x-qt-part, format = (uint) 1414224465, " QZKT_CAPS_FIELDS));

#define gst_qzkt_enc_parent_class parent_class
G_DEFINE_TYPE(GstQzktEnc, gst_qzkt_enc, GST_TYPE_VIDEO_ENCODER);
GST_ELEMENT_REGISTER_DEFINE(qzktenc, "qzktenc", GST_RANK_PRIMARY, GST_TYPE_QZKT_ENC);

static void close_encoder(GstQzktEnc* self) {
    qzkt_encoder_destroy(self->encoder);
    self->encoder = NULL;
    self->max_frame_size = 0;
}

static void gst_qzkt_enc_set_property(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    GstQzktEnc* self = GST_QZKT_ENC(object);
    GST_OBJECT_LOCK(self);
    switch (id) {
    case PROP_ALPHA:
        self->alpha = g_value_get_boolean(value);
        break;
    case PROP_DXT1:
        self->dxt1 = g_value_get_boolean(value);
        break;
    case PROP_NO_LZF:
        self->no_lzf = g_value_get_boolean(value);
        break;
    case PROP_THREADS:
        self->threads = g_value_get_uint(value);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

static void gst_qzkt_enc_get_property(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    GstQzktEnc* self = GST_QZKT_ENC(object);
    GST_OBJECT_LOCK(self);
    switch (id) {
    case PROP_ALPHA:
        g_value_set_boolean(value, self->alpha);
        break;
    case PROP_DXT1:
        g_value_set_boolean(value, self->dxt1);
        break;
    case PROP_NO_LZF:
        g_value_set_boolean(value, self->no_lzf);
        break;
    case PROP_THREADS:
        g_value_set_uint(value, self->threads);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

static gboolean gst_qzkt_enc_stop(GstVideoEncoder* encoder) {
    GstQzktEnc* self = GST_QZKT_ENC(encoder);
    close_encoder(self);
    g_clear_pointer(&self->input_state, gst_video_codec_state_unref);
    return TRUE;
}

/* The output caps for width x height: the first of the template's media types that
   downstream accepts at that size, or NULL. */
static GstCaps* choose_output_caps(GstQzktEnc* self, int width, int height) {
    GstCaps* allowed = gst_pad_get_allowed_caps(GST_VIDEO_ENCODER_SRC_PAD(self));
    GstCaps* candidates[2];
    GstCaps* chosen = NULL;
    guint i;

    candidates[0] =
        gst_caps_new_simple("video/x-qzkt", "width", G_TYPE_INT, width, "height", G_TYPE_INT, height, NULL);
    candidates[1] = gst_caps_new_simple("video/x-qt-part", "format", G_TYPE_UINT, (guint)QZKT_FOURCC, "width",
                                        G_TYPE_INT, width, "height", G_TYPE_INT, height, NULL);
    for (i = 0; i < G_N_ELEMENTS(candidates); ++i) {
        if (chosen == NULL && (allowed == NULL || gst_caps_can_intersect(candidates[i], allowed)))
            chosen = gst_caps_ref(candidates[i]);
        gst_caps_unref(candidates[i]);
    }
    if (chosen == NULL)
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                          ("Downstream takes no QZKT video of %dx%d pixels (qtmux needs at least 16 pixels "
                           "a side).",
                           width, height),
                          ("downstream allows %" GST_PTR_FORMAT, allowed));
    if (allowed != NULL) gst_caps_unref(allowed);
    return chosen;
}

/* Opens an encoder with the properties' settings for the new input format and negotiates the
   output (size, frame rate and pixel aspect ratio come from the input). */
static gboolean gst_qzkt_enc_set_format(GstVideoEncoder* encoder, GstVideoCodecState* state) {
    GstQzktEnc* self = GST_QZKT_ENC(encoder);
    const int width = GST_VIDEO_INFO_WIDTH(&state->info);
    const int height = GST_VIDEO_INFO_HEIGHT(&state->info);
    GstVideoCodecState* output;
    qzkt_settings settings;
    qzkt_result result;
    GstCaps* caps;

    qzkt_default_settings(&settings);
    GST_OBJECT_LOCK(self);
    settings.alpha = self->alpha ? 1 : 0;
    settings.dxt24 = self->dxt1 ? 0 : 1;
    settings.no_lzf = self->no_lzf ? 1 : 0;
    /* 0 is one worker per physical core, any other count the nearest the codec offers, as
       `qzkt encode --threads` chooses it. */
    settings.thread_setting = qzkt_thread_setting_for((int)self->threads);
    GST_OBJECT_UNLOCK(self);

    close_encoder(self);
    result = qzkt_encoder_create(width, height, &settings, &self->encoder);
    if (result != QZKT_OK) {
        GST_ELEMENT_ERROR(self, LIBRARY, INIT,
                          ("Could not open a QZKT encoder for %dx%d pictures.", width, height),
                          ("qzkt_encoder_create: %s", qzkt_result_text(result)));
        return FALSE;
    }
    self->max_frame_size = qzkt_max_frame_size(width, height, &settings);
    GST_INFO_OBJECT(self, "opened an encoder for %dx%d: alpha %d, dxt24 %d, no_lzf %d, thread setting %d",
                    width, height, settings.alpha, settings.dxt24, settings.no_lzf, settings.thread_setting);

    if (self->input_state != NULL) gst_video_codec_state_unref(self->input_state);
    self->input_state = gst_video_codec_state_ref(state);

    caps = choose_output_caps(self, width, height);
    if (caps == NULL) return FALSE;
    output = gst_video_encoder_set_output_state(encoder, caps, state);
    gst_video_codec_state_unref(output);
    /* Every frame stands alone: no frames are held back. */
    gst_video_encoder_set_latency(encoder, 0, 0);
    return gst_video_encoder_negotiate(encoder);
}

static GstFlowReturn gst_qzkt_enc_handle_frame(GstVideoEncoder* encoder, GstVideoCodecFrame* frame) {
    GstQzktEnc* self = GST_QZKT_ENC(encoder);
    GstVideoFrame picture;
    GstMapInfo output;
    GstFlowReturn ret;
    qzkt_result result;
    size_t frame_size = 0;

    if (self->encoder == NULL) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION, (NULL), ("a picture arrived before the caps"));
        gst_video_encoder_finish_frame(encoder, frame);
        return GST_FLOW_NOT_NEGOTIATED;
    }
    ret = gst_video_encoder_allocate_output_frame(encoder, frame, self->max_frame_size);
    if (ret != GST_FLOW_OK) {
        gst_video_encoder_finish_frame(encoder, frame);
        return ret;
    }
    if (!gst_video_frame_map(&picture, &self->input_state->info, frame->input_buffer, GST_MAP_READ)) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, (NULL), ("could not map the input picture"));
        gst_buffer_replace(&frame->output_buffer, NULL);
        gst_video_encoder_finish_frame(encoder, frame);
        return GST_FLOW_ERROR;
    }
    if (!gst_buffer_map(frame->output_buffer, &output, GST_MAP_WRITE)) {
        gst_video_frame_unmap(&picture);
        GST_ELEMENT_ERROR(self, RESOURCE, WRITE, (NULL), ("could not map the output buffer"));
        gst_buffer_replace(&frame->output_buffer, NULL);
        gst_video_encoder_finish_frame(encoder, frame);
        return GST_FLOW_ERROR;
    }
    result = qzkt_encode(self->encoder, GST_VIDEO_FRAME_PLANE_DATA(&picture, 0),
                         GST_VIDEO_FRAME_PLANE_STRIDE(&picture, 0), output.data, output.size, &frame_size);
    gst_buffer_unmap(frame->output_buffer, &output);
    gst_video_frame_unmap(&picture);

    if (result != QZKT_OK) {
        GST_ELEMENT_ERROR(self, STREAM, ENCODE,
                          ("Could not encode a QZKT frame: %s.", qzkt_result_text(result)), (NULL));
        gst_buffer_replace(&frame->output_buffer, NULL);
        gst_video_encoder_finish_frame(encoder, frame);
        return GST_FLOW_ERROR;
    }
    gst_buffer_set_size(frame->output_buffer, frame_size);
    GST_VIDEO_CODEC_FRAME_SET_SYNC_POINT(frame);
    return gst_video_encoder_finish_frame(encoder, frame);
}

/* Upstream may hand over pictures with padded rows: qzkt_encode takes any row stride. */
static gboolean gst_qzkt_enc_propose_allocation(GstVideoEncoder* encoder, GstQuery* query) {
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, NULL);
    return GST_VIDEO_ENCODER_CLASS(parent_class)->propose_allocation(encoder, query);
}

static void gst_qzkt_enc_finalize(GObject* object) {
    GstQzktEnc* self = GST_QZKT_ENC(object);
    close_encoder(self);
    g_clear_pointer(&self->input_state, gst_video_codec_state_unref);
    G_OBJECT_CLASS(parent_class)->finalize(object);
}

static void gst_qzkt_enc_class_init(GstQzktEncClass* klass) {
    GObjectClass* object_class = G_OBJECT_CLASS(klass);
    GstElementClass* element_class = GST_ELEMENT_CLASS(klass);
    GstVideoEncoderClass* encoder_class = GST_VIDEO_ENCODER_CLASS(klass);
    const GParamFlags flags = G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY;

    object_class->set_property = gst_qzkt_enc_set_property;
    object_class->get_property = gst_qzkt_enc_get_property;
    object_class->finalize = gst_qzkt_enc_finalize;

    g_object_class_install_property(
        object_class, PROP_ALPHA,
        g_param_spec_boolean("alpha", "Alpha", "DXT5 blocks that keep the alpha channel (wins over dxt1)",
                             DEFAULT_ALPHA, flags));
    g_object_class_install_property(
        object_class, PROP_DXT1,
        g_param_spec_boolean("dxt1", "DXT1",
                             "DXT1 blocks instead of DXT24 (opaque; 8 instead of 10 bytes a block)",
                             DEFAULT_DXT1, flags));
    g_object_class_install_property(
        object_class, PROP_NO_LZF,
        g_param_spec_boolean("no-lzf", "No LZF",
                             "Store the blocks without LZF packing (larger, faster to decode)",
                             DEFAULT_NO_LZF, flags));
    g_object_class_install_property(
        object_class, PROP_THREADS,
        g_param_spec_uint("threads", "Threads",
                          "DXT24 encoding threads: the nearest of 1, 2, 4, 6, 8, 12, 16, 24; 0 = one per "
                          "physical core (the frames' bytes never depend on it)",
                          0, MAX_THREADS, DEFAULT_THREADS, flags));

    gst_element_class_add_static_pad_template(element_class, &sink_template);
    gst_element_class_add_static_pad_template(element_class, &src_template);
    gst_element_class_set_static_metadata(element_class, "QZKT video encoder", "Codec/Encoder/Video",
                                          "Encodes ARGB video into QZKT key frames (DXT24, DXT1 or DXT5 "
                                          "blocks, optionally packed with LZF)",
                                          "qzkt developers");

    encoder_class->stop = GST_DEBUG_FUNCPTR(gst_qzkt_enc_stop);
    encoder_class->set_format = GST_DEBUG_FUNCPTR(gst_qzkt_enc_set_format);
    encoder_class->handle_frame = GST_DEBUG_FUNCPTR(gst_qzkt_enc_handle_frame);
    encoder_class->propose_allocation = GST_DEBUG_FUNCPTR(gst_qzkt_enc_propose_allocation);

    GST_DEBUG_CATEGORY_INIT(gst_qzkt_enc_debug, "qzktenc", 0, "QZKT video encoder");
}

static void gst_qzkt_enc_init(GstQzktEnc* self) {
    self->alpha = DEFAULT_ALPHA;
    self->dxt1 = DEFAULT_DXT1;
    self->no_lzf = DEFAULT_NO_LZF;
    self->threads = DEFAULT_THREADS;
    GST_PAD_SET_ACCEPT_TEMPLATE(GST_VIDEO_ENCODER_SINK_PAD(self));
}
