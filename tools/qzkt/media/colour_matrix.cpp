// Parsing --matrix and choosing the matrix a picture is converted with.
#include "media/colour_matrix.h"

#include "cli/options.h"

MatrixChoice ParseMatrixChoice(const std::string& value) {
    if (value == "auto") return MatrixChoice::kAuto;
    if (value == "bt601") return MatrixChoice::kBT601;
    if (value == "bt709") return MatrixChoice::kBT709;
    throw UsageError("--matrix takes bt601, bt709 or auto, not '" + value + "'");
}

AVColorSpace ConversionColorSpace(MatrixChoice choice, AVColorSpace tagged, int height) {
    if (choice == MatrixChoice::kBT601) return AVCOL_SPC_BT470BG;
    if (choice == MatrixChoice::kBT709) return AVCOL_SPC_BT709;
    if (tagged != AVCOL_SPC_UNSPECIFIED && tagged != AVCOL_SPC_RESERVED) return tagged;
    return height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_BT470BG;
}
