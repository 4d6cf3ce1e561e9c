// BMP dumps through stb_image_write.
// Kept on purpose with no product caller (docs/kept-on-purpose.md).
#include "debug_dumps.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stb/stb_image_write.h>
#include <string>

namespace {

bool Exists(const std::string& name) {
    FILE* file = std::fopen(name.c_str(), "rb");
    if (file == nullptr) return false;
    std::fclose(file);
    return true;
}

// The first of fileName, base_1.ext, base_2.ext, ... that does not exist yet. The name is cut
// at the first '.' of its last path component, so "./dumps/frame.bmp" numbers "frame", and a
// name without an extension numbers as "frame_1".
std::string FreeFileName(const char* fileName) {
    const std::string name = fileName;
    if (!Exists(name)) return name;
    const size_t slash = name.rfind('/');
    const size_t dot = name.find('.', slash == std::string::npos ? 0 : slash + 1);
    const std::string base = name.substr(0, dot);
    const std::string extension = dot == std::string::npos ? "" : "." + name.substr(dot + 1);
    for (int number = 1;; ++number) {
        char candidate[1024];
        std::snprintf(candidate, sizeof candidate, "%s_%d%s", base.c_str(), number, extension.c_str());
        if (!Exists(candidate)) return candidate;
    }
}

} // namespace

void WriteUInt8Bitmap24(const unsigned char* pixels, uint32_t width, uint32_t height, const char* fileName) {
    if (pixels == nullptr || fileName == nullptr || width == 0 || height == 0 || width > INT32_MAX / 3 ||
        height > INT32_MAX)
        return;
    stbi_write_bmp(FreeFileName(fileName).c_str(), static_cast<int>(width), static_cast<int>(height), 3,
                   pixels);
}

void WriteUInt8Bitmap32BGRA(const unsigned char* pixels, uint32_t width, uint32_t height,
                            const char* fileName) {
    if (pixels == nullptr) return;
    const size_t count = static_cast<size_t>(width) * height;
    auto* rgb = static_cast<unsigned char*>(std::malloc(count * 3 + 1));
    if (rgb == nullptr) return;
    for (size_t i = 0; i < count; ++i) {
        rgb[i * 3] = pixels[i * 4 + 2];
        rgb[i * 3 + 1] = pixels[i * 4 + 1];
        rgb[i * 3 + 2] = pixels[i * 4];
    }
    WriteUInt8Bitmap24(rgb, width, height, fileName);
    std::free(rgb);
}
