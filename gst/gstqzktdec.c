/* qzktdec: a GstVideoDecoder that turns each QZKT frame into one picture.
   - Where downstream takes OpenGL textures (glimagesink, glvideomixer, gldownload...), frames
     stay on the GPU: their blocks, unpacked on the CPU, are drawn into RGBA GstGLMemory in the
     pipeline's own GL context (gstqzktgl.h). A kind the context cannot draw, and any kind on a
     software renderer (dxt24-decoding and s3tc-decoding say), is decoded on the CPU into the
     texture's memory.
   - Otherwise each frame becomes system-memory ARGB through qzkt_decode: DXT24 on the CPU,
     DXT1/DXT5 on a hardware OpenGL renderer or, without one, the CPU decoder (the renderer
     property decides). */
#include "gstqzktdec.h"

#include <gst/video/video.h>
#include <string.h>

#include "gstqzktcaps.h"

GST_DEBUG_CATEGORY(gst_qzkt_dec_debug);
#define GST_CAT_DEFAULT gst_qzkt_dec_debug

enum { PROP_0, PROP_RENDERER, PROP_GL_MEMORY, PROP_DXT24_DECODING, PROP_S3TC_DECODING, PROP_DECODE_PATH };

#define DEFAULT_RENDERER QZKT_RENDERER_AUTO
#define DEFAULT_GL_MEMORY TRUE
#define DEFAULT_DXT24_DECODING QZKT_DXT24_AUTO
#define DEFAULT_S3TC_DECODING QZKT_DXT24_AUTO
#define SUPPORTED_GL_APIS (GST_GL_API_OPENGL | GST_GL_API_OPENGL3 | GST_GL_API_GLES2)

/* qtdemux names a 'QZKT' track video/x-gst-fourcc-QZKT; video/x-qzkt is the plain name for
   other sources. Frames carry no size of their own, so the caps must. */
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("video/x-gst-fourcc-QZKT, " QZKT_CAPS_FIELDS "; video/x-qzkt, " QZKT_CAPS_FIELDS));

/* RGBA textures for GL consumers; in system memory ARGB, the codec's own layout (bytes A, R, G,
   B). */
static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("video/x-raw(" GST_CAPS_FEATURE_MEMORY_GL_MEMORY "), format = (string) RGBA, "
                    "texture-target = (string) 2D, " QZKT_CAPS_FIELDS "; "
                    "video/x-raw, format = (string) ARGB, " QZKT_CAPS_FIELDS));

/* Registers an enum type once, whichever thread comes first. */
static GType register_enum_once(gsize* type, const char* name, const GEnumValue* values) {
    if (g_once_init_enter(type)) g_once_init_leave(type, g_enum_register_static(name, values));
    return (GType)*type;
}

#define GST_TYPE_QZKT_RENDERER (gst_qzkt_renderer_get_type())
static GType gst_qzkt_renderer_get_type(void) {
    static gsize type = 0;
    static const GEnumValue values[] = {
        {QZKT_RENDERER_AUTO, "A hardware OpenGL renderer when there is one, otherwise the CPU decoder",
         "auto"},
        {QZKT_RENDERER_HARDWARE, "A hardware OpenGL renderer only (an error without a GPU)", "hardware"},
        {QZKT_RENDERER_SOFTWARE, "OpenGL, a software renderer accepted too", "software"},
        {QZKT_RENDERER_CPU, "The CPU decoder (the same pixels as Mesa's software renderer)", "cpu"},
        {0, NULL, NULL}};
    return register_enum_once(&type, "GstQzktRenderer", values);
}

#define GST_TYPE_QZKT_DXT24_DECODING (gst_qzkt_dxt24_decoding_get_type())
static GType gst_qzkt_dxt24_decoding_get_type(void) {
    static gsize type = 0;
    static const GEnumValue values[] = {
        {QZKT_DXT24_AUTO, "The GPU with a hardware renderer, the CPU with a software one (faster there)",
         "auto"},
        {QZKT_DXT24_SHADER, "The GPU (a shader) wherever the GL context can draw it", "shader"},
        {QZKT_DXT24_CPU, "The CPU, into the texture's memory", "cpu"},
        {0, NULL, NULL}};
    return register_enum_once(&type, "GstQzktDXT24Decoding", values);
}

