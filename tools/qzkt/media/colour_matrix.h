// --matrix: the colour matrix for Y'CbCr pictures that do not say which they use.
#pragma once

#include <string>

extern "C" {
#include <libavutil/pixfmt.h>
}

// How Y'CbCr pictures become RGB.
enum class MatrixChoice { kAuto, kBT601, kBT709 };
MatrixChoice ParseMatrixChoice(const std::string& value);
// The colour space to convert a picture tagged `tagged` with: the tag, or for auto and an
// untagged picture BT.709 from 720 rows up and BT.601 below, as players do; bt601/bt709 win.
AVColorSpace ConversionColorSpace(MatrixChoice choice, AVColorSpace tagged, int height);
