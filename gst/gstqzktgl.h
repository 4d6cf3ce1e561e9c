/* qzktdec's GL path: a frame's blocks, unpacked on the CPU by qzkt_unpack_frame, drawn into
   an RGBA GstGLMemory texture in the pipeline's own GL context by the library's GLSL decoders
   (qzkt_glsl_fragment_shader). DXT24 blocks go up as an 8-bit integer texture, DXT1/DXT5
   blocks as an S3TC compressed texture, through a pixel buffer object where the context has
   them; nothing is read back. */
#ifndef GST_QZKT_GL_H
#define GST_QZKT_GL_H

#include <gst/gl/gl.h>
#include <qzkt/qzkt.h>

G_BEGIN_DECLS

typedef struct _QzktGLPath QzktGLPath;

/* Where a block kind is decoded on the GL path (the dxt24-decoding and s3tc-decoding
   properties). */
typedef enum {
    QZKT_DXT24_AUTO,   /* on the GPU with a hardware renderer, the CPU on a software one */
    QZKT_DXT24_SHADER, /* on the GPU (a shader) wherever the context has what it needs */
    QZKT_DXT24_CPU     /* the CPU's SIMD decoder, written into the texture's memory */
} QzktDXT24Decoding;

/* For drawing in context; GL objects are made at the first frame, in the context's thread. */
QzktGLPath* qzkt_gl_path_new(GstGLContext* context);

/* Releases the GL objects (in the context's thread) and the path. NULL is ignored. */
void qzkt_gl_path_free(QzktGLPath* path);

/* Whether frames of this kind are drawn on the GPU, mode being the kind's decoding choice:
   DXT24 needs integer textures and GLSL 1.30 (OpenGL 3.0 or OpenGL ES 3.0), DXT1/DXT5 GLSL 1.30
   and S3TC textures; with QZKT_DXT24_AUTO either needs a hardware renderer (on a software
   renderer, such as Mesa's llvmpipe, the CPU's SIMD decoders are faster than drawing on the
   same CPU). Otherwise the caller decodes on the CPU; the reason is in *why (a static string)
   when it is not NULL. */
gboolean qzkt_gl_path_draws(QzktGLPath* path, qzkt_block_kind kind, QzktDXT24Decoding mode, const char** why);

/* Draws the blocks described by info into out (RGBA, width x height, the picture's top row
   first), in the context's thread. FALSE with a message in *error on a GL failure. */
gboolean qzkt_gl_path_draw(QzktGLPath* path, GstGLMemory* out, const guint8* blocks,
                           const qzkt_blocks_info* info, GError** error);

G_END_DECLS

#endif