#define gst_qzkt_dec_parent_class parent_class
G_DEFINE_TYPE(GstQzktDec, gst_qzkt_dec, GST_TYPE_VIDEO_DECODER);
GST_ELEMENT_REGISTER_DEFINE(qzktdec, "qzktdec", GST_RANK_PRIMARY, GST_TYPE_QZKT_DEC);

static void close_decoder(GstQzktDec* self) {
    qzkt_decoder_destroy(self->decoder);
    self->decoder = NULL;
    self->width = self->height = 0;
}

/* The decode-path property's words for the way the last frame went. */
static gchar* decode_path_text(QzktDecodePath path, qzkt_block_kind kind) {
    static const char* const kinds[] = {"DXT1", "DXT5", "DXT24", "DXT24"};
    const char* name = (unsigned)kind < G_N_ELEMENTS(kinds) ? kinds[kind] : "?";
    switch (path) {
    case QZKT_PATH_GL_DRAWN:
        return g_strdup_printf("%s drawn on the GPU into OpenGL textures", name);
    case QZKT_PATH_GL_CPU:
        return g_strdup_printf("%s decoded on the CPU into OpenGL textures", name);
    case QZKT_PATH_SYSTEM_MEMORY:
        return g_strdup("ARGB in system memory");
    default:
        return g_strdup("none yet");
    }
}

static void note_path(GstQzktDec* self, QzktDecodePath path, qzkt_block_kind kind) {
    GST_OBJECT_LOCK(self);
    self->last_path = path;
    self->last_kind = kind;
    GST_OBJECT_UNLOCK(self);
}

