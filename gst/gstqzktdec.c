/* qzktdec: a GstVideoDecoder that turns each QZKT frame into one ARGB picture through
   qzkt_decode. DXT24 frames decode on the CPU, DXT1/DXT5 frames through OpenGL (the
   renderer property says which renderers the decoder accepts). */
#include "gstqzktdec.h"

#include <gst/video/video.h>

#include "gstqzktcaps.h"

GST_DEBUG_CATEGORY_STATIC(gst_qzkt_dec_debug);
#define GST_CAT_DEFAULT gst_qzkt_dec_debug

enum { PROP_0, PROP_RENDERER };

#define DEFAULT_RENDERER QZKT_RENDERER_AUTO

/* qtdemux names a 'QZKT' track video/x-gst-fourcc-QZKT; video/x-qzkt is the plain name for
   other sources. Frames carry no size of their own, so the caps must. */
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("video/x-gst-fourcc-QZKT, " QZKT_CAPS_FIELDS "; video/x-qzkt, " QZKT_CAPS_FIELDS));

/* ARGB is the codec's own layout: bytes A, R, G, B. */
static GstStaticPadTemplate src_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS,
                            GST_STATIC_CAPS("video/x-raw, format = (string) ARGB, " QZKT_CAPS_FIELDS));

#define GST_TYPE_QZKT_RENDERER (gst_qzkt_renderer_get_type())
static GType gst_qzkt_renderer_get_type(void) {
    static GType type = 0;
    static const GEnumValue values[] = {
        {QZKT_RENDERER_AUTO, "A hardware renderer when there is one, otherwise Mesa's software renderer",
         "auto"},
        {QZKT_RENDERER_HARDWARE, "A hardware renderer only (an error without a GPU)", "hardware"},
        {QZKT_RENDERER_SOFTWARE, "A software renderer is accepted too", "software"},
        {0, NULL, NULL}};
    if (g_once_init_enter(&type)) {
        GType registered = g_enum_register_static("GstQzktRenderer", values);
        g_once_init_leave(&type, registered);
    }
    return type;
}

#define gst_qzkt_dec_parent_class parent_class
G_DEFINE_TYPE(GstQzktDec, gst_qzkt_dec, GST_TYPE_VIDEO_DECODER);
GST_ELEMENT_REGISTER_DEFINE(qzktdec, "qzktdec", GST_RANK_PRIMARY, GST_TYPE_QZKT_DEC);

static void close_decoder(GstQzktDec* self) {
    qzkt_decoder_destroy(self->decoder);
    self->decoder = NULL;
    self->width = self->height = 0;
}

