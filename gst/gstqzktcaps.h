/* The caps fields of a QZKT stream, shared by qzktdec's sink and qzktenc's source. Frames
   carry no size of their own, so the caps must; the sides are those qzkt.h takes. */
#pragma once

#include <glib.h>
#include <qzkt/qzkt.h>

#define QZKT_CAPS_FIELDS                                                                                     \
    "width = (int) [ 1, 32767 ], height = (int) [ 1, 32767 ], framerate = (fraction) [ 0/1, MAX ]"

/* A static caps string cannot be built from the enum: the two must agree. */
G_STATIC_ASSERT(QZKT_MAX_SIDE == 32767);