static void gst_qzkt_dec_set_property(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    GstQzktDec* self = GST_QZKT_DEC(object);
    switch (id) {
    case PROP_RENDERER:
        GST_OBJECT_LOCK(self);
        self->renderer = g_value_get_enum(value);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_GL_MEMORY:
        GST_OBJECT_LOCK(self);
        self->gl_memory = g_value_get_boolean(value);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_DXT24_DECODING:
        GST_OBJECT_LOCK(self);
        self->dxt24_decoding = g_value_get_enum(value);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_S3TC_DECODING:
        GST_OBJECT_LOCK(self);
        self->s3tc_decoding = g_value_get_enum(value);
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
    case PROP_GL_MEMORY:
        GST_OBJECT_LOCK(self);
        g_value_set_boolean(value, self->gl_memory);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_DXT24_DECODING:
        GST_OBJECT_LOCK(self);
        g_value_set_enum(value, self->dxt24_decoding);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_S3TC_DECODING:
        GST_OBJECT_LOCK(self);
        g_value_set_enum(value, self->s3tc_decoding);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_DECODE_PATH:
        GST_OBJECT_LOCK(self);
        g_value_take_string(value, decode_path_text(self->last_path, self->last_kind));
        GST_OBJECT_UNLOCK(self);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

/* The GL path's objects and the context they live in; the display stays until NULL. */
static void release_gl(GstQzktDec* self) {
    g_rec_mutex_lock(&self->context_lock);
    g_clear_pointer(&self->gl_path, qzkt_gl_path_free);
    gst_clear_object(&self->context);
    g_rec_mutex_unlock(&self->context_lock);
    g_clear_pointer(&self->blocks, g_free);
    self->blocks_capacity = 0;
    self->cpu_kinds_said = 0;
}

static gboolean gst_qzkt_dec_stop(GstVideoDecoder* decoder) {
    GstQzktDec* self = GST_QZKT_DEC(decoder);
    close_decoder(self);
    release_gl(self);
    g_clear_pointer(&self->input_state, gst_video_codec_state_unref);
    return TRUE;
}

static void gst_qzkt_dec_set_context(GstElement* element, GstContext* context) {
    GstQzktDec* self = GST_QZKT_DEC(element);
    g_rec_mutex_lock(&self->context_lock);
    gst_gl_handle_set_context(element, context, &self->display, &self->other_context);
    if (self->display != NULL) gst_gl_display_filter_gl_api(self->display, SUPPORTED_GL_APIS);
    g_rec_mutex_unlock(&self->context_lock);
    GST_ELEMENT_CLASS(parent_class)->set_context(element, context);
}

static gboolean gst_qzkt_dec_src_query(GstVideoDecoder* decoder, GstQuery* query) {
    GstQzktDec* self = GST_QZKT_DEC(decoder);
    if (GST_QUERY_TYPE(query) == GST_QUERY_CONTEXT) {
        GstGLDisplay* display = NULL;
        GstGLContext *context = NULL, *other = NULL;
        gboolean answered;
        g_rec_mutex_lock(&self->context_lock);
        if (self->display != NULL) display = gst_object_ref(self->display);
        if (self->context != NULL) context = gst_object_ref(self->context);
        if (self->other_context != NULL) other = gst_object_ref(self->other_context);
        g_rec_mutex_unlock(&self->context_lock);
        answered = gst_gl_handle_context_query(GST_ELEMENT(self), query, display, context, other);
        gst_clear_object(&display);
        gst_clear_object(&context);
        gst_clear_object(&other);
        if (answered) return TRUE;
    }
    return GST_VIDEO_DECODER_CLASS(parent_class)->src_query(decoder, query);
}

/* Finds the pipeline's GL context (asking the elements around and the application), or makes
   one on the pipeline's display, as GStreamer's GL elements do. */
static gboolean find_gl_context(GstQzktDec* self) {
    GError* error = NULL;
    GstGLContext* context = NULL;

    g_rec_mutex_lock(&self->context_lock);
    if (!gst_gl_ensure_element_data(self, &self->display, &self->other_context)) {
        g_rec_mutex_unlock(&self->context_lock);
        return FALSE;
    }
    gst_gl_display_filter_gl_api(self->display, SUPPORTED_GL_APIS);
    if (self->context != NULL && self->context->display == self->display) {
        g_rec_mutex_unlock(&self->context_lock);
        return TRUE;
    }
    g_rec_mutex_unlock(&self->context_lock);
    /* Without the lock: the element answering may ask this one in turn. */
    gst_gl_query_local_gl_context(GST_ELEMENT(self), GST_PAD_SRC, &context);

    g_rec_mutex_lock(&self->context_lock);
    if (context != NULL && context->display != self->display) gst_clear_object(&context);
    if (context == NULL) {
        GST_OBJECT_LOCK(self->display);
        do {
            gst_clear_object(&context);
            context = gst_gl_display_get_gl_context_for_thread(self->display, NULL);
            if (context == NULL &&
                !gst_gl_display_create_context(self->display, self->other_context, &context, &error)) {
                GST_OBJECT_UNLOCK(self->display);
                g_rec_mutex_unlock(&self->context_lock);
                GST_ELEMENT_ERROR(self, RESOURCE, NOT_FOUND, ("Could not make an OpenGL context."),
                                  ("%s", error != NULL ? error->message : "no reason given"));
                g_clear_error(&error);
                return FALSE;
            }
        } while (!gst_gl_display_add_context(self->display, context));
        GST_OBJECT_UNLOCK(self->display);
    }
    if (context != self->context) {
        g_clear_pointer(&self->gl_path, qzkt_gl_path_free);
        gst_clear_object(&self->context);
        self->context = context;
        self->gl_path = qzkt_gl_path_new(context);
        GST_INFO_OBJECT(self, "drawing frames in OpenGL context %" GST_PTR_FORMAT, context);
    } else {
        gst_object_unref(context);
    }
    g_rec_mutex_unlock(&self->context_lock);
    return TRUE;
}

/* The GL path's buffers: textures from a GstGLBufferPool of the context (downstream's when it
   offers one), with the sync meta downstream asks for. */
static gboolean gst_qzkt_dec_decide_allocation(GstVideoDecoder* decoder, GstQuery* query) {
    GstQzktDec* self = GST_QZKT_DEC(decoder);
    GstBufferPool* pool = NULL;
    GstStructure* config;
    GstCaps* caps;
    guint min = 0, max = 0, size = 0;
    gboolean update_pool = FALSE;

    if (!self->gl_output) return GST_VIDEO_DECODER_CLASS(parent_class)->decide_allocation(decoder, query);
    if (!find_gl_context(self)) return FALSE;

    gst_query_parse_allocation(query, &caps, NULL);
    if (gst_query_get_n_allocation_pools(query) > 0) {
        gst_query_parse_nth_allocation_pool(query, 0, &pool, &size, &min, &max);
        update_pool = TRUE;
    } else {
        GstVideoInfo info;
        gst_video_info_init(&info);
        gst_video_info_from_caps(&info, caps);
        size = (guint)info.size;
    }
    if (pool == NULL || !GST_IS_GL_BUFFER_POOL(pool)) {
        gst_clear_object(&pool);
        pool = gst_gl_buffer_pool_new(self->context);
    }
    config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, caps, size, min, max);
    gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
    if (gst_query_find_allocation_meta(query, GST_GL_SYNC_META_API_TYPE, NULL))
        gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_GL_SYNC_META);
    if (!gst_buffer_pool_set_config(pool, config)) {
        gst_object_unref(pool);
        GST_ELEMENT_ERROR(self, RESOURCE, SETTINGS, (NULL), ("the GL buffer pool refused its configuration"));
        return FALSE;
    }
    if (update_pool)
        gst_query_set_nth_allocation_pool(query, 0, pool, size, min, max);
    else
        gst_query_add_allocation_pool(query, pool, size, min, max);
    gst_object_unref(pool);
    return TRUE;
}

