// The codec information record ('cdci' 256) of the QZKT codec, shared by its compressor and its
// decompressor: both describe the same codec.
#pragma once

#include "platform/image_codec.h"

CodecInfo QZKTCodecInfo();
