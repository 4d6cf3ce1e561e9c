/* qzktdec's GL path: blocks to RGBA textures with the library's GLSL decoders. */
#include "gstqzktgl.h"

#include <gst/gl/gstglfuncs.h>
#include <string.h>

#ifndef GL_R8UI
#define GL_R8UI 0x8232
#endif
#ifndef GL_RED_INTEGER
#define GL_RED_INTEGER 0x8D94
#endif
#ifndef GL_COMPRESSED_RGBA_S3TC_DXT1_EXT
#define GL_COMPRESSED_RGBA_S3TC_DXT1_EXT 0x83F1
#endif
#ifndef GL_COMPRESSED_RGBA_S3TC_DXT5_EXT
#define GL_COMPRESSED_RGBA_S3TC_DXT5_EXT 0x83F3
#endif
#ifndef GL_PIXEL_UNPACK_BUFFER
#define GL_PIXEL_UNPACK_BUFFER 0x88EC
#endif
#ifndef GL_STREAM_DRAW
#define GL_STREAM_DRAW 0x88E0
#endif

GST_DEBUG_CATEGORY_EXTERN(gst_qzkt_dec_debug);
#define GST_CAT_DEFAULT gst_qzkt_dec_debug

/* One triangle that covers the whole target, made from gl_VertexID alone: no vertex buffer. */
static const char vertex_shader[] =
    "void main() {\n"
    "    gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0);\n"
    "}\n";

enum { SHADER_DXT24, SHADER_S3TC, SHADER_COUNT };

struct _QzktGLPath {
    GstGLContext* context;
    GstGLShader* shaders[SHADER_COUNT];
    GstGLFramebuffer* framebuffer;
    GLuint texture; /* the blocks of the last frame */
    GLuint pbo;     /* their upload buffer, where the context has pixel buffer objects */
    GLuint vao;     /* an empty vertex array: core profiles draw nothing without one */
    /* the context's facts, asked once, at the first frame */
    gboolean facts_known;
    gboolean software;     /* the renderer draws on the CPU */
    const char* no_shader; /* why the decoders cannot run, or NULL */
    const char* no_s3tc;   /* why DXT1/DXT5 cannot be sampled, or NULL */
    /* how the texture is specified now (DXT24 re-specifies it only when its shape changes) */
    qzkt_block_kind texture_kind;
    int texture_width, texture_height;
};

/* The version line the context's GLSL takes for the decoders: GLSL 1.50 core on an OpenGL 3.2+
   core context, 1.30 on a compatibility one of 3.0+, GLSL ES 3.00 on OpenGL ES 3.0+. */
static gboolean glsl_version(GstGLContext* context, const char** line, GstGLSLVersion* version,
                             GstGLSLProfile* profile) {
    const GstGLAPI api = gst_gl_context_get_gl_api(context);
    if (api & GST_GL_API_OPENGL3) {
        *line = "#version 150\n", *version = GST_GLSL_VERSION_150, *profile = GST_GLSL_PROFILE_CORE;
    } else if ((api & GST_GL_API_OPENGL) &&
               gst_gl_context_check_gl_version(context, GST_GL_API_OPENGL, 3, 0)) {
        *line = "#version 130\n", *version = GST_GLSL_VERSION_130, *profile = GST_GLSL_PROFILE_NONE;
    } else if ((api & GST_GL_API_GLES2) && gst_gl_context_check_gl_version(context, GST_GL_API_GLES2, 3, 0)) {
        *line = "#version 300 es\n", *version = GST_GLSL_VERSION_300, *profile = GST_GLSL_PROFILE_ES;
    } else {
        return FALSE;
    }
    return gst_gl_context_supports_glsl_profile_version(context, *version, *profile);
}

QzktGLPath* qzkt_gl_path_new(GstGLContext* context) {
    QzktGLPath* path = g_new0(QzktGLPath, 1);
    path->context = gst_object_ref(context);
    path->texture_kind = (qzkt_block_kind)-1;
    return path;
}

static void release_in_gl_thread(GstGLContext* context, gpointer data) {
    QzktGLPath* path = data;
    const GstGLFuncs* gl = context->gl_vtable;
    int i;
    if (path->texture) gl->DeleteTextures(1, &path->texture);
    if (path->pbo) gl->DeleteBuffers(1, &path->pbo);
    if (path->vao) gl->DeleteVertexArrays(1, &path->vao);
    for (i = 0; i < SHADER_COUNT; ++i)
        gst_clear_object(&path->shaders[i]);
    gst_clear_object(&path->framebuffer);
}