/* Whether the element downstream asks for RGBA textures of this size. */
static gboolean downstream_takes_gl(GstQzktDec* self, int width, int height) {
    GstCaps* wanted =
        gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "RGBA", "width", G_TYPE_INT, width,
                            "height", G_TYPE_INT, height, "texture-target", G_TYPE_STRING, "2D", NULL);
    GstCaps* offered;
    gboolean takes;
    gst_caps_set_features(wanted, 0, gst_caps_features_new(GST_CAPS_FEATURE_MEMORY_GL_MEMORY, NULL));
    /* Only an element that names GL memory takes it: one that takes anything (filesink,
       fakesink, appsink without caps) gets system memory, as before. */
    offered = gst_pad_peer_query_caps(GST_VIDEO_DECODER_SRC_PAD(self), NULL);
    takes = offered != NULL && !gst_caps_is_any(offered) && gst_caps_can_intersect(offered, wanted);
    gst_clear_caps(&offered);
    gst_caps_unref(wanted);
    return takes;
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
        g_clear_pointer(&self->blocks, g_free); /* sized for the old frames */
        self->blocks_capacity = 0;
        GST_INFO_OBJECT(self, "opened a decoder for %dx%d frames", width, height);
    }
    if (self->input_state != NULL) gst_video_codec_state_unref(self->input_state);
    self->input_state = gst_video_codec_state_ref(state);

    GST_OBJECT_LOCK(self);
    self->gl_output = self->gl_memory;
    GST_OBJECT_UNLOCK(self);
    if (self->gl_output) self->gl_output = downstream_takes_gl(self, width, height);
    if (self->gl_output) {
        output = gst_video_decoder_set_output_state(decoder, GST_VIDEO_FORMAT_RGBA, width, height, state);
        output->caps = gst_video_info_to_caps(&output->info);
        gst_caps_set_features(output->caps, 0,
                              gst_caps_features_new(GST_CAPS_FEATURE_MEMORY_GL_MEMORY, NULL));
        gst_caps_set_simple(output->caps, "texture-target", G_TYPE_STRING, "2D", NULL);
    } else {
        output = gst_video_decoder_set_output_state(decoder, GST_VIDEO_FORMAT_ARGB, width, height, state);
    }
    GST_INFO_OBJECT(self, "output: %s", self->gl_output ? "RGBA OpenGL textures" : "ARGB in system memory");
    gst_video_codec_state_unref(output);
    return gst_video_decoder_negotiate(decoder);
}