static void gst_qzkt_dec_set_property(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    GstQzktDec* self = GST_QZKT_DEC(object);
    switch (id) {
    case PROP_RENDERER:
        GST_OBJECT_LOCK(self);
        self->renderer = g_value_get_enum(value);
        GST_OBJECT_UNLOCK(self);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

static void gst_qzkt_dec_get_property(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    GstQzktDec* self = GST_QZKT_DEC(object);
    switch (id) {
    case PROP_RENDERER:
        GST_OBJECT_LOCK(self);
        g_value_set_enum(value, self->renderer);
        GST_OBJECT_UNLOCK(self);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

static gboolean gst_qzkt_dec_stop(GstVideoDecoder* decoder) {
    GstQzktDec* self = GST_QZKT_DEC(decoder);
    close_decoder(self);
    g_clear_pointer(&self->input_state, gst_video_codec_state_unref);
    return TRUE;
}

/* Opens a decoder for the caps' size (a new one when the size changes) and offers ARGB of the
   same size, frame rate and pixel aspect ratio downstream. */
static gboolean gst_qzkt_dec_set_format(GstVideoDecoder* decoder, GstVideoCodecState* state) {
    GstQzktDec* self = GST_QZKT_DEC(decoder);
    const int width = GST_VIDEO_INFO_WIDTH(&state->info);
    const int height = GST_VIDEO_INFO_HEIGHT(&state->info);
    GstVideoCodecState* output;

    GST_DEBUG_OBJECT(self, "input caps %" GST_PTR_FORMAT, state->caps);
    if (self->decoder == NULL || width != self->width || height != self->height) {
        qzkt_renderer renderer;
        qzkt_result result;

        close_decoder(self);
        GST_OBJECT_LOCK(self);
        renderer = self->renderer;
        GST_OBJECT_UNLOCK(self);
        result = qzkt_decoder_create(width, height, renderer, &self->decoder);
        if (result != QZKT_OK) {
            GST_ELEMENT_ERROR(self, LIBRARY, INIT,
                              ("Could not open a QZKT decoder for %dx%d frames.", width, height),
                              ("qzkt_decoder_create: %s", qzkt_result_text(result)));
            return FALSE;
        }
        self->width = width;
        self->height = height;
        GST_INFO_OBJECT(self, "opened a decoder for %dx%d frames", width, height);
    }
    if (self->input_state != NULL) gst_video_codec_state_unref(self->input_state);
    self->input_state = gst_video_codec_state_ref(state);

    output = gst_video_decoder_set_output_state(decoder, GST_VIDEO_FORMAT_ARGB, width, height, state);
    gst_video_codec_state_unref(output);
    return gst_video_decoder_negotiate(decoder);
}

/* Posts the message a failed qzkt_decode deserves. A damaged frame counts against max-errors
   (a warning, the frame dropped, the stream going on); anything else stops the stream. */
static GstFlowReturn report_decode_failure(GstQzktDec* self, qzkt_result result, gsize frame_size) {
    GstFlowReturn ret = GST_FLOW_ERROR;
    const char* problem = qzkt_decoder_problem(self->decoder);
    qzkt_renderer renderer;

    switch (result) {
    case QZKT_DAMAGED_FRAME:
        /* Within max-errors the base class only logs the error; the warning on the bus tells
           the application that a frame was skipped. */
        GST_VIDEO_DECODER_ERROR(self, 1, STREAM, DECODE, ("Damaged QZKT frame."),
                                ("frame of %" G_GSIZE_FORMAT " bytes: %s", frame_size, problem), ret);
        if (ret == GST_FLOW_OK)
            GST_ELEMENT_WARNING(self, STREAM, DECODE, ("Damaged QZKT frame; it is skipped."),
                                ("frame of %" G_GSIZE_FORMAT " bytes: %s", frame_size, problem));
        break;
    case QZKT_NO_RENDERER:
        GST_OBJECT_LOCK(self);
        renderer = self->renderer;
        GST_OBJECT_UNLOCK(self);
        if (renderer == QZKT_RENDERER_HARDWARE)
            GST_ELEMENT_ERROR(self, RESOURCE, NOT_FOUND,
                              ("No hardware OpenGL renderer for this stream's DXT1/DXT5 frames "
                               "(renderer=hardware); renderer=auto accepts Mesa's software renderer."),
                              ("%s", problem));
        else
            GST_ELEMENT_ERROR(self, RESOURCE, NOT_FOUND,
                              ("No usable OpenGL renderer for this stream's DXT1/DXT5 frames."),
                              ("%s", problem));
        break;
    default:
        GST_ELEMENT_ERROR(self, STREAM, DECODE,
                          ("Could not decode a QZKT frame: %s.", qzkt_result_text(result)),
                          ("frame of %" G_GSIZE_FORMAT " bytes: %s", frame_size, problem));
    }
    return ret;
}

static GstFlowReturn gst_qzkt_dec_handle_frame(GstVideoDecoder* decoder, GstVideoCodecFrame* frame) {
    GstQzktDec* self = GST_QZKT_DEC(decoder);
    GstVideoCodecState* output_state;
    GstVideoFrame picture;
    GstMapInfo input;
    GstFlowReturn ret;
    qzkt_result result;
    gboolean mapped;

    if (self->decoder == NULL) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION, (NULL), ("a frame arrived before the caps"));
        gst_video_decoder_drop_frame(decoder, frame);
        return GST_FLOW_NOT_NEGOTIATED;
    }
    ret = gst_video_decoder_allocate_output_frame(decoder, frame);
    if (ret != GST_FLOW_OK) {
        gst_video_decoder_drop_frame(decoder, frame);
        return ret;
    }
    if (!gst_buffer_map(frame->input_buffer, &input, GST_MAP_READ)) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, (NULL), ("could not map the input buffer"));
        gst_video_decoder_drop_frame(decoder, frame);
        return GST_FLOW_ERROR;
    }
    output_state = gst_video_decoder_get_output_state(decoder);
    mapped = gst_video_frame_map(&picture, &output_state->info, frame->output_buffer, GST_MAP_WRITE);
    gst_video_codec_state_unref(output_state);
    if (!mapped) {
        gst_buffer_unmap(frame->input_buffer, &input);
        GST_ELEMENT_ERROR(self, RESOURCE, WRITE, (NULL), ("could not map the output buffer"));
        gst_video_decoder_drop_frame(decoder, frame);
        return GST_FLOW_ERROR;
    }

    result = qzkt_decode(self->decoder, input.data, input.size, GST_VIDEO_FRAME_PLANE_DATA(&picture, 0),
                         GST_VIDEO_FRAME_PLANE_STRIDE(&picture, 0));
    gst_video_frame_unmap(&picture);
    gst_buffer_unmap(frame->input_buffer, &input);

    if (result != QZKT_OK) {
        ret = report_decode_failure(self, result, input.size);
        gst_video_decoder_drop_frame(decoder, frame);
        return ret;
    }
    return gst_video_decoder_finish_frame(decoder, frame);
}

