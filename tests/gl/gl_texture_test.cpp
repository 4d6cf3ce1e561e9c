// GLTexture uploads read back byte for byte.
#include <gtest/gtest.h>

#include <vector>

#include "gl/gl_texture.h"
#include "gl_test_context.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Pattern(size_t size, unsigned seed) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(seed + i * 37 + (i >> 3));
    return bytes;
}

GLint Level(GLenum target, GLenum parameter) {
    GLint value = 0;
    glGetTexLevelParameteriv(target, 0, parameter, &value);
    return value;
}

// Level 0 of the bound texture, rows packed tightly.
Bytes Read(GLenum target, GLenum format, int bytesPerTexel) {
    Bytes level(Level(target, GL_TEXTURE_WIDTH) * Level(target, GL_TEXTURE_HEIGHT) * bytesPerTexel);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(target, 0, format, GL_UNSIGNED_BYTE, level.data());
    return level;
}

// The first `rows` rows of `rowBytes` bytes of an image whose rows are `stride` bytes apart.
Bytes Rows(const Bytes& image, size_t stride, size_t rowBytes, size_t rows) {
    Bytes out;
    for (size_t row = 0; row < rows; ++row)
        out.insert(out.end(), &image[row * stride], &image[row * stride + rowBytes]);
    return out;
}

using GLTextureTest = GLContextTest;

} // namespace

TEST_F(GLTextureTest, PixelUploadsReadBackExactlyWithAnyRowStride) {
    // RGBA8 from rows 28 bytes apart into a power-of-two texture: 5 x 3 filled of 8 x 4.
    Bytes rgba = Pattern(28 * 3, 1);
    GLTexture texture;
    texture.UploadRGBA8Image(ext, rgba.data(), 5, 3, 28, GL_TEXTURE_2D, false);
    EXPECT_EQ(Level(GL_TEXTURE_2D, GL_TEXTURE_WIDTH), 8);
    EXPECT_EQ(Level(GL_TEXTURE_2D, GL_TEXTURE_HEIGHT), 4);
    EXPECT_EQ(Rows(Read(GL_TEXTURE_2D, GL_RGBA, 4), 32, 20, 3), Rows(rgba, 28, 20, 3));
    GLint rowLength = -1;
    glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
    EXPECT_EQ(rowLength, 0);
    texture.DeleteTexture();
    EXPECT_EQ(texture.name + texture.target + texture.textureWidth, 0u);

    // RGB8 on a rectangle texture, once tightly packed (3 x width) and once from wider rows.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    for (int rowBytes : {15, 21}) {
        Bytes rgb = Pattern(rowBytes * 3, rowBytes);
        texture.UploadRGB8Image(ext, rgb.data(), 5, 3, rowBytes, GL_TEXTURE_RECTANGLE_ARB, false);
        EXPECT_EQ(texture.textureWidth, 5);
        EXPECT_EQ(Read(GL_TEXTURE_RECTANGLE_ARB, GL_RGB, 3), Rows(rgb, rowBytes, 15, 3));
    }
    texture.DeleteTexture();
}

TEST_F(GLTextureTest, BlockUploadsAreStoredAsGiven) {
    // A 7 x 6 frame is 2 x 2 blocks; DXT1 blocks are 8 bytes, DXT5 blocks 16.
    for (GLenum format : {GL_COMPRESSED_RGBA_S3TC_DXT1_EXT, GL_COMPRESSED_RGBA_S3TC_DXT5_EXT}) {
        const bool alpha = format == GL_COMPRESSED_RGBA_S3TC_DXT5_EXT;
        Bytes blocks = Pattern(alpha ? 64 : 32, format);
        GLTexture texture;
        if (alpha) {
            texture.UploadDXT16AImage(ext, blocks.data(), 7, 6, 8, 8, GL_TEXTURE_2D);
        } else {
            texture.UploadDXT16Image(ext, blocks.data(), 7, 6, 8, 8, GL_TEXTURE_2D);
        }
        EXPECT_EQ(Level(GL_TEXTURE_2D, GL_TEXTURE_INTERNAL_FORMAT), GLint(format));
        Bytes stored(Level(GL_TEXTURE_2D, GL_TEXTURE_COMPRESSED_IMAGE_SIZE));
        ASSERT_EQ(stored.size(), blocks.size());
        ext.glGetCompressedTexImage(GL_TEXTURE_2D, 0, stored.data());
        EXPECT_EQ(stored, blocks);
        texture.DeleteTexture();
    }

    // DXT24: an 8 x 8 frame is 2 x 2 blocks of 10 bytes, one 20-texel row per block row.
    Bytes blocks = Pattern(72, 11);
    GLTexture texture;
    texture.UploadDXT24Image(ext, blocks.data(), 8, 8, 8, 8, GL_TEXTURE_RECTANGLE_ARB);
    EXPECT_EQ(Level(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_INTERNAL_FORMAT), GL_LUMINANCE8UI_EXT);
    EXPECT_EQ(Read(GL_TEXTURE_RECTANGLE_ARB, GL_LUMINANCE_INTEGER_EXT, 1),
              Bytes(blocks.begin(), blocks.begin() + 40));
    // The alpha variant is sized like the pixels: 8 x 8 texels, fewer than its 18-byte blocks hold.
    texture.UploadDXT24AImage(ext, blocks.data(), 8, 8, 8, 8, GL_TEXTURE_RECTANGLE_ARB);
    EXPECT_EQ(Read(GL_TEXTURE_RECTANGLE_ARB, GL_LUMINANCE_INTEGER_EXT, 1),
              Bytes(blocks.begin(), blocks.begin() + 64));
    texture.DeleteTexture();
}