/* Posts the message a failed qzkt_decode deserves. A damaged frame counts against max-errors
   (a warning, the frame dropped, the stream going on); anything else stops the stream. */
static GstFlowReturn report_decode_failure(GstQzktDec* self, qzkt_result result, gsize frame_size,
                                           const char* problem) {
    GstFlowReturn ret = GST_FLOW_ERROR;
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

static GstFlowReturn handle_frame_gl(GstQzktDec* self, GstVideoCodecFrame* frame);

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
    if (self->gl_output) return handle_frame_gl(self, frame);
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
        ret = report_decode_failure(self, result, input.size, qzkt_decoder_problem(self->decoder));
        gst_video_decoder_drop_frame(decoder, frame);
        return ret;
    }
    note_path(self, QZKT_PATH_SYSTEM_MEMORY, QZKT_BLOCKS_DXT24);
    return gst_video_decoder_finish_frame(decoder, frame);
}

/* A kind the context does not draw: decoded on the CPU straight into the texture's memory
   (which GStreamer then uploads), ARGB turned into RGBA in place. */
static qzkt_result decode_on_cpu(GstQzktDec* self, const GstMapInfo* input, GstVideoFrame* picture) {
    guint8* pixels = GST_VIDEO_FRAME_PLANE_DATA(picture, 0);
    const gint stride = GST_VIDEO_FRAME_PLANE_STRIDE(picture, 0);
    int x, y;
    const qzkt_result result = qzkt_decode(self->decoder, input->data, input->size, pixels, (size_t)stride);
    if (result != QZKT_OK) return result;
    for (y = 0; y < self->height; ++y) {
        guint32* row = (guint32*)(pixels + (gsize)y * (gsize)stride);
        for (x = 0; x < self->width; ++x) {
            /* bytes A, R, G, B to R, G, B, A: the word rotated by one byte */
#if G_BYTE_ORDER == G_LITTLE_ENDIAN
            row[x] = row[x] >> 8 | row[x] << 24;
#else
            row[x] = row[x] << 8 | row[x] >> 24;
#endif
        }
    }
    return QZKT_OK;
}

