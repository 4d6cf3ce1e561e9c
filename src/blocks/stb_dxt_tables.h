// stb_dxt's own tables, for coders that must give its exact bytes: the single-colour endpoint
// matches (stb__OMatch5, stb__OMatch6) and the quantiser's midpoints (stb__midpoints5,
// stb__midpoints6), read from the system's stb_dxt.h and widened to 32-bit entries, which the
// SIMD lane encoder gathers from.
#pragma once

#include <cstdint>

struct StbDxtTables {
    // For each 8-bit channel value: the 5-bit (6-bit for green) endpoints of colour 0 and
    // colour 1 whose palette reproduces it best.
    int32_t match5Max[256], match5Min[256];
    int32_t match6Max[256], match6Min[256];
    // Between quantised levels q and q + 1, as fractions of 1.
    float midpoints5[32];
    float midpoints6[64];
};

// Built once, on first use (thread-safe); lives for the process.
const StbDxtTables& GetStbDxtTables();
