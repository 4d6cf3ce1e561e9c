// Checks every block kind goes through in the library suites, shared by the DXT24 suite and
// the OpenGL one (DXT1/DXT5 frames decode with OpenGL). DXT24 frames decode on the CPU.
#pragma once

#include "api_fixture.h"

// The round trip: a generated picture is encoded, its frame must be the format's bytes (an
// independent construction from the block coders), and it must decode to within `tolerance`
// of the reference decoders' picture, at several sizes and row strides.
void ExpectFormatBytesAndRoundTrip(const qzkt_settings& settings, int tolerance);

// Damaged frames of these settings (cut, header or second plane past the end, a plane
// larger than the frame) are refused, each with its own problem line that inspection agrees
// with, and leave the destination untouched; bytes after a whole frame are not damage.
void ExpectDamagedFramesRefused(const qzkt_settings& settings);