static GstFlowReturn handle_frame_gl(GstQzktDec* self, GstVideoCodecFrame* frame) {
    GstVideoDecoder* decoder = GST_VIDEO_DECODER(self);
    GstVideoCodecState* output_state;
    GstVideoFrame picture;
    GstMapInfo input;
    GstFlowReturn ret;
    qzkt_blocks_info info;
    qzkt_result result;
    const char* why = NULL;
    QzktDXT24Decoding mode;
    gboolean on_gpu, mapped;
    GError* error = NULL;

    if (!gst_buffer_map(frame->input_buffer, &input, GST_MAP_READ)) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, (NULL), ("could not map the input buffer"));
        gst_video_decoder_drop_frame(decoder, frame);
        return GST_FLOW_ERROR;
    }
    if (self->blocks == NULL) {
        self->blocks_capacity = qzkt_max_blocks_size(self->width, self->height);
        self->blocks = g_malloc(self->blocks_capacity);
    }
    result = qzkt_unpack_frame(input.data, input.size, self->width, self->height, self->blocks,
                               self->blocks_capacity, &info);
    if (result != QZKT_OK) {
        qzkt_frame_info inspected;
        qzkt_inspect_frame(input.data, input.size, self->width, self->height, &inspected);
        ret = report_decode_failure(self, result, input.size,
                                    inspected.intact ? qzkt_result_text(result) : inspected.problem);
        gst_buffer_unmap(frame->input_buffer, &input);
        gst_video_decoder_drop_frame(decoder, frame);
        return ret;
    }
    GST_OBJECT_LOCK(self);
    mode = info.kind == QZKT_BLOCKS_DXT1 || info.kind == QZKT_BLOCKS_DXT5 ? self->s3tc_decoding
                                                                          : self->dxt24_decoding;
    GST_OBJECT_UNLOCK(self);
    on_gpu = qzkt_gl_path_draws(self->gl_path, info.kind, mode, &why);
    if (!on_gpu && !(self->cpu_kinds_said & (1u << info.kind))) {
        self->cpu_kinds_said |= 1u << info.kind;
        GST_INFO_OBJECT(self, "frames of block kind %d decode on the CPU into the texture's memory: %s",
                        (int)info.kind, why);
    }

    ret = gst_video_decoder_allocate_output_frame(decoder, frame);
    if (ret != GST_FLOW_OK) {
        gst_buffer_unmap(frame->input_buffer, &input);
        gst_video_decoder_drop_frame(decoder, frame);
        return ret;
    }
    output_state = gst_video_decoder_get_output_state(decoder);
    mapped = gst_video_frame_map(&picture, &output_state->info, frame->output_buffer,
                                 on_gpu ? (GstMapFlags)(GST_MAP_WRITE | GST_MAP_GL) : GST_MAP_WRITE);
    gst_video_codec_state_unref(output_state);
    if (!mapped) {
        gst_buffer_unmap(frame->input_buffer, &input);
        GST_ELEMENT_ERROR(self, RESOURCE, WRITE, (NULL), ("could not map the output texture"));
        gst_video_decoder_drop_frame(decoder, frame);
        return GST_FLOW_ERROR;
    }
    if (on_gpu) {
        const gboolean drawn = qzkt_gl_path_draw(self->gl_path, (GstGLMemory*)picture.map[0].memory,
                                                 self->blocks, &info, &error);
        gst_video_frame_unmap(&picture);
        gst_buffer_unmap(frame->input_buffer, &input);
        if (!drawn) {
            GST_ELEMENT_ERROR(self, RESOURCE, FAILED, ("Could not draw a QZKT frame with OpenGL."),
                              ("%s", error != NULL ? error->message : "no reason given"));
            g_clear_error(&error);
            gst_video_decoder_drop_frame(decoder, frame);
            return GST_FLOW_ERROR;
        }
        {
            GstGLSyncMeta* sync = gst_buffer_get_gl_sync_meta(frame->output_buffer);
            if (sync != NULL) gst_gl_sync_meta_set_sync_point(sync, self->context);
        }
    } else {
        result = decode_on_cpu(self, &input, &picture);
        gst_video_frame_unmap(&picture);
        gst_buffer_unmap(frame->input_buffer, &input);
        if (result != QZKT_OK) {
            ret = report_decode_failure(self, result, input.size, qzkt_decoder_problem(self->decoder));
            gst_video_decoder_drop_frame(decoder, frame);
            return ret;
        }
    }
    note_path(self, on_gpu ? QZKT_PATH_GL_DRAWN : QZKT_PATH_GL_CPU, info.kind);
    return gst_video_decoder_finish_frame(decoder, frame);
}

static GstStateChangeReturn gst_qzkt_dec_change_state(GstElement* element, GstStateChange transition) {
    GstQzktDec* self = GST_QZKT_DEC(element);
    const GstStateChangeReturn ret = GST_ELEMENT_CLASS(parent_class)->change_state(element, transition);
    if (ret != GST_STATE_CHANGE_FAILURE && transition == GST_STATE_CHANGE_READY_TO_NULL) {
        g_rec_mutex_lock(&self->context_lock);
        gst_clear_object(&self->other_context);
        gst_clear_object(&self->display);
        g_rec_mutex_unlock(&self->context_lock);
    }
    return ret;
}

