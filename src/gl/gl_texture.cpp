// GLTexture: texture (re)allocation and fills for pixel and DXT uploads, sampling modes and the
// texture matrix.
#include "gl/gl_texture.h"

#include "gl/gl_extensions.h"

#include <cstdint>

namespace {

// How one PixelFormat is allocated and filled.
struct FormatInfo {
    GLenum internalFormat;
    GLenum pixelFormat;   // format of the fill (and of the allocation for uncompressed data)
    int bytesPerPixel;    // for the row-length test of uncompressed fills
    bool compressed;      // filled with glCompressedTexSubImage2D
    bool sizedLikePixels; // the fill size is the source size rather than the texture size
};

const FormatInfo& Info(GLTexture::PixelFormat format) {
    // DXT24 and DXT24A count 4 bytes per texel in the row-length test although a texel is one
    // byte; their uploads never pass a row stride, so the test never matters.
    static const FormatInfo kFormats[] = {
        {GL_RGBA8, GL_RGBA, 4, false, true},
        {GL_RGB8, GL_RGB, 3, false, true},
        {GL_COMPRESSED_RGBA_S3TC_DXT1_EXT, GL_RGB, 0, true, false},
        {GL_COMPRESSED_RGBA_S3TC_DXT5_EXT, GL_RGB, 0, true, false},
        {GL_LUMINANCE8UI_EXT, GL_LUMINANCE_INTEGER_EXT, 4, false, false},
        {GL_LUMINANCE8UI_EXT, GL_LUMINANCE_INTEGER_EXT, 4, false, false},
    };
    return kFormats[format];
}

bool IsNameResident(GLuint name) {
    GLboolean resident = GL_FALSE;
    // When every texture is resident the driver returns true and leaves `resident` alone.
    return glAreTexturesResident(1, &name, &resident) == GL_TRUE;
}

} // namespace

// Counted in 64 bits so that no side can overflow it; a side above 2^30 (no renderer takes
// one) gets the largest int, which GL refuses like any other oversized texture.
int NextPowerOfTwo(int size) {
    int64_t power = 1;
    while (power < size)
        power *= 2;
    return power <= INT32_MAX ? static_cast<int>(power) : INT32_MAX;
}

GLTexture& GLTexture::Reset() {
    target = 0;
    name = 0;
    sourceWidth = sourceHeight = 0;
    textureWidth = textureHeight = 0;
    return *this;
}

void GLTexture::_UploadImage(GLExtensions& ext, PixelFormat format, void* data, int sourceWidth,
                             int sourceHeight, int textureWidth, int textureHeight, int rowBytes,
                             unsigned target, bool mipmaps) {
    // The block formats are sized from the texture size, yet a zero source size still stops them.
    if (data == nullptr || sourceWidth <= 0 || sourceHeight <= 0) return;
    const FormatInfo& info = Info(format);

    int fillWidth = info.sizedLikePixels ? sourceWidth : textureWidth;
    int fillHeight = info.sizedLikePixels ? sourceHeight : textureHeight;
    int allocWidth = target == GL_TEXTURE_2D ? NextPowerOfTwo(fillWidth) : fillWidth;
    int allocHeight = target == GL_TEXTURE_2D ? NextPowerOfTwo(fillHeight) : fillHeight;
    if (format == DXT24) {
        // One texel row per block row, each block's 10 bytes side by side.
        fillWidth = allocWidth = textureWidth / 4 * 10;
        fillHeight = allocHeight = textureHeight / 4;
    }

    // A resident object on the same target is reused. A name the driver no longer reports
    // resident is abandoned, not deleted; one made for another target is deleted first.
    bool isNew = true;
    if (name == 0 || !IsNameResident(name)) {
        glGenTextures(1, &name);
    } else if (this->target != target) {
        glDeleteTextures(1, &name);
        Reset();
        glGenTextures(1, &name);
    } else {
        isNew = false;
    }
    const bool sizeChanged = fillWidth != this->sourceWidth || fillHeight != this->sourceHeight ||
                             allocWidth != this->textureWidth || allocHeight != this->textureHeight;

    glBindTexture(target, name);
    this->target = target;
    SetTextureModes(ext, target, 1, mipmaps, 0);

    if (info.compressed) {
        if (isNew || sizeChanged) {
            glTexImage2D(target, 0, info.internalFormat, allocWidth, allocHeight, 0, GL_RGB, GL_UNSIGNED_BYTE,
                         nullptr);
        }
        // DXT1 takes half a byte per pixel, DXT5 one byte (a 32768 x 32768 DXT5 texture is
        // 2^30 bytes: the product is taken in 64 bits).
        const int64_t texels = static_cast<int64_t>(textureWidth) * textureHeight;
        const GLsizei imageSize = static_cast<GLsizei>(format == DXT16 ? texels * 4 / 8 : texels);
        if (ext.ARB_texture_compression) {
            ext.glCompressedTexSubImage2D(target, 0, 0, 0, textureWidth, textureHeight, info.internalFormat,
                                          imageSize, data);
        }
    } else {
        if (isNew || sizeChanged) {
            glTexImage2D(target, 0, info.internalFormat, allocWidth, allocHeight, 0, info.pixelFormat,
                         GL_UNSIGNED_BYTE, nullptr);
        }
        const bool packed = rowBytes == 0 || rowBytes == static_cast<int64_t>(info.bytesPerPixel) * fillWidth;
        if (!packed) glPixelStorei(GL_UNPACK_ROW_LENGTH, rowBytes / info.bytesPerPixel);
        glTexSubImage2D(target, 0, 0, 0, fillWidth, fillHeight, info.pixelFormat, GL_UNSIGNED_BYTE, data);
        if (!packed) glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    }

    this->textureWidth = allocWidth;
    this->textureHeight = allocHeight;
    this->sourceWidth = fillWidth;
    this->sourceHeight = fillHeight;
}

