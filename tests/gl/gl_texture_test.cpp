// GLTexture uploads read back byte for byte, storage reuse against reallocation, and the
// binding modes. glTexImage2D and glDeleteTextures are defined here so the suite can count
// the calls GLTexture makes; both forward to the GL library.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <vector>

#include "gl/gl_texture.h"
#include "gl_test_context.h"

namespace {

int gTexImageCalls = 0;
int gDeleteTextureCalls = 0;

template <typename Function> Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::vector<unsigned char> Pattern(size_t size, unsigned seed) {
    std::vector<unsigned char> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(seed + i * 37 + (i >> 3));
    return bytes;
}

GLint LevelParameter(GLenum target, GLenum parameter) {
    GLint value = 0;
    glGetTexLevelParameteriv(target, 0, parameter, &value);
    return value;
}

GLint TextureParameter(GLenum target, GLenum parameter) {
    GLint value = 0;
    glGetTexParameteriv(target, parameter, &value);
    return value;
}

// The whole level 0 of the bound texture, with rows packed tightly.
std::vector<unsigned char> ReadLevel(GLenum target, GLenum format, GLenum type, int bytesPerTexel) {
    std::vector<unsigned char> bytes(LevelParameter(target, GL_TEXTURE_WIDTH) *
                                     LevelParameter(target, GL_TEXTURE_HEIGHT) * bytesPerTexel);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(target, 0, format, type, bytes.data());
    return bytes;
}

// The top-left `rows` x `rowBytes` bytes of an image whose rows are `stride` bytes apart.
std::vector<unsigned char> Crop(const std::vector<unsigned char>& image, size_t stride, size_t rowBytes,
                                size_t rows) {
    std::vector<unsigned char> out;
    for (size_t row = 0; row < rows; ++row) {
        out.insert(out.end(), image.begin() + row * stride, image.begin() + row * stride + rowBytes);
    }
    return out;
}

std::vector<double> TextureScale() {
    GLdouble matrix[16];
    glGetDoublev(GL_TEXTURE_MATRIX, matrix);
    return {matrix[0], matrix[5], matrix[10]};
}

using GLTextureTest = GLContextTest;

} // namespace

extern "C" void glTexImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
                             GLint border, GLenum format, GLenum type, const GLvoid* pixels) {
    static const auto real =
        Next<void (*)(GLenum, GLint, GLint, GLsizei, GLsizei, GLint, GLenum, GLenum, const GLvoid*)>(
            "glTexImage2D");
    ++gTexImageCalls;
    real(target, level, internalFormat, width, height, border, format, type, pixels);
}

extern "C" void glDeleteTextures(GLsizei count, const GLuint* names) {
    static const auto real = Next<void (*)(GLsizei, const GLuint*)>("glDeleteTextures");
    ++gDeleteTextureCalls;
    real(count, names);
}

TEST_F(GLTextureTest, PixelUploadsReadBackExactlyWithAnyRowStride) {
    // RGBA8 from rows 28 bytes apart into a power-of-two texture: 5 x 3 filled of 8 x 4.
    const auto rgba = Pattern(28 * 3, 1);
    GLTexture texture;
    texture.UploadRGBA8Image(ext, const_cast<unsigned char*>(rgba.data()), 5, 3, 28, GL_TEXTURE_2D, false);
    EXPECT_EQ(texture.target, GLenum(GL_TEXTURE_2D));
    EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, GL_TEXTURE_WIDTH), 8);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, GL_TEXTURE_HEIGHT), 4);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, GL_TEXTURE_INTERNAL_FORMAT), GL_RGBA8);
    EXPECT_EQ(Crop(ReadLevel(GL_TEXTURE_2D, GL_RGBA, GL_UNSIGNED_BYTE, 4), 32, 20, 3), Crop(rgba, 28, 20, 3));
    GLint rowLength = -1;
    glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
    EXPECT_EQ(rowLength, 0);
    int width = 0, height = 0;
    texture.GetSourceSize(width, height);
    EXPECT_EQ(width, 5);
    EXPECT_EQ(height, 3);
    texture.DeleteTexture();

    // RGB8 on a rectangle texture, once tightly packed (3 x width) and once from wider rows.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    for (int rowBytes : {15, 21}) {
        const auto rgb = Pattern(rowBytes * 3, rowBytes);
        texture.UploadRGB8Image(ext, const_cast<unsigned char*>(rgb.data()), 5, 3, rowBytes,
                                GL_TEXTURE_RECTANGLE_ARB, false);
        EXPECT_EQ(texture.textureWidth, 5);
        EXPECT_EQ(texture.textureHeight, 3);
        EXPECT_EQ(ReadLevel(GL_TEXTURE_RECTANGLE_ARB, GL_RGB, GL_UNSIGNED_BYTE, 3),
                  Crop(rgb, rowBytes, 15, 3));
    }
    texture.DeleteTexture();
    EXPECT_EQ(texture.name, 0u);
    EXPECT_EQ(texture.target, 0u);
    EXPECT_FALSE(texture.IsResident());
}