static void gst_qzkt_dec_finalize(GObject* object) {
    GstQzktDec* self = GST_QZKT_DEC(object);
    close_decoder(self);
    release_gl(self);
    gst_clear_object(&self->other_context);
    gst_clear_object(&self->display);
    g_rec_mutex_clear(&self->context_lock);
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
        g_param_spec_enum(
            "renderer", "DXT1/DXT5 decoder",
            "Where DXT1/DXT5 frames decode when the output is system memory: the CPU decoder "
            "or an OpenGL renderer (DXT24 frames decode on the CPU); read when the decoder opens",
            GST_TYPE_QZKT_RENDERER, DEFAULT_RENDERER,
            G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY));

    g_object_class_install_property(
        object_class, PROP_GL_MEMORY,
        g_param_spec_boolean(
            "gl-memory", "OpenGL textures",
            "Output RGBA OpenGL textures, drawn in the pipeline's GL context, when downstream takes "
            "them (false: always ARGB in system memory); read when the output is negotiated",
            DEFAULT_GL_MEMORY, G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY));

    g_object_class_install_property(
        object_class, PROP_DXT24_DECODING,
        g_param_spec_enum("dxt24-decoding", "DXT24 decoding on the GL path",
                          "Where DXT24 frames decode when the output is OpenGL textures",
                          GST_TYPE_QZKT_DXT24_DECODING, DEFAULT_DXT24_DECODING,
                          G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING));

    g_object_class_install_property(
        object_class, PROP_S3TC_DECODING,
        g_param_spec_enum("s3tc-decoding", "DXT1/DXT5 decoding on the GL path",
                          "Where DXT1/DXT5 frames decode when the output is OpenGL textures: drawn from an "
                          "S3TC texture (shader) or on the CPU",
                          GST_TYPE_QZKT_DXT24_DECODING, DEFAULT_S3TC_DECODING,
                          G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING));

    g_object_class_install_property(
        object_class, PROP_DECODE_PATH,
        g_param_spec_string("decode-path", "Decode path",
                            "How the last frame was decoded and where it went (\"DXT1 drawn on the GPU into "
                            "OpenGL textures\", \"DXT24 decoded on the CPU into OpenGL textures\", \"ARGB in "
                            "system memory\", \"none yet\")",
                            "none yet", G_PARAM_READABLE | G_PARAM_STATIC_STRINGS));

    element_class->set_context = GST_DEBUG_FUNCPTR(gst_qzkt_dec_set_context);
    element_class->change_state = GST_DEBUG_FUNCPTR(gst_qzkt_dec_change_state);
    gst_element_class_add_static_pad_template(element_class, &sink_template);
    gst_element_class_add_static_pad_template(element_class, &src_template);
    gst_element_class_set_static_metadata(element_class, "QZKT video decoder", "Codec/Decoder/Video",
                                          "Decodes QZKT key frames to RGBA OpenGL textures where downstream "
                                          "takes them (blocks drawn on the GPU), else to ARGB video",
                                          "qzkt developers");

    decoder_class->stop = GST_DEBUG_FUNCPTR(gst_qzkt_dec_stop);
    decoder_class->set_format = GST_DEBUG_FUNCPTR(gst_qzkt_dec_set_format);
    decoder_class->handle_frame = GST_DEBUG_FUNCPTR(gst_qzkt_dec_handle_frame);
    decoder_class->decide_allocation = GST_DEBUG_FUNCPTR(gst_qzkt_dec_decide_allocation);
    decoder_class->src_query = GST_DEBUG_FUNCPTR(gst_qzkt_dec_src_query);

    gst_type_mark_as_plugin_api(GST_TYPE_QZKT_RENDERER, 0);
    gst_type_mark_as_plugin_api(GST_TYPE_QZKT_DXT24_DECODING, 0);
    GST_DEBUG_CATEGORY_INIT(gst_qzkt_dec_debug, "qzktdec", 0, "QZKT video decoder");
}

static void gst_qzkt_dec_init(GstQzktDec* self) {
    GstVideoDecoder* decoder = GST_VIDEO_DECODER(self);

    self->renderer = DEFAULT_RENDERER;
    self->gl_memory = DEFAULT_GL_MEMORY;
    self->dxt24_decoding = DEFAULT_DXT24_DECODING;
    self->s3tc_decoding = DEFAULT_S3TC_DECODING;
    g_rec_mutex_init(&self->context_lock);
    /* One buffer is one frame, and every frame is a key frame: no parsing, and no waiting for
       a sync point after a seek, whatever the container says. */
    gst_video_decoder_set_packetized(decoder, TRUE);
    gst_video_decoder_set_needs_sync_point(decoder, FALSE);
    gst_video_decoder_set_use_default_pad_acceptcaps(decoder, TRUE);
    GST_PAD_SET_ACCEPT_TEMPLATE(GST_VIDEO_DECODER_SINK_PAD(decoder));
}
