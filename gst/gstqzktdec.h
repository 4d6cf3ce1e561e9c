/* qzktdec: decodes QZKT frames (video/x-gst-fourcc-QZKT from qtdemux, or video/x-qzkt) to
   ARGB video through libqzkt. */
#ifndef GST_QZKT_DEC_H
#define GST_QZKT_DEC_H

#include <gst/video/gstvideodecoder.h>
#include <qzkt/qzkt.h>

G_BEGIN_DECLS

#define GST_TYPE_QZKT_DEC (gst_qzkt_dec_get_type())
G_DECLARE_FINAL_TYPE(GstQzktDec, gst_qzkt_dec, GST, QZKT_DEC, GstVideoDecoder)

struct _GstQzktDec {
    GstVideoDecoder parent;

    /* property, read when a decoder is opened */
    qzkt_renderer renderer;

    /* streaming state */
    qzkt_decoder* decoder; /* for width x height frames; NULL until the first caps */
    int width, height;
    GstVideoCodecState* input_state;
};

GST_ELEMENT_REGISTER_DECLARE(qzktdec);

G_END_DECLS

#endif