TEST_F(GLTextureTest, CompressedBlocksAreStoredAsGiven) {
    // A 7 x 6 frame is 2 x 2 blocks; DXT1 blocks are 8 bytes, DXT5 blocks 16.
    for (bool alpha : {false, true}) {
        const size_t blockBytes = alpha ? 16 : 8;
        const auto blocks = Pattern(4 * blockBytes, alpha ? 7 : 3);
        GLTexture texture;
        if (alpha) {
            texture.UploadDXT16AImage(ext, const_cast<unsigned char*>(blocks.data()), 7, 6, 8, 8,
                                      GL_TEXTURE_2D);
        } else {
            texture.UploadDXT16Image(ext, const_cast<unsigned char*>(blocks.data()), 7, 6, 8, 8,
                                     GL_TEXTURE_2D);
        }
        EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, GL_TEXTURE_INTERNAL_FORMAT),
                  alpha ? GL_COMPRESSED_RGBA_S3TC_DXT5_EXT : GL_COMPRESSED_RGBA_S3TC_DXT1_EXT);
        std::vector<unsigned char> stored(LevelParameter(GL_TEXTURE_2D, GL_TEXTURE_COMPRESSED_IMAGE_SIZE));
        ASSERT_EQ(stored.size(), blocks.size());
        ext.glGetCompressedTexImage(GL_TEXTURE_2D, 0, stored.data());
        EXPECT_EQ(stored, blocks);
        texture.DeleteTexture();
    }
}

TEST_F(GLTextureTest, DXT24BlocksBecomeOneIntegerTexelPerByte) {
    // An 8 x 8 frame is 2 x 2 blocks of 10 bytes: one 20-texel row per block row.
    const auto blocks = Pattern(40, 11);
    GLTexture texture;
    texture.UploadDXT24Image(ext, const_cast<unsigned char*>(blocks.data()), 8, 8, 8, 8,
                             GL_TEXTURE_RECTANGLE_ARB);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_INTERNAL_FORMAT), GL_LUMINANCE8UI_EXT);
    EXPECT_EQ(ReadLevel(GL_TEXTURE_RECTANGLE_ARB, GL_LUMINANCE_INTEGER_EXT, GL_UNSIGNED_BYTE, 1), blocks);
    texture.SetTextureMatrix();
    EXPECT_EQ(TextureScale(), (std::vector<double>{20, 2, 1}));

    // The alpha variant is sized like the pixels: 8 x 8 texels of its 72 block bytes.
    const auto alphaBlocks = Pattern(72, 5);
    texture.UploadDXT24AImage(ext, const_cast<unsigned char*>(alphaBlocks.data()), 8, 8, 8, 8,
                              GL_TEXTURE_RECTANGLE_ARB);
    EXPECT_EQ(texture.sourceWidth, 8);
    EXPECT_EQ(ReadLevel(GL_TEXTURE_RECTANGLE_ARB, GL_LUMINANCE_INTEGER_EXT, GL_UNSIGNED_BYTE, 1),
              std::vector<unsigned char>(alphaBlocks.begin(), alphaBlocks.begin() + 64));
    texture.DeleteTexture();
}

TEST_F(GLTextureTest, FullFrameSizesAndTextureMatrix) {
    // 1280 x 720 DXT1 on GL_TEXTURE_2D: 2048 x 1024 storage, 1280 x 720 filled from 460800 bytes.
    std::vector<unsigned char> blocks(1280 * 720);
    GLTexture texture;
    texture.UploadDXT16Image(ext, blocks.data(), 1280, 720, 1280, 720, GL_TEXTURE_2D);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, GL_TEXTURE_WIDTH), 2048);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, GL_TEXTURE_HEIGHT), 1024);
    EXPECT_EQ(texture.sourceWidth, 1280);
    EXPECT_EQ(texture.sourceHeight, 720);
    texture.SetTextureMatrix();
    EXPECT_EQ(TextureScale(), (std::vector<double>{0.625, 0.703125, 1}));
    texture.DeleteTexture();

    // The same frame as DXT24 blocks on a rectangle: 3200 x 180 texels, matrix in texels.
    texture.UploadDXT24Image(ext, blocks.data(), 1280, 720, 1280, 720, GL_TEXTURE_RECTANGLE_ARB);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_WIDTH), 3200);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_HEIGHT), 180);
    texture.SetTextureMatrix();
    EXPECT_EQ(TextureScale(), (std::vector<double>{3200, 180, 1}));
    texture.DeleteTexture();
}

