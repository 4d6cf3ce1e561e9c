/* The qzkt plugin: registers qzktdec (rank primary, so that decodebin and playbin pick it for
   QZKT tracks) and qzktenc. */
#include "gstqzktdec.h"
#include "gstqzktenc.h"

#include <gst/gst.h>

static gboolean plugin_init(GstPlugin* plugin) {
    gboolean registered = FALSE;
    registered |= GST_ELEMENT_REGISTER(qzktdec, plugin);
    registered |= GST_ELEMENT_REGISTER(qzktenc, plugin);
    return registered;
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, qzkt,
                  "QZKT intra-frame video codec: decoder and encoder", plugin_init, VERSION,
                  GST_LICENSE_UNKNOWN, GST_PACKAGE_NAME, GST_PACKAGE_ORIGIN)