void qzkt_gl_path_free(QzktGLPath* path) {
    if (path == NULL) return;
    gst_gl_context_thread_add(path->context, release_in_gl_thread, path);
    gst_object_unref(path->context);
    g_free(path);
}

static void ask_renderer(GstGLContext* context, gpointer data) {
    QzktGLPath* path = data;
    const char* renderer = (const char*)context->gl_vtable->GetString(GL_RENDERER);
    path->software =
        renderer != NULL && (strstr(renderer, "llvmpipe") != NULL || strstr(renderer, "softpipe") != NULL ||
                             strstr(renderer, "SWR") != NULL || strstr(renderer, "swrast") != NULL);
    GST_INFO("GL renderer %s (%s)", renderer != NULL ? renderer : "unknown",
             path->software ? "software" : "hardware");
}

/* What the context can do never changes: asked once rather than at every frame. */
static void learn_facts(QzktGLPath* path) {
    const char* line;
    GstGLSLVersion version;
    GstGLSLProfile profile;
    gst_gl_context_thread_add(path->context, ask_renderer, path);
    if (!glsl_version(path->context, &line, &version, &profile))
        path->no_shader =
            "the GL context has no integer textures and GLSL 1.30 (OpenGL 3.0 or OpenGL ES 3.0 needed)";
    if (!gst_gl_context_check_feature(path->context, "GL_EXT_texture_compression_s3tc"))
        path->no_s3tc = "the GL context has no S3TC textures (GL_EXT_texture_compression_s3tc)";
    path->facts_known = TRUE;
}

gboolean qzkt_gl_path_draws(QzktGLPath* path, qzkt_block_kind kind, QzktDXT24Decoding mode,
                            const char** why) {
    const char* reason = NULL;
    const gboolean s3tc = kind == QZKT_BLOCKS_DXT1 || kind == QZKT_BLOCKS_DXT5;
    if (!path->facts_known) learn_facts(path);
    if (mode == QZKT_DXT24_CPU)
        reason = s3tc ? "s3tc-decoding=cpu" : "dxt24-decoding=cpu";
    else if (path->no_shader != NULL)
        reason = path->no_shader;
    else if (s3tc && path->no_s3tc != NULL)
        reason = path->no_s3tc;
    else if (mode == QZKT_DXT24_AUTO && path->software)
        reason = "the GL renderer draws on the CPU, where the SIMD decoder is faster";
    if (why != NULL) *why = reason;
    return reason == NULL;
}

typedef struct {
    QzktGLPath* path;
    GstGLMemory* out;
    const guint8* blocks;
    const qzkt_blocks_info* info;
    GstGLShader* shader;
    const char* sampler;
    GError* error;
} DrawCall;

static GstGLShader* ensure_shader(QzktGLPath* path, gboolean s3tc, GError** error) {
    GstGLShader** shader = &path->shaders[s3tc ? SHADER_S3TC : SHADER_DXT24];
    const char* line;
    GstGLSLVersion version;
    GstGLSLProfile profile;
    const gchar* vertex[2];
    const gchar* fragment[2];
    if (*shader != NULL) return *shader;
    if (!glsl_version(path->context, &line, &version, &profile)) {
        g_set_error(error, GST_GLSL_ERROR, GST_GLSL_ERROR_COMPILE, "no GLSL version for the QZKT decoders");
        return NULL;
    }
    vertex[0] = fragment[0] = line;
    vertex[1] = vertex_shader;
    fragment[1] = qzkt_glsl_fragment_shader(s3tc ? QZKT_BLOCKS_DXT1 : QZKT_BLOCKS_DXT24);
    *shader = gst_gl_shader_new_link_with_stages(
        path->context, error,
        gst_glsl_stage_new_with_strings(path->context, GL_VERTEX_SHADER, version, profile, 2, vertex),
        gst_glsl_stage_new_with_strings(path->context, GL_FRAGMENT_SHADER, version, profile, 2, fragment),
        NULL);
    return *shader;
}

/* Runs inside gst_gl_framebuffer_draw_to_texture, with the output texture bound as the target. */
static gboolean draw_blocks(gpointer data) {
    DrawCall* call = data;
    QzktGLPath* path = call->path;
    const GstGLFuncs* gl = path->context->gl_vtable;
    gst_gl_shader_use(call->shader);
    gst_gl_shader_set_uniform_1i(call->shader, call->sampler, 0);
    gl->ActiveTexture(GL_TEXTURE0);
    gl->BindTexture(GL_TEXTURE_2D, path->texture);
    if (gl->GenVertexArrays != NULL) {
        if (path->vao == 0) gl->GenVertexArrays(1, &path->vao);
        gl->BindVertexArray(path->vao);
    }
    gl->DrawArrays(GL_TRIANGLES, 0, 3);
    if (gl->GenVertexArrays != NULL) gl->BindVertexArray(0);
    gl->BindTexture(GL_TEXTURE_2D, 0);
    gst_gl_context_clear_shader(path->context);
    return TRUE;
}

