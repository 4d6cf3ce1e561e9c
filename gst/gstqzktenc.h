/* qzktenc: encodes ARGB video into QZKT key frames through libqzkt, for qtmux
   (video/x-qt-part, format 'QZKT') or any consumer of video/x-qzkt. */
#ifndef GST_QZKT_ENC_H
#define GST_QZKT_ENC_H

#include <gst/video/gstvideoencoder.h>
#include <qzkt/qzkt.h>

G_BEGIN_DECLS

#define GST_TYPE_QZKT_ENC (gst_qzkt_enc_get_type())
G_DECLARE_FINAL_TYPE(GstQzktEnc, gst_qzkt_enc, GST, QZKT_ENC, GstVideoEncoder)

struct _GstQzktEnc {
    GstVideoEncoder parent;

    /* properties, read when an encoder is opened (at each new input format) */
    gboolean alpha;
    gboolean dxt1;
    gboolean no_lzf;
    guint threads;

    /* streaming state */
    qzkt_encoder* encoder;
    size_t max_frame_size;
    GstVideoCodecState* input_state;
};

GST_ELEMENT_REGISTER_DECLARE(qzktenc);

G_END_DECLS

#endif
