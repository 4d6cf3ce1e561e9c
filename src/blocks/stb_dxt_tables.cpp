// stb_dxt's tables, compiled from the system's stb_dxt.h: its implementation is included here
// with every function static, so this file exports nothing of stb's and uses only its tables
// (the coder itself comes from libstb).
#include "stb_dxt_tables.h"

#include <string.h> // stb_dxt's implementation uses memcpy without including it

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#define STB_DXT_STATIC
#define STB_DXT_IMPLEMENTATION
#include <stb/stb_dxt.h>
#pragma GCC diagnostic pop

const StbDxtTables& GetStbDxtTables() {
    static const StbDxtTables tables = [] {
        StbDxtTables t{};
        for (int v = 0; v < 256; ++v) {
            t.match5Max[v] = stb__OMatch5[v][0];
            t.match5Min[v] = stb__OMatch5[v][1];
            t.match6Max[v] = stb__OMatch6[v][0];
            t.match6Min[v] = stb__OMatch6[v][1];
        }
        for (int q = 0; q < 32; ++q)
            t.midpoints5[q] = stb__midpoints5[q];
        for (int q = 0; q < 64; ++q)
            t.midpoints6[q] = stb__midpoints6[q];
        return t;
    }();
    return tables;
}
