// The caller checks of the host adapters.
#include "host_checks.h"

#include <cstdint>

#include "stream/kel_header.h"

bool IsHostFrameSide(int side) {
    return side >= 1 && side <= kKELMaxSide;
}

size_t HostRowBytes(size_t rowBytes, int width) {
    const size_t tight = static_cast<size_t>(width) * 4;
    if (rowBytes == 0) rowBytes = tight;
    return rowBytes < tight || rowBytes > INT32_MAX ? 0 : rowBytes;
}
