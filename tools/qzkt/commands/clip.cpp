// The built-in clip: the library's test pictures.
#include "commands/clip.h"

#include <cstddef>

#include <qzkt/qzkt.h>

#include "cli/tool_error.h"

std::vector<uint8_t> Clip::Frame(int index) const {
    std::vector<uint8_t> argb(static_cast<size_t>(width) * height * 4);
    const qzkt_result made = qzkt_test_picture(argb.data(), width, height, 0, index, 0);
    if (made != QZKT_OK)
        throw ToolError(std::string("cannot make the built-in clip: ") + qzkt_result_text(made));
    return argb;
}