void GLTexture::UploadDXT16Image(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                                 int blockHeight, unsigned target) {
    _UploadImage(ext, DXT16, data, width, height, blockWidth, blockHeight, 0, target, false);
}

void GLTexture::UploadDXT16AImage(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                                  int blockHeight, unsigned target) {
    _UploadImage(ext, DXT16A, data, width, height, blockWidth, blockHeight, 0, target, false);
}

void GLTexture::UploadDXT24Image(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                                 int blockHeight, unsigned target) {
    _UploadImage(ext, DXT24, data, width, height, blockWidth, blockHeight, 0, target, false);
}

void GLTexture::UploadDXT24AImage(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                                  int blockHeight, unsigned target) {
    _UploadImage(ext, DXT24A, data, width, height, blockWidth, blockHeight, 0, target, false);
}

void GLTexture::UploadRGBA8Image(GLExtensions& ext, void* data, int width, int height, int rowBytes,
                                 unsigned target, bool mipmaps) {
    _UploadImage(ext, RGBA8, data, width, height, width, height, rowBytes, target, mipmaps);
}

void GLTexture::UploadRGB8Image(GLExtensions& ext, void* data, int width, int height, int rowBytes,
                                unsigned target, bool mipmaps) {
    _UploadImage(ext, RGB8, data, width, height, width, height, rowBytes, target, mipmaps);
}

void GLTexture::SetTextureModes(GLExtensions& /*ext*/, unsigned target, int linear, int mipmaps, int repeat) {
    const GLint wrap = repeat ? GL_REPEAT : GL_CLAMP_TO_EDGE;
    glTexParameteri(target, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, wrap);
    glTexParameteri(target, GL_GENERATE_MIPMAP, mipmaps ? 1 : 0);

    const bool mipmapped = mipmaps && target == GL_TEXTURE_2D;
    GLint minFilter = linear ? GL_LINEAR : GL_NEAREST;
    if (mipmapped) minFilter = linear ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_NEAREST;
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, linear ? GL_LINEAR : GL_NEAREST);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, minFilter);
}

void GLTexture::BindTexture(GLExtensions& ext, int linear, int mipmaps, int repeat) {
    if (target == 0 || name == 0) return;
    IsNameResident(name); // queried, but binding works whatever the answer
    glBindTexture(target, name);
    SetTextureModes(ext, target, linear, mipmaps, repeat);
}

void GLTexture::UnbindTexture() {
    if (target != 0) glBindTexture(target, 0);
}

void loadTextureMatrix(unsigned target, int sourceWidth, int sourceHeight, int textureWidth,
                       int textureHeight) {
    glMatrixMode(GL_TEXTURE);
    glLoadIdentity();
    if (target == GL_TEXTURE_2D) {
        glScaled(static_cast<double>(sourceWidth) / textureWidth,
                 static_cast<double>(sourceHeight) / textureHeight, 1.0);
    } else {
        glScaled(sourceWidth, sourceHeight, 1.0);
    }
}

void GLTexture::SetTextureMatrix() {
    loadTextureMatrix(target, sourceWidth, sourceHeight, textureWidth, textureHeight);
}

void GLTexture::GetSourceSize(int& width, int& height) const {
    width = sourceWidth;
    height = sourceHeight;
}

bool GLTexture::IsResident() const {
    return name != 0 && IsNameResident(name);
}

void GLTexture::DeleteTexture() {
    if (name != 0) glDeleteTextures(1, &name);
    Reset();
}