static void draw_in_gl_thread(GstGLContext* context, gpointer data) {
    DrawCall* call = data;
    QzktGLPath* path = call->path;
    const GstGLFuncs* gl = context->gl_vtable;
    const qzkt_blocks_info* info = call->info;
    const gboolean s3tc = info->kind == QZKT_BLOCKS_DXT1 || info->kind == QZKT_BLOCKS_DXT5;
    const guint8* pixels = call->blocks;
    GLenum status;

    call->shader = ensure_shader(path, s3tc, &call->error);
    if (call->shader == NULL) {
        if (call->error == NULL)
            g_set_error(&call->error, GST_GLSL_ERROR, GST_GLSL_ERROR_LINK, "the QZKT decoders did not link");
        return;
    }
    call->sampler = s3tc ? "qzkt_texture" : "qzkt_blocks";
    if (path->framebuffer == NULL) path->framebuffer = gst_gl_framebuffer_new(context);
    if (path->texture == 0) gl->GenTextures(1, &path->texture);

    gl->ActiveTexture(GL_TEXTURE0);
    gl->BindTexture(GL_TEXTURE_2D, path->texture);
    gl->PixelStorei(GL_UNPACK_ALIGNMENT, 1);
    /* The blocks stream through an orphaned pixel buffer: the driver copies them at once and
       the upload does not wait for the GPU to finish drawing the previous frame. */
    if (gl->GenBuffers != NULL && gl->BufferData != NULL && gl->BufferSubData != NULL) {
        if (path->pbo == 0) gl->GenBuffers(1, &path->pbo);
        gl->BindBuffer(GL_PIXEL_UNPACK_BUFFER, path->pbo);
        gl->BufferData(GL_PIXEL_UNPACK_BUFFER, (GLsizeiptr)info->size, NULL, GL_STREAM_DRAW);
        gl->BufferSubData(GL_PIXEL_UNPACK_BUFFER, 0, (GLsizeiptr)info->size, call->blocks);
        pixels = NULL; /* offset 0 in the buffer */
    }
    if (s3tc) {
        gl->CompressedTexImage2D(GL_TEXTURE_2D, 0,
                                 info->kind == QZKT_BLOCKS_DXT5 ? GL_COMPRESSED_RGBA_S3TC_DXT5_EXT
                                                                : GL_COMPRESSED_RGBA_S3TC_DXT1_EXT,
                                 info->blocks_across * 4, info->blocks_down * 4, 0, (GLsizei)info->size,
                                 pixels);
        path->texture_kind = info->kind;
    } else {
        const int width = info->blocks_across * 10, height = info->blocks_down;
        if (path->texture_kind != QZKT_BLOCKS_DXT24 || path->texture_width != width ||
            path->texture_height != height) {
            gl->TexImage2D(GL_TEXTURE_2D, 0, GL_R8UI, width, height, 0, GL_RED_INTEGER, GL_UNSIGNED_BYTE,
                           NULL);
            path->texture_kind = QZKT_BLOCKS_DXT24;
            path->texture_width = width;
            path->texture_height = height;
        }
        gl->TexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_RED_INTEGER, GL_UNSIGNED_BYTE, pixels);
    }
    if (path->pbo != 0) gl->BindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    /* Integer textures sample only with nearest filtering; texelFetch ignores it otherwise. */
    gl->TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl->TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl->BindTexture(GL_TEXTURE_2D, 0);

    gst_gl_framebuffer_draw_to_texture(path->framebuffer, call->out, draw_blocks, call);
    status = gl->GetError();
    if (status != GL_NO_ERROR)
        g_set_error(&call->error, GST_GLSL_ERROR, GST_GLSL_ERROR_COMPILE,
                    "OpenGL error 0x%x drawing the blocks", status);
}

gboolean qzkt_gl_path_draw(QzktGLPath* path, GstGLMemory* out, const guint8* blocks,
                           const qzkt_blocks_info* info, GError** error) {
    DrawCall call;
    memset(&call, 0, sizeof call);
    call.path = path;
    call.out = out;
    call.blocks = blocks;
    call.info = info;
    gst_gl_context_thread_add(path->context, draw_in_gl_thread, &call);
    if (call.error != NULL) {
        g_propagate_error(error, call.error);
        return FALSE;
    }
    return TRUE;
}