static void gst_qzkt_dec_finalize(GObject* object) {
    GstQzktDec* self = GST_QZKT_DEC(object);
    close_decoder(self);
    g_clear_pointer(&self->input_state, gst_video_codec_state_unref);
    G_OBJECT_CLASS(parent_class)->finalize(object);
}

static void gst_qzkt_dec_class_init(GstQzktDecClass* klass) {
    GObjectClass* object_class = G_OBJECT_CLASS(klass);
    GstElementClass* element_class = GST_ELEMENT_CLASS(klass);
    GstVideoDecoderClass* decoder_class = GST_VIDEO_DECODER_CLASS(klass);

    object_class->set_property = gst_qzkt_dec_set_property;
    object_class->get_property = gst_qzkt_dec_get_property;
    object_class->finalize = gst_qzkt_dec_finalize;

    g_object_class_install_property(
        object_class, PROP_RENDERER,
        g_param_spec_enum("renderer", "OpenGL renderer",
                          "Which OpenGL renderers may decode DXT1/DXT5 frames (DXT24 frames need none); "
                          "read when the decoder opens",
                          GST_TYPE_QZKT_RENDERER, DEFAULT_RENDERER,
                          G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY));

    gst_element_class_add_static_pad_template(element_class, &sink_template);
    gst_element_class_add_static_pad_template(element_class, &src_template);
    gst_element_class_set_static_metadata(element_class, "QZKT video decoder", "Codec/Decoder/Video",
                                          "Decodes QZKT key frames (DXT24 on the CPU, DXT1/DXT5 through "
                                          "OpenGL) to ARGB video",
                                          "qzkt developers");

    decoder_class->stop = GST_DEBUG_FUNCPTR(gst_qzkt_dec_stop);
    decoder_class->set_format = GST_DEBUG_FUNCPTR(gst_qzkt_dec_set_format);
    decoder_class->handle_frame = GST_DEBUG_FUNCPTR(gst_qzkt_dec_handle_frame);

    gst_type_mark_as_plugin_api(GST_TYPE_QZKT_RENDERER, 0);
    GST_DEBUG_CATEGORY_INIT(gst_qzkt_dec_debug, "qzktdec", 0, "QZKT video decoder");
}

static void gst_qzkt_dec_init(GstQzktDec* self) {
    GstVideoDecoder* decoder = GST_VIDEO_DECODER(self);

    self->renderer = DEFAULT_RENDERER;
    /* One buffer is one frame, and every frame is a key frame: no parsing, and no waiting for
       a sync point after a seek, whatever the container says. */
    gst_video_decoder_set_packetized(decoder, TRUE);
    gst_video_decoder_set_needs_sync_point(decoder, FALSE);
    gst_video_decoder_set_use_default_pad_acceptcaps(decoder, TRUE);
    GST_PAD_SET_ACCEPT_TEMPLATE(GST_VIDEO_DECODER_SINK_PAD(decoder));
}
