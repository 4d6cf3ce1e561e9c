/* qzktdec: decodes QZKT frames (video/x-gst-fourcc-QZKT from qtdemux, or video/x-qzkt) to
   ARGB video through libqzkt. */
#ifndef GST_QZKT_DEC_H
#define GST_QZKT_DEC_H

#include <gst/gl/gl.h>
#include <gst/video/gstvideodecoder.h>
#include <qzkt/qzkt.h>

#include "gstqzktgl.h"

G_BEGIN_DECLS

/* How the last frame was decoded (the decode-path property). */
typedef enum {
    QZKT_PATH_NONE,
    QZKT_PATH_GL_DRAWN,      /* blocks drawn by a shader into the output texture */
    QZKT_PATH_GL_CPU,        /* decoded on the CPU into the texture's memory */
    QZKT_PATH_SYSTEM_MEMORY, /* ARGB in system memory through qzkt_decode */
} QzktDecodePath;

#define GST_TYPE_QZKT_DEC (gst_qzkt_dec_get_type())
G_DECLARE_FINAL_TYPE(GstQzktDec, gst_qzkt_dec, GST, QZKT_DEC, GstVideoDecoder)

struct _GstQzktDec {
    GstVideoDecoder parent;

    /* properties, read when a decoder is opened and when the output is negotiated */
    qzkt_renderer renderer;
    gboolean gl_memory;               /* output OpenGL textures when downstream takes them */
    QzktDXT24Decoding dxt24_decoding; /* on the GL path */
    QzktDXT24Decoding s3tc_decoding;  /* on the GL path, for DXT1/DXT5 */

    /* streaming state */
    qzkt_decoder* decoder; /* for width x height frames; NULL until the first caps */
    int width, height;
    GstVideoCodecState* input_state;

    /* the GL path: RGBA GstGLMemory out, drawn in the pipeline's GL context */
    gboolean gl_output;     /* negotiated */
    GRecMutex context_lock; /* display, context and other_context */
    GstGLDisplay* display;
    GstGLContext* context;
    GstGLContext* other_context; /* the application's, shared with ours */
    QzktGLPath* gl_path;         /* for context */
    guint8* blocks;              /* the frame's unpacked blocks */
    gsize blocks_capacity;
    guint cpu_kinds_said; /* bit per qzkt_block_kind: its CPU fallback was logged */

    /* the decode-path property, under the object lock */
    QzktDecodePath last_path;
    qzkt_block_kind last_kind;
};

GST_ELEMENT_REGISTER_DECLARE(qzktdec);

G_END_DECLS

#endif