TEST_F(GLTextureTest, StorageIsReusedUntilSizeOrTargetChanges) {
    auto pixels = Pattern(16 * 16 * 4, 9);
    GLTexture texture;
    texture.UploadRGBA8Image(ext, pixels.data(), 16, 16, 0, GL_TEXTURE_2D, false);
    const GLuint first = texture.name;
    EXPECT_EQ(gTexImageCalls, 1);

    pixels[0] ^= 0xFF; // a refill lands in the same storage
    texture.UploadRGBA8Image(ext, pixels.data(), 16, 16, 0, GL_TEXTURE_2D, false);
    EXPECT_EQ(gTexImageCalls, 1);
    EXPECT_EQ(texture.name, first);
    EXPECT_EQ(ReadLevel(GL_TEXTURE_2D, GL_RGBA, GL_UNSIGNED_BYTE, 4), pixels);

    texture.UploadRGBA8Image(ext, pixels.data(), 12, 16, 0, GL_TEXTURE_2D, false); // fill size changed
    EXPECT_EQ(gTexImageCalls, 2);
    EXPECT_EQ(texture.name, first);

    texture.UploadRGBA8Image(ext, nullptr, 12, 16, 0, GL_TEXTURE_2D, false); // ignored
    texture.UploadRGBA8Image(ext, pixels.data(), 0, 16, 0, GL_TEXTURE_2D, false);
    EXPECT_EQ(gTexImageCalls, 2);
    EXPECT_EQ(texture.sourceWidth, 12);

    texture.UploadRGBA8Image(ext, pixels.data(), 12, 16, 0, GL_TEXTURE_RECTANGLE_ARB, false); // other target
    EXPECT_EQ(gDeleteTextureCalls, 1);
    EXPECT_EQ(gTexImageCalls, 3);
    EXPECT_EQ(texture.target, GLenum(GL_TEXTURE_RECTANGLE_ARB));
    EXPECT_EQ(texture.textureWidth, 12);

    // A name deleted behind the object's back is no longer resident: a new one is made, and
    // the old one is not deleted again.
    glDeleteTextures(1, &texture.name);
    texture.UploadRGBA8Image(ext, pixels.data(), 12, 16, 0, GL_TEXTURE_RECTANGLE_ARB, false);
    EXPECT_EQ(gDeleteTextureCalls, 2);
    EXPECT_EQ(gTexImageCalls, 4);
    EXPECT_TRUE(texture.IsResident());
    texture.DeleteTexture();
    EXPECT_EQ(gDeleteTextureCalls, 3);
    texture.DeleteTexture(); // empty: no GL call
    EXPECT_EQ(gDeleteTextureCalls, 3);
}

TEST_F(GLTextureTest, BindingSetsTheRequestedModes) {
    auto pixels = Pattern(4 * 4 * 4, 2);
    GLTexture texture;
    texture.UploadRGBA8Image(ext, pixels.data(), 4, 4, 0, GL_TEXTURE_2D, false);
    EXPECT_EQ(TextureParameter(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER), GL_LINEAR); // every upload
    EXPECT_EQ(TextureParameter(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);

    texture.UnbindTexture();
    texture.BindTexture(ext, 0, 0, 0);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(GLuint(bound), texture.name);
    EXPECT_EQ(TextureParameter(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER), GL_NEAREST);
    EXPECT_EQ(TextureParameter(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER), GL_NEAREST);

    texture.BindTexture(ext, 1, 1, 1);
    EXPECT_EQ(TextureParameter(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER), GL_LINEAR_MIPMAP_LINEAR);
    EXPECT_EQ(TextureParameter(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T), GL_REPEAT);
    EXPECT_EQ(TextureParameter(GL_TEXTURE_2D, GL_GENERATE_MIPMAP), 1);

    texture.UnbindTexture();
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, 0);
    texture.DeleteTexture();
    texture.BindTexture(ext, 0, 0, 0); // empty: binds nothing
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, 0);
}
